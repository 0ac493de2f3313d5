#include "discimage.h"

#include <opencv2/imgproc.hpp>

namespace discimage {

cv::Mat Make()
{
    cv::Mat image(kHeight, kWidth, CV_8UC3, cv::Scalar(40, 40, 40));
    const cv::Scalar disc(90, 200, 220);
    // Inside the region: three single discs...
    cv::circle(image, cv::Point(60, 60), 18, disc, cv::FILLED, cv::LINE_8);
    cv::circle(image, cv::Point(150, 60), 24, disc, cv::FILLED, cv::LINE_8);
    cv::circle(image, cv::Point(60, 150), 18, disc, cv::FILLED, cv::LINE_8);
    // ...and a pair that overlaps by a few pixels: one object until cut.
    cv::circle(image, cv::Point(122, 160), 20, disc, cv::FILLED, cv::LINE_8);
    cv::circle(image, cv::Point(158, 160), 20, disc, cv::FILLED, cv::LINE_8);
    // Outside the region.
    cv::circle(image, cv::Point(270, 60), 18, disc, cv::FILLED, cv::LINE_8);
    cv::circle(image, cv::Point(270, 170), 18, disc, cv::FILLED, cv::LINE_8);
    return image;
}

} // namespace discimage
