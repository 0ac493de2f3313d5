// Fuzz targets of the object separation: the watershed, the automatic cut,
// the manual cut and the merge.

#include "fuzztargets.h"

#include "autocount/alg/alg.h"

#include <algorithm>

namespace fuzzing {

namespace {

// A binary image as the controller holds it: 8-bit one channel, 0 and 255,
// as noise or as touching blobs; now and then three channels, which the cut
// refuses by its result code.
cv::Mat CutInput(FuzzInput& in)
{
    const int type = in.Int(0, 7) == 0 ? CV_8UC3 : CV_8UC1;
    return AnyImage(in, type, in.Bool() ? Pixels::Blobs : Pixels::Binary);
}

// A header that a failing function must leave as it is.
cv::Mat Sentinel()
{
    return cv::Mat(2, 3, CV_8UC1, cv::Scalar(9));
}

} // namespace

void FuzzAlgWatershed(FuzzInput& in)
{
    // No checks are made: relief and seeds must be non-empty, 8-bit, one
    // channel and of equal size. Only such inputs are given.
    const int rows = in.Int(1, kMaxSide), cols = in.Int(1, kMaxSide);
    const cv::Mat relief = MakeImage(in, rows, cols, CV_8UC1, Pixels::Raw);
    cv::Mat seeds = MakeImage(in, rows, cols, CV_8UC1, Pixels::Raw);
    // Seed pixels are exactly 1; turn a share of the bytes into seeds.
    const int share = in.Int(0, 255);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x)
            if (seeds.at<uchar>(y, x) < share)
                seeds.at<uchar>(y, x) = 1;
    const cv::Mat seedsBefore = seeds.clone();

    cv::Mat labels = Sentinel();
    AlgWatershed(relief, seeds, labels);

    Require(labels.type() == CV_8UC1 && labels.size() == relief.size(),
            "AlgWatershed: labels must be 8-bit one channel of the relief's size");
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            const uchar was = seedsBefore.at<uchar>(y, x);
            const uchar now = seeds.at<uchar>(y, x);
            Require(was == 1 ? now == 127 : now == was,
                    "AlgWatershed: seed pixels must become 127 and nothing else change");
        }
}

void FuzzAlgAutoCut(FuzzInput& in)
{
    const cv::Mat src = CutInput(in);
    const cv::Mat copy = src.clone();
    cv::Mat out = Sentinel();
    const cv::Mat before = out;
    const int status = AlgAutoCut(src, out);

    Require(SameBytes(src, copy), "AlgAutoCut: the input must not change");
    if (src.empty() || src.channels() == 3) {
        Require(status == 1 && SameHeader(out, before),
                "AlgAutoCut: empty or three-channel input must give 1, output untouched");
        return;
    }
    Require(status == 0, "AlgAutoCut: must succeed on a binary image");
    Require(out.size() == src.size() && out.type() == src.type(),
            "AlgAutoCut: output must have the input's size and type");
    Require(OnlyZeroAnd255(out), "AlgAutoCut: output must be 0 or 255");
}

void FuzzAlgAutoCutROI(FuzzInput& in)
{
    const cv::Mat src = CutInput(in);
    const cv::Mat copy = src.clone();
    cv::Mat out = Sentinel();
    const cv::Mat before = out;
    const int status = AlgAutoCutROI(src, out);

    Require(SameBytes(src, copy), "AlgAutoCutROI: the input must not change");
    if (src.empty() || src.channels() == 3) {
        Require(status == (src.empty() ? 1 : 2) && SameHeader(out, before),
                "AlgAutoCutROI: empty input gives 1, three channels 2, output untouched");
        return;
    }
    Require(status == 0, "AlgAutoCutROI: must succeed on a binary mask");
    Require(out.size() == src.size() && out.type() == CV_8UC1,
            "AlgAutoCutROI: output must be 8-bit one channel of the input's size");
    Require(OnlyZeroAnd255(out), "AlgAutoCutROI: output must be 0 or 255");
}

void FuzzAlgManulCut(FuzzInput& in)
{
    // Any 8-bit image of one to four channels; the point list is never empty
    // (the mouse handling always passes at least one point).
    const cv::Mat src = AnyImage(in, CV_8UC(in.Int(1, 4)), Pixels::Raw);
    std::vector<cv::Point> points = AnyPolygon(in, src.size(), 8);
    if (points.empty())
        points.push_back(AnyPoint(in, src.size()));
    const cv::Mat copy = src.clone();
    cv::Mat out = Sentinel();
    const cv::Mat before = out;
    const int status = AlgManulCut(src, points, out);

    Require(SameBytes(src, copy), "AlgManulCut: the input must not change");
    if (src.empty() || src.channels() == 3) {
        Require(status == (src.empty() ? 1 : 2) && SameHeader(out, before),
                "AlgManulCut: empty input gives 1, three channels 2, output untouched");
        return;
    }
    Require(status == 0, "AlgManulCut: must succeed");
    Require(out.size() == src.size() && out.type() == src.type() && out.data != src.data,
            "AlgManulCut: output must be a new image of the input's size and type");
    // The cut only clears pixels: each output byte is the input's or 0.
    for (int y = 0; y < src.rows; ++y)
        for (size_t x = 0; x < src.cols * src.elemSize(); ++x) {
            const uchar o = out.ptr<uchar>(y)[x];
            Require(o == 0 || o == src.ptr<uchar>(y)[x], "AlgManulCut: a pixel was not cleared");
        }
    if (points.size() == 1)
        Require(SameBytes(out, src), "AlgManulCut: one point must draw nothing");
}

void FuzzAlgMerge(FuzzInput& in)
{
    const int channels = in.Int(1, 4);
    const Pixels pixels = in.Bool() ? Pixels::Binary : Pixels::Raw;
    const cv::Mat src = AnyImage(in, CV_8UC(channels), pixels);
    cv::Mat out = Sentinel();
    const cv::Mat before = out;
    const int status = AlgMerge(src, out);
    if (src.empty() || src.channels() > 1) {
        Require(status == (src.empty() ? 1 : 2) && SameHeader(out, before),
                "AlgMerge: empty input gives 1, several channels 2, output untouched");
        return;
    }
    Require(status == 0 && out.size() == src.size() && out.type() == src.type(),
            "AlgMerge: output must have the input's size and type");
}

} // namespace fuzzing
