#include "autocount/alg/opencv24.h"

// To be implemented.
namespace cv24 {
void GreyFromBgr(const cv::Mat&, cv::Mat&) {}
void GreyFromRgb(const cv::Mat&, cv::Mat&) {}
void FindContours(const cv::Mat&, ContourList&, std::vector<cv::Vec4i>*, int, int) {}
cv::RotatedRect MinAreaRect(const std::vector<cv::Point>&)
{
    return cv::RotatedRect();
}
void MinEnclosingCircle(const std::vector<cv::Point>&, cv::Point2f&, float&) {}
cv::RotatedRect FitEllipse(const std::vector<cv::Point>&)
{
    return cv::RotatedRect();
}
void DistanceTransformL2(const cv::Mat&, cv::Mat&) {}
void NormalizeMinMax(const cv::Mat&, cv::Mat&, double, double) {}
} // namespace cv24
