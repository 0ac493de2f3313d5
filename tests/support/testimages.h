#pragma once

// Small helpers that build test images with known content.

#include <opencv2/core.hpp>

#include <gtest/gtest.h>

#include <string>

namespace testimages {

/// rows × cols single-channel 8-bit image filled with @p value.
cv::Mat Grey(int rows, int cols, int value = 0);

/// rows × cols three-channel image filled with the bytes (b, g, r).
cv::Mat Colour(int rows, int cols, int b, int g, int r);

/// Draws a filled disc of @p value into @p image.
void Disc(cv::Mat& image, cv::Point centre, int radius, int value = 255);

/// Passes when @p a and @p b have the same size, type and every byte equal;
/// otherwise names the first differing pixel.
::testing::AssertionResult SameImage(const cv::Mat& a, const cv::Mat& b);

} // namespace testimages
