#pragma once

#include <opencv2/core.hpp>

/**
 * @brief Which way a picture's objects stand out: the grey image is split
 * in two by Otsu's threshold, and the larger class is taken to be the
 * background, so the objects are the other one.
 */
namespace polarity {

struct Suggestion
{
    bool brightObjects = true; ///< objects above the threshold, on a darker background
    int threshold = 0;         ///< Otsu's threshold of the grey image; bright is above it
    double brightShare = 0.0;  ///< share of the pixels looked at that are above it, 0 to 1
};

/**
 * @brief The polarity of @p image (8-bit, grey or BGR), looking only where
 * @p mask (8-bit, same size) is non-zero when it is given. An empty or
 * fully masked picture suggests bright objects with share 0.
 */
Suggestion Suggest(const cv::Mat& image, const cv::Mat& mask = cv::Mat());

} // namespace polarity
