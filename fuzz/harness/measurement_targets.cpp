// Fuzz targets of the measurement: AlgCalResult and AlgRemoveBorder.

#include "fuzztargets.h"

#include "autocount/alg/alg.h"

#include <cmath>

namespace fuzzing {

namespace {

bool Finite(double v)
{
    return std::isfinite(v);
}

} // namespace

void FuzzAlgCalResult(FuzzInput& in)
{
    // Inside the contract: a grey (one channel) or colour (three channels)
    // 8-bit picture and an 8-bit one-channel mask of the same size. Other
    // pairs reach the library's contour search and conversions unchecked.
    const bool fits = in.Int(0, 7) != 0;
    const cv::Mat binary = fits ? AnyImage(in, CV_8UC1, in.Bool() ? Pixels::Blobs : Pixels::Raw)
                                : AnyImage(in, AnyType(in), Pixels::Raw);
    const cv::Mat image =
        fits ? MakeImage(in, binary.rows, binary.cols, in.Bool() ? CV_8UC3 : CV_8UC1, Pixels::Raw)
             : AnyImage(in, AnyType(in), Pixels::Raw);

    // The lists are appended to, never cleared: start them with one entry.
    ContourList contours{{{1, 2}}};
    std::vector<parResult> results(1);
    results[0].area = -7.0;
    int status = 0;
    if (!Run(fits, [&] { status = AlgCalResult(image, binary, contours, results); }))
        return;

    Require(contours.size() == results.size(), "AlgCalResult: lists must stay parallel");
    Require(contours[0] == Contour{{1, 2}} && results[0].area == -7.0,
            "AlgCalResult: existing entries must be kept");
    if (image.empty() || binary.empty()) {
        Require(status == 1 && contours.size() == 1, "AlgCalResult: empty input must give 1");
        return;
    }
    Require(status == 0, "AlgCalResult: must succeed");
    if (!fits)
        return;
    for (size_t k = 1; k < results.size(); ++k) {
        const parResult& r = results[k];
        Require(!contours[k].empty(), "AlgCalResult: an object needs an outline");
        for (const cv::Point& p : contours[k])
            Require(p.x >= 0 && p.y >= 0 && p.x < binary.cols && p.y < binary.rows,
                    "AlgCalResult: outline point outside the image");
        Require(r.area > 0 && r.perimeter > 0 && Finite(r.area) && Finite(r.perimeter),
                "AlgCalResult: area and perimeter must be positive");
        Require(r.roundness > 0 && r.roundness <= 1.0, "AlgCalResult: roundness must be in (0, 1]");
        Require(r.radius >= 0 && std::isfinite(r.radius) && std::isfinite(r.centerX) &&
                    std::isfinite(r.centerY),
                "AlgCalResult: enclosing circle must be finite");
        Require(std::isfinite(r.direction), "AlgCalResult: direction must be finite");
        Require(r.shortAxis <= r.longAxis || (std::isnan(r.shortAxis) || std::isnan(r.longAxis)),
                "AlgCalResult: short axis above long axis");
        Require(r.minGray >= 0 && r.maxGray <= 255 && r.integral >= 0,
                "AlgCalResult: grey values must be bytes");
        if (r.integral > 0)
            Require(r.minGray <= r.maxGray && r.meanGray >= r.minGray && r.meanGray <= r.maxGray,
                    "AlgCalResult: mean grey outside minimum and maximum");
        Require(r.stdDev >= 0 && Finite(r.stdDev), "AlgCalResult: deviation must be finite");
    }
}

void FuzzAlgRemoveBorder(FuzzInput& in)
{
    ContourList contours(in.Int(0, 6));
    const int width = in.Int(-8, kMaxSide + 8);
    const int height = in.Int(-8, kMaxSide + 8);
    const cv::Size size(width, height);
    for (Contour& c : contours)
        c = AnyPolygon(in, size, 6);
    // Parallel lists as the measurement makes them; now and then fewer
    // records than outlines.
    std::vector<parResult> results(in.Int(0, 7) == 0 ? in.Int(0, 6) : contours.size());
    for (size_t k = 0; k < results.size(); ++k)
        results[k].area = static_cast<double>(k);

    ContourList contoursOut{{{5, 5}}};
    std::vector<parResult> resultsOut(3);
    Require(AlgRemoveBorder(contours, results, size.width, size.height, contoursOut, resultsOut) ==
                0,
            "AlgRemoveBorder: always 0");
    Require(contoursOut.size() == resultsOut.size(), "AlgRemoveBorder: lists must stay parallel");

    // Every kept outline keeps clear of the lopsided margin, in order.
    size_t next = 0;
    for (size_t k = 0; k < contours.size(); ++k) {
        bool inside = true;
        for (const cv::Point& p : contours[k])
            inside = inside && p.x >= 3 && p.y >= 3 &&
                     static_cast<int64_t>(p.x) <= size.width - 5 &&
                     static_cast<int64_t>(p.y) <= size.height - 5;
        if (!inside)
            continue;
        Require(next < contoursOut.size() && contoursOut[next] == contours[k],
                "AlgRemoveBorder: a clear object was dropped or reordered");
        if (k < results.size())
            Require(resultsOut[next].area == static_cast<double>(k),
                    "AlgRemoveBorder: record does not follow its outline");
        ++next;
    }
    Require(next == contoursOut.size(), "AlgRemoveBorder: an object near the border was kept");
}

} // namespace fuzzing
