#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

namespace {

// Library morphology types in the order of the operation codes 31..34. Dilate
// comes first here although the library numbers it after erode.
constexpr int kMorphTypes[] = {
    cv::MORPH_DILATE, // ALG_MORPH_DILATE
    cv::MORPH_ERODE,  // ALG_MORPH_ERODE
    cv::MORPH_OPEN,   // ALG_MORPH_OPEN
    cv::MORPH_CLOSE,  // ALG_MORPH_CLOSE
};

// A constant border with the library's morphology default value counts as
// "absent" for both dilation and erosion: the image edge neither adds object
// pixels nor eats into objects that touch it.
void Morph(const cv::Mat& src, cv::Mat& dst, int type, int size)
{
    const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(size, size));
    cv::morphologyEx(src, dst, type, kernel, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                     cv::morphologyDefaultBorderValue());
}

} // namespace

int AlgMorphology(cv::Mat src, int op, cv::Mat& dst)
{
    if (!src.data)
        return -1;
    if (op < ALG_MORPH_DILATE || op > ALG_MORPH_CLOSE)
        return 2;
    Morph(src, dst, kMorphTypes[op - ALG_MORPH_DILATE], 5);
    return 0;
}

int AlgFillHole(cv::Mat src, cv::Mat& dst)
{
    if (!src.data || src.total() == 0)
        return 1;

    // Close one-pixel gaps first, in place: the caller's image (which shares
    // src's pixels) ends up closed as well.
    Morph(src, src, cv::MORPH_CLOSE, 3);

    // A zero frame one pixel wide joins all background that touches the image
    // border into one region, reachable from the frame's corner.
    cv::Mat padded = cv::Mat::zeros(src.rows + 2, src.cols + 2, src.type());
    const cv::Rect interior(1, 1, src.cols, src.rows);
    src.copyTo(padded(interior));
    cv::floodFill(padded, cv::Point(0, 0), cv::Scalar::all(255), nullptr, cv::Scalar::all(0),
                  cv::Scalar::all(0), 4);

    // What the flood did not reach and is not object is a hole.
    cv::Mat holes;
    cv::bitwise_not(padded(interior), holes);
    cv::bitwise_or(src, holes, dst);
    return 0;
}
