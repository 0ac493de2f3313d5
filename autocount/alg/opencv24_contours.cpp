#include "autocount/alg/opencv24.h"

#include <opencv2/imgproc.hpp>

namespace cv24 {

// The older contour tracer cleared the image's outermost rows and columns
// before tracing, so pixels on the frame never belonged to any contour. The
// current tracer pads the image instead and traces frame pixels too. Clearing
// the frame of a private copy restores the old contours, point order,
// contour order and hierarchy.
void FindContours(const cv::Mat& image, ContourList& contours, std::vector<cv::Vec4i>* hierarchy,
                  int mode, int method)
{
    if (image.empty()) {
        contours.clear();
        if (hierarchy)
            hierarchy->clear();
        return;
    }

    cv::Mat work = image.clone();
    work.row(0).setTo(cv::Scalar::all(0));
    work.row(work.rows - 1).setTo(cv::Scalar::all(0));
    work.col(0).setTo(cv::Scalar::all(0));
    work.col(work.cols - 1).setTo(cv::Scalar::all(0));

    ContourList found;
    std::vector<cv::Vec4i> links;
    cv::findContours(work, found, links, mode, method);
    contours = std::move(found);
    if (hierarchy)
        *hierarchy = std::move(links);
}

} // namespace cv24
