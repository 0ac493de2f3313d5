#pragma once

// The HSI rule written out pixel by pixel with no shortcuts: single-precision
// steps, double where the rule says so, the library's acos, truncation toward
// zero and NaN to 0. It is the oracle for the conversion's table-driven hue,
// in its test and in its fuzz target, so it depends on nothing but OpenCV's
// core types.

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace hsireference {

inline uchar Truncated(float v)
{
    return std::isnan(v) ? 0 : static_cast<uchar>(static_cast<int32_t>(v));
}

/// Hue, saturation and intensity bytes of the pixel bytes (b, g, r) at @p bgr.
inline void Pixel(const uchar* bgr, uchar out[3])
{
    const double twoPi = 6.283185307179586;
    const float b = static_cast<float>(bgr[0] / 255.0);
    const float g = static_cast<float>(bgr[1] / 255.0);
    const float r = static_cast<float>(bgr[2] / 255.0);
    const float den = std::sqrt((r - g) * (r - g) + (g - b) * (r - b));
    float h = 0.0f;
    if (den != 0.0f) {
        const float theta = std::acos(((r - g) + (r - b)) * 0.5f / den);
        const double angle = g >= b ? theta : twoPi - theta;
        h = static_cast<float>(angle / twoPi);
    }
    const float sum = r + g + b;
    float s = 0.0f;
    if (sum != 0.0f)
        s = static_cast<float>(1.0 - 3.0 * std::min(b, std::min(g, r)) / sum);
    out[0] = Truncated(h * 255.0f);
    out[1] = Truncated(s * 255.0f);
    out[2] = Truncated(sum / 3 * 255.0f);
}

} // namespace hsireference
