// Fuzz targets of the segmentation functions: the HSI conversion, Otsu,
// automatic and manual binarisation, morphology and hole filling.

#include "fuzztargets.h"

#include "autocount/alg/alg.h"
#include "support/hsireference.h"

namespace fuzzing {

namespace {

// The module's images are 8-bit; the functions below read any depth as
// bytes, or hand it to the library, whose errors on such input are not ours.
cv::Mat AnySource(FuzzInput& in, bool& eightBit)
{
    const int depth = AnyDepth(in);
    eightBit = depth == CV_8U;
    return AnyImage(in, CV_MAKETYPE(depth, in.Int(1, 4)), Pixels::Raw);
}

// A mask as the controller passes it (empty, or 8-bit one channel of the
// source's size), or now and then one that does not fit.
cv::Mat AnyMask(FuzzInput& in, cv::Size size, bool& fits)
{
    switch (in.Int(0, 5)) {
    case 0:
        fits = true;
        return cv::Mat();
    case 1: {
        fits = false;
        return AnyImage(in, CV_8UC1, Pixels::Binary);
    }
    default:
        fits = true;
        return MakeImage(in, size.height, size.width, CV_8UC1, Pixels::Binary);
    }
}

} // namespace

void FuzzAlgRGB2HSI(FuzzInput& in)
{
    // Only the channel count is checked; any depth is read as bytes.
    bool eightBit = false;
    const cv::Mat src = AnySource(in, eightBit);
    cv::Mat h(1, 1, CV_8UC1), s, i;
    const cv::Mat before = h;
    const int status = AlgRGB2HSI(src, h, s, i);

    if (src.empty()) {
        Require(status == -1, "AlgRGB2HSI: empty source must give -1");
    } else if (src.channels() != 3) {
        Require(status == 2, "AlgRGB2HSI: non-three-channel source must give 2");
    } else {
        Require(status == 0, "AlgRGB2HSI: three-channel source must succeed");
    }
    if (status != 0) {
        Require(SameHeader(h, before) && s.empty() && i.empty(),
                "AlgRGB2HSI: outputs must stay untouched on failure");
        return;
    }
    for (const cv::Mat* plane : {&h, &s, &i})
        Require(plane->type() == CV_8UC1 && plane->size() == src.size(),
                "AlgRGB2HSI: planes must be 8-bit one channel of the source's size");
    if (src.depth() != CV_8U)
        return;
    for (int y = 0; y < src.rows; ++y) {
        for (int x = 0; x < src.cols; ++x) {
            uchar e[3];
            hsireference::Pixel(src.ptr<uchar>(y) + 3 * x, e);
            Require(h.at<uchar>(y, x) == e[0] && s.at<uchar>(y, x) == e[1] &&
                        i.at<uchar>(y, x) == e[2],
                    "AlgRGB2HSI: pixel differs from the formulas");
        }
    }
}

void FuzzAlgOtsu(FuzzInput& in)
{
    // Any image is read as rows × columns bytes.
    bool eightBit = false;
    const cv::Mat src = AnySource(in, eightBit);
    const int initial = in.AnyInt();
    int threshold = initial;
    const int status = AlgOtsu(src, threshold);
    if (src.empty()) {
        Require(status == 1 && threshold == initial, "AlgOtsu: empty source must give 1");
        return;
    }
    Require(status == 0, "AlgOtsu: must succeed on a non-empty source");
    Require(threshold == initial || (threshold >= 0 && threshold <= 255),
            "AlgOtsu: threshold must be a byte value or the caller's value");
}

void FuzzAlgAuto2Bw(FuzzInput& in)
{
    bool eightBit = false, maskFits = false;
    const cv::Mat src = AnySource(in, eightBit);
    const cv::Mat mask = AnyMask(in, src.size(), maskFits);
    static const int polarities[] = {ALG_DARK_OBJECTS, ALG_BRIGHT_OBJECTS, 0, 3, -1};
    const int polarity = in.Pick(polarities);
    cv::Mat dst;
    const cv::Mat before = dst;
    int threshold = in.Int(-5, 260);
    int status = 0;
    if (!Run(eightBit && maskFits,
             [&] { status = AlgAuto2Bw(src, mask, polarity, dst, threshold); }))
        return;
    if (src.empty()) {
        Require(status == -1 && SameHeader(dst, before), "AlgAuto2Bw: empty source must give -1");
        return;
    }
    if (polarity != ALG_DARK_OBJECTS && polarity != ALG_BRIGHT_OBJECTS) {
        Require(status == 1 && SameHeader(dst, before), "AlgAuto2Bw: bad polarity must give 1");
        return;
    }
    Require(status == 0, "AlgAuto2Bw: must succeed");
    Require(dst.size() == src.size(), "AlgAuto2Bw: output must have the source's size");
    if (eightBit)
        Require(OnlyZeroAnd255(dst), "AlgAuto2Bw: output must be 0 or 255");
}

void FuzzAlgManual2Bw(FuzzInput& in)
{
    bool eightBit = false, maskFits = false;
    const cv::Mat src = AnySource(in, eightBit);
    const cv::Mat mask = AnyMask(in, src.size(), maskFits);
    const int low = in.Int(-10, 265), high = in.Int(-10, 265);
    static const int spaces[] = {ALG_SPACE_PLANES, ALG_SPACE_HSI, 0, 20, 23};
    const int space = in.Pick(spaces);
    const int plane = in.Int(9, 18);
    cv::Mat dst;
    int status = 0;
    if (!Run(eightBit && maskFits,
             [&] { status = AlgManual2Bw(src, mask, low, high, space, plane, dst); }))
        return;
    if (src.empty()) {
        Require(status == -1 && dst.empty(), "AlgManual2Bw: empty source must give -1");
        return;
    }
    if (src.channels() == 3) {
        const bool known = space == ALG_SPACE_PLANES || space == ALG_SPACE_HSI;
        const bool ofSpace = space == ALG_SPACE_HSI
                                 ? plane >= ALG_PLANE_HUE && plane <= ALG_PLANE_INTENSITY
                                 : plane >= ALG_PLANE_0 && plane <= ALG_PLANE_2;
        const int expected = !known ? 1 : !ofSpace ? 2 : 0;
        Require(status == expected, "AlgManual2Bw: wrong result code for space and plane");
        if (status != 0) {
            Require(dst.empty(), "AlgManual2Bw: output must stay untouched on failure");
            return;
        }
    }
    Require(status == 0, "AlgManual2Bw: must succeed");
    Require(dst.size() == src.size(), "AlgManual2Bw: output must have the source's size");
    if (eightBit)
        Require(OnlyZeroAnd255(dst), "AlgManual2Bw: output must be 0 or 255");
    if (eightBit && low > high)
        Require(cv::countNonZero(dst.reshape(1)) == 0, "AlgManual2Bw: low above high selects none");
}

void FuzzAlgMorphology(FuzzInput& in)
{
    bool eightBit = false;
    const cv::Mat src = AnySource(in, eightBit);
    const int op = in.Bool() ? in.Int(29, 36) : in.AnyInt();
    cv::Mat dst;
    int status = 0;
    if (!Run(eightBit, [&] { status = AlgMorphology(src, op, dst); }))
        return;
    if (src.empty()) {
        Require(status == -1 && dst.empty(), "AlgMorphology: empty source must give -1");
        return;
    }
    if (op < ALG_MORPH_DILATE || op > ALG_MORPH_CLOSE) {
        Require(status == 2 && dst.empty(), "AlgMorphology: unknown operation must give 2");
        return;
    }
    Require(status == 0 && dst.size() == src.size() && dst.type() == src.type(),
            "AlgMorphology: output must have the source's size and type");
}

void FuzzAlgFillHole(FuzzInput& in)
{
    // A binary image: one 8-bit channel. Other images go to the library's
    // flood fill, whose errors on them are not ours.
    const bool binary = in.Int(0, 7) != 0;
    const cv::Mat src = binary ? AnyImage(in, CV_8UC1, in.Bool() ? Pixels::Blobs : Pixels::Raw)
                               : AnyImage(in, AnyType(in), Pixels::Raw);
    cv::Mat dst;
    int status = 0;
    if (!Run(binary, [&] { status = AlgFillHole(src, dst); }))
        return;
    if (src.empty()) {
        Require(status == 1 && dst.empty(), "AlgFillHole: empty source must give 1");
        return;
    }
    Require(status == 0 && dst.size() == src.size() && dst.type() == src.type(),
            "AlgFillHole: output must have the source's size and type");
    if (binary)
        Require(OnlyZeroAnd255(dst), "AlgFillHole: output must be 0 or 255");
}

} // namespace fuzzing
