// Segmentation into a binary image, and the operations that refine it.

#include "autocount/core/countcore.h"

#include "autocount/alg/opencv24.h"

namespace countcore {

namespace {

// Manual band input per channel: colour space and plane code. Red and blue
// read pixel planes 0 and 2 here, the opposite of the histogram's planes;
// both tables are kept as they are.
struct BandPlane
{
    int space;
    int plane;
};
constexpr BandPlane kBandPlanes[] = {
    {ALG_SPACE_PLANES, ALG_PLANE_0},       // grey (one channel: the code is not used)
    {ALG_SPACE_PLANES, ALG_PLANE_0},       // red
    {ALG_SPACE_PLANES, ALG_PLANE_1},       // green
    {ALG_SPACE_PLANES, ALG_PLANE_2},       // blue
    {ALG_SPACE_HSI, ALG_PLANE_HUE},        // hue
    {ALG_SPACE_HSI, ALG_PLANE_SATURATION}, // saturation
    {ALG_SPACE_HSI, ALG_PLANE_INTENSITY},  // intensity
};
constexpr int kBandChannels = static_cast<int>(sizeof(kBandPlanes) / sizeof(kBandPlanes[0]));

} // namespace

cv::Mat GreyImage(const cv::Mat& source, cv::Mat& buffer)
{
    if (source.channels() <= 1)
        return source;
    cv24::GreyFromBgr(source, buffer);
    return buffer;
}

void Segment(const cv::Mat& source, const cv::Mat& regionMask, int mode, int channel,
             Thresholds& thresholds, cv::Mat& grey, cv::Mat& binary)
{
    // The statuses of the Alg functions are not examined: on bad input the
    // binary image stays as it came.
    switch (mode) {
    case kSegmentAutoBright:
        thresholds.high = 255;
        AlgAuto2Bw(GreyImage(source, grey), regionMask, ALG_BRIGHT_OBJECTS, binary, thresholds.low);
        break;
    case kSegmentAutoDark:
        thresholds.low = 0;
        AlgAuto2Bw(GreyImage(source, grey), regionMask, ALG_DARK_OBJECTS, binary, thresholds.high);
        break;
    case kSegmentManual:
        if (channel >= 0 && channel < kBandChannels) {
            const BandPlane& band = kBandPlanes[channel];
            cv::Mat input = source;
            // The grey channel converts whatever the source is; a one-channel
            // or empty source raises the library's error to the caller.
            if (channel == 0) {
                cv24::GreyFromBgr(source, grey);
                input = grey;
            }
            AlgManual2Bw(input, regionMask, thresholds.low, thresholds.high, band.space, band.plane,
                         binary);
        }
        break;
    default:
        break;
    }
}

void Refine(cv::Mat& binary, int morphology)
{
    // Operation numbers 0..3 map onto the morphology codes 31..34.
    if (morphology >= 0 && morphology <= 3)
        AlgMorphology(binary, morphology + ALG_MORPH_DILATE, binary);
}

void FillHoles(cv::Mat& binary)
{
    AlgFillHole(binary, binary);
}

void Merge(cv::Mat& binary)
{
    AlgMerge(binary, binary);
}

} // namespace countcore
