#include "autocount/alg/opencv24.h"

// To be implemented.
namespace cv24 {
void MinEnclosingCircle(const std::vector<cv::Point>&, cv::Point2f&, float&) {}
} // namespace cv24
