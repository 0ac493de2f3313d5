#include "autocount/autocountmanager.h"

#include "autocount/alg/bytecount.h"
#include "autocount/core/countcore.h"
#include "host/displaycanvas.h"

#include <QDebug>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>

namespace {

// A zero-filled binary image of @p size. The binary image before last is
// kept in @p spare; once nothing else holds it (the canvas lets go of an
// image when it shows the next one), its memory is cleared and used again.
// Taking a new image each time instead would make every slider step fault
// in twenty megabytes of fresh pages.
cv::Mat ZeroedBinary(cv::Size size, cv::Mat& spare)
{
    cv::Mat binary;
    if (spare.u && spare.u->refcount == 1 && spare.size() == size && spare.type() == CV_8UC1 &&
        spare.isContinuous()) {
        binary = spare;
        binary.setTo(cv::Scalar(0));
    } else {
        binary = cv::Mat(size, CV_8UC1, cv::Scalar(0));
    }
    spare.release();
    return binary;
}

// Plane byte offset of each colour channel within a blue, green, red pixel.
// Red and blue read the opposite planes from the manual band's (pixel
// planes 0 and 2 there); both tables are kept as they are.
constexpr int kHistogramPlane[] = {
    -1, // grey: its own image
    2,  // red
    1,  // green
    0,  // blue
};

} // namespace

void AutoCountManager::GetHistogramData(int channel, int* histogram)
{
    histogramChannel = channel;

    // The plane to count: an image with a byte offset, read every
    // `stride` bytes. No plane (empty image) for channels without one.
    cv::Mat image;
    int offset = 0;
    int stride = 1;
    if (channel == CHANNEL_GREY) {
        image = countcore::GreyImage(sourceImage_, greyBuffer_);
    } else if (channel >= CHANNEL_RED && channel <= CHANNEL_BLUE) {
        // Planes that the source does not have stay empty.
        if (kHistogramPlane[channel] < sourceImage_.channels()) {
            image = sourceImage_;
            offset = kHistogramPlane[channel];
            stride = sourceImage_.channels();
        }
    } else if (channel >= CHANNEL_HUE && channel <= CHANNEL_INTENSITY) {
        // The library's HSV here (8-bit hue 0..180, value = largest plane);
        // the manual band uses the module's own HSI conversion instead.
        cv::cvtColor(sourceImage_, image, cv::COLOR_BGR2HSV);
        offset = channel - CHANNEL_HUE;
        stride = 3;
    }

    // Whole image, region mask not applied.
    int32_t counts[256] = {};
    if (!image.empty())
        bytecount::Count(image, offset, stride, counts);

    // Scale to 0..1000 with 32-bit int arithmetic, truncating; a bin above
    // 2^31 / 1000 pixels wraps around as that arithmetic does. Without any
    // pixel counted the bins stay 0.
    const int32_t largest = *std::max_element(counts, counts + 256);
    for (int k = 0; k < 256; ++k) {
        if (largest == 0) {
            histogram[k] = 0;
            continue;
        }
        const auto scaled = static_cast<int32_t>(static_cast<uint32_t>(counts[k]) * 1000u);
        histogram[k] = scaled / largest;
    }

    // Let go of the plane first, so that the segmentation can convert into
    // the same grey buffer.
    image.release();
    ImageSegment();
}

void AutoCountManager::ImageSegment()
{
    qDebug("void AutoCountManager::ImageSegment()");
    cv::Mat previous = binaryImage_;
    binaryImage_ = ZeroedBinary(sourceImage_.size(), spareBinary_);

    countcore::Thresholds thresholds{lowThresh, highThresh};
    countcore::Segment(sourceImage_, regionMask_, segmentMode, histogramChannel, thresholds,
                       greyBuffer_, binaryImage_);
    lowThresh = thresholds.low;
    highThresh = thresholds.high;
    if (segmentMode == SEGMENT_AUTO_DARK)
        qDebug("%d %d ", lowThresh, highThresh);

    if (displayCanvas_)
        displayCanvas_->ShowInvertedImage(binaryImage_);
    spareBinary_ = previous;
}

void AutoCountManager::SetSegmentMode(int mode)
{
    segmentMode = mode;
    ImageSegment();
}

void AutoCountManager::GetThreshold(int& low, int& high)
{
    low = lowThresh;
    high = highThresh;
}

void AutoCountManager::SetLowThreshold(int value)
{
    lowThresh = value;
    ImageSegment();
}

void AutoCountManager::SetHighThreshold(int value)
{
    highThresh = value;
    ImageSegment();
}
