#include "autocount/alg/opencv24.h"

// To be implemented.
namespace cv24 {
void DistanceTransformL2(const cv::Mat&, cv::Mat&) {}
void NormalizeMinMax(const cv::Mat&, cv::Mat&, double, double) {}
} // namespace cv24
