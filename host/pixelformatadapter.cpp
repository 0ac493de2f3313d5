#include "host/pixelformatadapter.h"

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

} // namespace PixelFormatAdapter
