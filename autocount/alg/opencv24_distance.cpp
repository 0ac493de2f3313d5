// Euclidean distance map by the 5 × 5 chamfer (G. Borgefors, "Distance
// transformations in digital images", 1986) in 16.16 fixed point, with the
// older library's treatment of the image border: the two pixels outside every
// edge are sources at a large finite value, never clamped.

#include "autocount/alg/opencv24.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

// Chamfer steps in 16.16 fixed point: axis 1, diagonal 1.4, knight 2.1969.
constexpr int kAxisStep = 65536;
constexpr int kDiagonalStep = 91750;
constexpr int kKnightStep = 143976;
// Value of the two-pixel frame around the image. An image without a zero
// pixel therefore gets this plus the distance to its edge, not a clamped
// constant; an upright rectangle that fills its box keeps a usable relief.
constexpr int kFrameDistance = INT32_MAX >> 2;
constexpr int kBorder = 2;

} // namespace

namespace cv24 {

void DistanceTransformL2(const cv::Mat& binary, cv::Mat& dist)
{
    const int rows = binary.rows;
    const int cols = binary.cols;
    const int stride = cols + 2 * kBorder;
    std::vector<int32_t> t(static_cast<size_t>(rows + 2 * kBorder) * stride, kFrameDistance);
    auto at = [&](int r, int c) -> int32_t* {
        return &t[static_cast<size_t>(r + kBorder) * stride + (c + kBorder)];
    };

    // Forward pass: neighbours above and to the left.
    for (int r = 0; r < rows; ++r) {
        const uchar* src = binary.ptr<uchar>(r);
        int32_t* p = at(r, 0);
        const int32_t* up1 = p - stride;
        const int32_t* up2 = p - 2 * stride;
        for (int c = 0; c < cols; ++c) {
            if (src[c] == 0) {
                p[c] = 0;
                continue;
            }
            int32_t v = up2[c - 1] + kKnightStep;
            v = std::min(v, up2[c + 1] + kKnightStep);
            v = std::min(v, up1[c - 2] + kKnightStep);
            v = std::min(v, up1[c - 1] + kDiagonalStep);
            v = std::min(v, up1[c] + kAxisStep);
            v = std::min(v, up1[c + 1] + kDiagonalStep);
            v = std::min(v, up1[c + 2] + kKnightStep);
            v = std::min(v, p[c - 1] + kAxisStep);
            p[c] = v;
        }
    }

    // Backward pass: neighbours below and to the right; then to float.
    cv::Mat out(rows, cols, CV_32FC1);
    for (int r = rows - 1; r >= 0; --r) {
        int32_t* p = at(r, 0);
        const int32_t* down1 = p + stride;
        const int32_t* down2 = p + 2 * stride;
        float* d = out.ptr<float>(r);
        for (int c = cols - 1; c >= 0; --c) {
            int32_t v = p[c];
            if (v > kAxisStep) {
                v = std::min(v, p[c + 1] + kAxisStep);
                v = std::min(v, down1[c - 2] + kKnightStep);
                v = std::min(v, down1[c - 1] + kDiagonalStep);
                v = std::min(v, down1[c] + kAxisStep);
                v = std::min(v, down1[c + 1] + kDiagonalStep);
                v = std::min(v, down1[c + 2] + kKnightStep);
                v = std::min(v, down2[c - 1] + kKnightStep);
                v = std::min(v, down2[c + 1] + kKnightStep);
                p[c] = v;
            }
            d[c] = static_cast<float>(v) * (1.0f / kAxisStep);
        }
    }
    dist = out;
}

} // namespace cv24
