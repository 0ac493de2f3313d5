#include "autocount/alg/opencv24.h"

#include <opencv2/imgproc.hpp>

namespace cv24 {

// The older contour tracer cleared the image's outermost rows and columns
// before tracing, so pixels on the frame never belonged to any contour. The
// current tracer pads the image with a zero frame of its own and traces frame
// pixels too. Tracing only the interior (the image without its outermost
// rows and columns) with an offset of one pixel sees exactly the old tracer's
// picture: the interior inside a zero frame. Contours, point order, contour
// order and hierarchy are the old ones, and the caller's image is neither
// copied nor changed here.
void FindContours(const cv::Mat& image, ContourList& contours, std::vector<cv::Vec4i>* hierarchy,
                  int mode, int method)
{
    ContourList found;
    std::vector<cv::Vec4i> links;
    // An image of one or two rows or columns is all frame: no contours.
    if (image.rows > 2 && image.cols > 2) {
        const cv::Mat interior = image(cv::Rect(1, 1, image.cols - 2, image.rows - 2));
        cv::findContours(interior, found, links, mode, method, cv::Point(1, 1));
    }
    contours = std::move(found);
    if (hierarchy)
        *hierarchy = std::move(links);
}

} // namespace cv24
