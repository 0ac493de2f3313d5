// Fuzz targets of the functions offered to hosts: the polygon mask and the
// painting of results into an image.

#include "fuzztargets.h"

#include "autocount/alg/alg.h"

namespace fuzzing {

void FuzzAlgGetROI(FuzzInput& in)
{
    // Any image of the library's depths and one to four channels; polygons
    // partly or wholly outside the image are clipped by the fill.
    const cv::Mat src = AnyImage(in, AnyType(in), Pixels::Raw);
    const std::vector<cv::Point> polygon = AnyPolygon(in, src.size(), 10);
    cv::Mat dst(1, 1, CV_8UC1);
    const cv::Mat before = dst;
    const int status = AlgGetROI(src, polygon, dst);
    if (src.empty() || polygon.size() < 3) {
        Require(status == (src.empty() ? 1 : 3) && SameHeader(dst, before),
                "AlgGetROI: empty source gives 1, a short polygon 3, output untouched");
        return;
    }
    Require(status == 0 && dst.size() == src.size() && dst.type() == src.type(),
            "AlgGetROI: mask must have the source's size and type");
    Require(dst.data != src.data, "AlgGetROI: mask must be a new image");
}

void FuzzAlgDrawResult(FuzzInput& in)
{
    // Inside the contract: an 8-bit grey or colour picture. Other pictures go
    // to the library's grey-to-colour conversion unchecked.
    const bool fits = in.Int(0, 7) != 0;
    const int type = fits ? (in.Bool() ? CV_8UC3 : CV_8UC1) : AnyType(in);
    const cv::Mat src = AnyImage(in, type, Pixels::Raw);
    // Outlines as the measurement finds them: near the image. (The library's
    // fill takes time in proportion to a polygon's height, so far-away points
    // would only measure the library.)
    ContourList contours(in.Int(0, 4));
    for (Contour& c : contours) {
        c = AnyPolygon(in, src.size(), 8, false);
        if (c.empty())
            c.push_back(AnyPoint(in, src.size(), false));
    }
    const int mode = in.Int(40, 43);
    const int red = in.AnyInt(), green = in.Int(-1, 256), blue = in.Int(0, 255);
    const cv::Mat copy = src.clone();
    cv::Mat dst(1, 1, CV_8UC1);
    const cv::Mat before = dst;
    int status = 0;
    if (!Run(fits, [&] { status = AlgDrawResult(src, contours, mode, red, green, blue, dst); }))
        return;

    Require(SameBytes(src, copy), "AlgDrawResult: the source must not change");
    if (src.empty() || contours.empty()) {
        Require(status == (src.empty() ? 1 : 2) && SameHeader(dst, before),
                "AlgDrawResult: empty source gives 1, no contours 2, output untouched");
        return;
    }
    const bool known = mode == ALG_DRAW_OUTLINE || mode == ALG_DRAW_FILLED;
    Require(status == (known ? 0 : 3), "AlgDrawResult: unknown mode must give 3");
    Require(dst.size() == src.size(), "AlgDrawResult: output must have the source's size");
    // Only 8-bit pictures become 8-bit colour; a wider grey picture is
    // converted at its own depth.
    if (fits)
        Require(dst.type() == CV_8UC3, "AlgDrawResult: output must be a colour image");
    if (!known)
        Require(dst.data != src.data, "AlgDrawResult: output must be a copy");
}

} // namespace fuzzing
