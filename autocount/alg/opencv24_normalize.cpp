#include "autocount/alg/opencv24.h"

#include <algorithm>
#include <cfloat>

namespace cv24 {

// Scale and shift are worked out in double and applied in single precision as
// a separate multiply and add, so an image whose minimum is not 0 normalises
// the same on every CPU, with or without fused multiply-add.
void NormalizeMinMax(const cv::Mat& src, cv::Mat& dst, double alpha, double beta)
{
    double smin = 0.0;
    double smax = 0.0;
    cv::minMaxLoc(src, &smin, &smax);
    const double dmin = std::min(alpha, beta);
    const double dmax = std::max(alpha, beta);
    const double scale = (dmax - dmin) * (smax - smin > DBL_EPSILON ? 1.0 / (smax - smin) : 0.0);
    const double shift = dmin - smin * scale;
    const float fscale = static_cast<float>(scale);
    const float fshift = static_cast<float>(shift);

    cv::Mat out(src.size(), CV_32FC1);
    for (int r = 0; r < src.rows; ++r) {
        const float* s = src.ptr<float>(r);
        float* d = out.ptr<float>(r);
        for (int c = 0; c < src.cols; ++c) {
            const float scaled = s[c] * fscale;
            d[c] = scaled + fshift;
        }
    }
    dst = out;
}

} // namespace cv24
