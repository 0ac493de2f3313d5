#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

int AlgMerge(cv::Mat in, cv::Mat& out)
{
    if (!in.data || in.total() == 0)
        return 1;
    if (in.channels() > 1)
        return 2;

    // A 3 × 3 closing: gaps up to about two pixels wide, such as manual cut
    // lines, are closed. The image edge neither grows nor erodes objects.
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
    cv::dilate(in, out, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
               cv::morphologyDefaultBorderValue());
    cv::erode(out, out, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
              cv::morphologyDefaultBorderValue());
    return 0;
}
