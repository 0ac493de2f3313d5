#include "host/displaycanvas.h"

DisplayCanvas::~DisplayCanvas() = default;

void RecordingCanvas::SetImage(const cv::Mat& image)
{
    std::lock_guard<std::mutex> lock(mutex_);
    image_ = image;
}

cv::Mat RecordingCanvas::GetImage()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return image_;
}

void RecordingCanvas::ShowImage(cv::Mat& image)
{
    std::lock_guard<std::mutex> lock(mutex_);
    lastShown_ = image;
    lastInverted_ = false;
    ++showCount_;
}

void RecordingCanvas::ShowInvertedImage(const cv::Mat& image)
{
    std::lock_guard<std::mutex> lock(mutex_);
    lastShown_ = image;
    lastInverted_ = true;
    ++showCount_;
}

cv::Mat RecordingCanvas::LastShown() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return lastShown_;
}

bool RecordingCanvas::LastShownInverted() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return lastInverted_;
}

int RecordingCanvas::ShowCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return showCount_;
}
