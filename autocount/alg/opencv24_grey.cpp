#include "autocount/alg/opencv24.h"

// To be implemented.
namespace cv24 {
void GreyFromBgr(const cv::Mat&, cv::Mat&) {}
void GreyFromRgb(const cv::Mat&, cv::Mat&) {}
} // namespace cv24
