#pragma once

// Byte histograms shared by the Otsu threshold and the controller's
// histogram. Internal to the module.

#include <opencv2/core.hpp>

#include <cstdint>

namespace bytecount {

/**
 * @brief Adds to @p counts the number of occurrences of every byte value
 * among the bytes offset + k·stride, k = 0..cols−1, of every row of
 * @p image (row by row through the row step; a continuous image is walked as
 * one block). Rows are shared between threads; integer sums make the result
 * independent of the split.
 * @param counts 256 bins; not cleared.
 */
void Count(const cv::Mat& image, int offset, int stride, int32_t counts[256]);

} // namespace bytecount
