#include "autocount/alg/opencv24.h"

// To be implemented.
namespace cv24 {
cv::RotatedRect MinAreaRect(const std::vector<cv::Point>&)
{
    return cv::RotatedRect();
}
} // namespace cv24
