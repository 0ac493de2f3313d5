#pragma once

// Row-wise access to the HSI conversion, for callers that need only some of
// its planes. Internal to the module.

#include <opencv2/core.hpp>

namespace hsiplanes {

/**
 * @brief Converts @p n pixels of three bytes (blue, green, red) at @p src
 * to hue, saturation and intensity bytes by the rule of AlgRGB2HSI, writing
 * @p n bytes to each of @p h, @p s and @p i that is not null. Planes left out
 * are not computed.
 */
void ConvertRow(const uchar* src, int n, uchar* h, uchar* s, uchar* i);

} // namespace hsiplanes
