#include "support/testimages.h"

#include <opencv2/imgproc.hpp>

namespace testimages {

cv::Mat Grey(int rows, int cols, int value)
{
    return cv::Mat(rows, cols, CV_8UC1, cv::Scalar(value));
}

cv::Mat Colour(int rows, int cols, int b, int g, int r)
{
    return cv::Mat(rows, cols, CV_8UC3, cv::Scalar(b, g, r));
}

void Disc(cv::Mat& image, cv::Point centre, int radius, int value)
{
    cv::circle(image, centre, radius, cv::Scalar::all(value), cv::FILLED, cv::LINE_8);
}

::testing::AssertionResult SameImage(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size() || a.type() != b.type())
        return ::testing::AssertionFailure()
               << "size or type differs: " << a.cols << "x" << a.rows << " type " << a.type()
               << " vs " << b.cols << "x" << b.rows << " type " << b.type();
    const size_t rowBytes = a.cols * a.elemSize();
    for (int y = 0; y < a.rows; ++y) {
        const uchar* pa = a.ptr<uchar>(y);
        const uchar* pb = b.ptr<uchar>(y);
        for (size_t k = 0; k < rowBytes; ++k)
            if (pa[k] != pb[k])
                return ::testing::AssertionFailure()
                       << "first difference at row " << y << ", column " << k / a.elemSize() << ": "
                       << int(pa[k]) << " vs " << int(pb[k]);
    }
    return ::testing::AssertionSuccess();
}

} // namespace testimages
