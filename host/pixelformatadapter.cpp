#include "host/pixelformatadapter.h"

#include <opencv2/imgproc.hpp>

#include <mutex>
#include <utility>

namespace {

std::mutex converterMutex;
PixelFormatAdapter::Converter hostConverter;

} // namespace

namespace PixelFormatAdapter {

void Convert(const cv::Mat& src, cv::Mat& dst, int mode)
{
    Converter converter;
    {
        std::lock_guard<std::mutex> lock(converterMutex);
        converter = hostConverter;
    }
    if (converter) {
        converter(src, dst, mode);
        return;
    }
    if (&src != &dst)
        src.copyTo(dst);
}

void SetConverter(Converter converter)
{
    std::lock_guard<std::mutex> lock(converterMutex);
    hostConverter = std::move(converter);
}

cv::Mat ToModuleFormat(const cv::Mat& image)
{
    if (image.empty())
        return cv::Mat();
    cv::Mat eight = image;
    if (image.depth() == CV_16U)
        image.convertTo(eight, CV_8U, 1.0 / 257.0);
    else if (image.depth() != CV_8U)
        image.convertTo(eight, CV_8U);
    cv::Mat bgr;
    switch (eight.channels()) {
    case 3:
        return eight;
    case 4:
        cv::cvtColor(eight, bgr, cv::COLOR_BGRA2BGR);
        return bgr;
    default: {
        cv::Mat grey = eight;
        if (eight.channels() != 1)
            cv::extractChannel(eight, grey, 0);
        cv::cvtColor(grey, bgr, cv::COLOR_GRAY2BGR);
        return bgr;
    }
    }
}

} // namespace PixelFormatAdapter
