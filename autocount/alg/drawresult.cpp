// Paints object contours into a colour copy of an image, for hosts that want
// the result as pixels rather than as scene items.

#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

namespace {

/// Result codes of AlgDrawResult.
enum DrawResultCode
{
    DRAW_OK = 0,
    DRAW_EMPTY_SOURCE = 1,
    DRAW_NO_CONTOURS = 2,
    DRAW_UNKNOWN_MODE = 3,
};

} // namespace

int AlgDrawResult(cv::Mat src, ContourList contours, int mode, int red, int green, int blue,
                  cv::Mat& dst)
{
    if (!src.data || src.total() == 0)
        return DRAW_EMPTY_SOURCE;
    if (contours.empty())
        return DRAW_NO_CONTOURS;

    cv::Mat canvas;
    if (src.type() == CV_8UC3)
        canvas = src.clone();
    else
        cv::cvtColor(src, canvas, cv::COLOR_GRAY2BGR);

    int thickness = 0;
    switch (mode) {
    case ALG_DRAW_OUTLINE:
        thickness = 1;
        break;
    case ALG_DRAW_FILLED:
        thickness = cv::FILLED;
        break;
    default:
        // An unknown mode still hands back the colour copy, undrawn.
        dst = canvas;
        return DRAW_UNKNOWN_MODE;
    }

    cv::drawContours(canvas, contours, -1, cv::Scalar(blue, green, red), thickness, cv::LINE_8);
    dst = canvas;
    return DRAW_OK;
}
