#include "autocount/alg/alg.h"

#include "autocount/alg/bytecount.h"
#include "autocount/alg/hsiplanes.h"
#include "autocount/alg/opencv24.h"

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>
#include <vector>

// Otsu's method: N. Otsu, "A threshold selection method from gray-level
// histograms", IEEE Trans. Systems, Man, and Cybernetics 9(1), 1979.

namespace {

// The object band of byte values, both bounds inclusive; empty when lo > hi.
struct Band
{
    int lo;
    int hi;
};

// The band [low, high] of int bounds restricted to byte values.
Band ByteBand(long long low, long long high)
{
    // Bounds beyond the byte range are pulled in just past it, which keeps
    // an empty band empty.
    return {static_cast<int>(std::clamp(low, 0LL, 256LL)),
            static_cast<int>(std::clamp(high, -1LL, 255LL))};
}

// Writes one row: d[x] = 255 when the byte s[x·stride] lies in the band, else
// 0; with a mask m, only where m[x] is non-zero, and elsewhere 0 when
// clearOutside is set or the old value otherwise. s points at the plane's
// byte of the first pixel, offset bytes into the pixel.
void BandRow(const uchar* s, int offset, int stride, const uchar* m, Band band, bool clearOutside,
             uchar* d, int n)
{
    int x = 0;
#if CV_SIMD128
    const cv::v_uint8x16 lo = cv::v_setall_u8(static_cast<uchar>(band.lo));
    const cv::v_uint8x16 hi = cv::v_setall_u8(static_cast<uchar>(band.hi));
    const cv::v_uint8x16 zero = cv::v_setzero_u8();
    const bool empty = band.lo > band.hi;
    for (; x + 16 <= n; x += 16) {
        cv::v_uint8x16 v;
        if (stride == 1) {
            v = cv::v_load(s + x);
        } else {
            cv::v_uint8x16 planes[3];
            cv::v_load_deinterleave(s - offset + 3 * x, planes[0], planes[1], planes[2]);
            v = planes[offset];
        }
        const cv::v_uint8x16 in = empty ? zero : ((v >= lo) & (v <= hi));
        if (!m) {
            cv::v_store(d + x, in);
            continue;
        }
        const cv::v_uint8x16 inside = cv::v_load(m + x) != zero;
        cv::v_store(d + x,
                    clearOutside ? (in & inside) : cv::v_select(inside, in, cv::v_load(d + x)));
    }
#endif
    for (; x < n; ++x) {
        const int v = s[x * stride];
        const uchar in = (band.lo <= v && v <= band.hi) ? 255 : 0;
        if (!m)
            d[x] = in;
        else if (m[x])
            d[x] = in;
        else if (clearOutside)
            d[x] = 0;
    }
}

// Sets every pixel of dst inside mask (everywhere when mask is empty) to 255
// when its plane byte lies in the band, else 0; the plane byte of pixel x is
// at offset + x·stride in the source row (stride 1 or 3). Pixels outside the
// mask keep their value, or become 0 when clearOutside is set. dst must be
// single-channel 8-bit of the source's size; mask empty or single-channel
// 8-bit of that size. Works with dst sharing the source's pixels, since each
// output pixel reads only its own input pixel.
void ApplyThroughMask(const cv::Mat& src, int offset, int stride, const cv::Mat& mask, Band band,
                      bool clearOutside, cv::Mat& dst)
{
    cv::parallel_for_(cv::Range(0, src.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            const uchar* m = mask.empty() ? nullptr : mask.ptr<uchar>(y);
            BandRow(src.ptr<uchar>(y) + offset, offset, stride, m, band, clearOutside,
                    dst.ptr<uchar>(y), src.cols);
        }
    });
}

// True when the single-pass route gives what the library's threshold and
// masked copy would give: one 8-bit plane, a usable single-channel mask.
bool PlainMask(const cv::Mat& plane, const cv::Mat& mask)
{
    return mask.empty() || (mask.type() == CV_8UC1 && mask.size() == plane.size());
}

// The masked copy's output: the existing image when it already has the right
// size and type (pixels outside the mask keep their value), else a new one
// that is zero outside the mask.
void PrepareOutput(const cv::Mat& mask, cv::Size size, cv::Mat& dst)
{
    if (dst.size() == size && dst.type() == CV_8UC1)
        return;
    if (mask.empty())
        dst.create(size, CV_8UC1);
    else
        dst = cv::Mat::zeros(size, CV_8UC1);
}

} // namespace

int AlgOtsu(cv::Mat src, int& threshold)
{
    if (!src.data || src.total() == 0)
        return 1;

    // Whole image, taken as single-channel bytes; no mask.
    int32_t counts[256] = {};
    bytecount::Count(src, 0, 1, counts);
    const int n = src.rows * src.cols;
    float p[256];
    for (int k = 0; k < 256; ++k)
        p[k] = static_cast<float>(counts[k]) / static_cast<float>(n);

    // Every split is summed afresh from k = 0 in single precision, as the
    // accumulation order fixes the rounding. An empty class gives 0/0 = NaN,
    // which never compares greater.
    double best = 0.0;
    for (int t = 0; t < 256; ++t) {
        float w0 = 0.0f, m0 = 0.0f, w1 = 0.0f, m1 = 0.0f;
        for (int k = 0; k <= t; ++k) {
            w0 += p[k];
            m0 += k * p[k];
        }
        for (int k = t + 1; k < 256; ++k) {
            w1 += p[k];
            m1 += k * p[k];
        }
        const float d = m0 / w0 - m1 / w1;
        const float sigma = static_cast<float>(static_cast<double>(d) * d * (w0 * w1));
        // Strictly greater: ties keep the smallest t. When no split beats 0
        // (a uniform image) the caller's value stays, so the controller goes
        // on with its previous threshold.
        if (sigma > best) {
            threshold = t;
            best = sigma;
        }
    }
    return 0;
}

int AlgAuto2Bw(cv::Mat src, cv::Mat mask, int polarity, cv::Mat& dst, int& threshold)
{
    if (!src.data)
        return -1;

    // Red-first weights on three channels, as for an image in red, green,
    // blue order; the controller always passes one channel already.
    cv::Mat grey = src;
    if (src.channels() == 3)
        cv24::GreyFromRgb(src, grey);

    if (AlgOtsu(grey, threshold) != 0)
        return 1;
    // The threshold has been written even when the polarity is unknown.
    if (polarity != ALG_DARK_OBJECTS && polarity != ALG_BRIGHT_OBJECTS)
        return 1;

    const int t = threshold;
    if (grey.type() == CV_8UC1 && PlainMask(grey, mask)) {
        // Bright objects lie above the threshold, dark ones at or below it.
        const Band band = polarity == ALG_BRIGHT_OBJECTS ? ByteBand(t + 1LL, 255) : ByteBand(0, t);
        PrepareOutput(mask, grey.size(), dst);
        ApplyThroughMask(grey, 0, 1, mask, band, false, dst);
        return 0;
    }

    cv::Mat bw;
    cv::threshold(grey, bw, t, 255,
                  polarity == ALG_BRIGHT_OBJECTS ? cv::THRESH_BINARY : cv::THRESH_BINARY_INV);
    bw.copyTo(dst, mask);
    return 0;
}

int AlgManual2Bw(cv::Mat src, cv::Mat mask, int low, int high, int colourSpace, int planeCode,
                 cv::Mat& dst)
{
    if (!src.data)
        return -1;

    // The plane: a byte offset and stride into an image (no copies made).
    cv::Mat image = src;
    int offset = 0;
    int stride = 1;
    if (src.channels() == 3) {
        if (colourSpace == ALG_SPACE_HSI && src.depth() == CV_8U && PlainMask(src, mask) &&
            planeCode >= ALG_PLANE_HUE && planeCode <= ALG_PLANE_INTENSITY) {
            // Only the wanted HSI plane is computed, a row at a time, and
            // thresholded straight into dst: no full-size planes are made.
            const Band band = ByteBand(low, high);
            const int plane = planeCode - ALG_PLANE_HUE;
            dst.create(src.size(), CV_8UC1);
            cv::parallel_for_(cv::Range(0, src.rows), [&](const cv::Range& rows) {
                std::vector<uchar> row(static_cast<size_t>(src.cols));
                uchar* out[3] = {nullptr, nullptr, nullptr};
                out[plane] = row.data();
                for (int y = rows.start; y < rows.end; ++y) {
                    hsiplanes::ConvertRow(src.ptr<uchar>(y), src.cols, out[0], out[1], out[2]);
                    BandRow(row.data(), 0, 1, mask.empty() ? nullptr : mask.ptr<uchar>(y), band,
                            true, dst.ptr<uchar>(y), src.cols);
                }
            });
            return 0;
        }
        if (colourSpace == ALG_SPACE_HSI) {
            cv::Mat hsi[3];
            const int status = AlgRGB2HSI(src, hsi[0], hsi[1], hsi[2]);
            if (status != 0)
                return status;
            if (planeCode < ALG_PLANE_HUE || planeCode > ALG_PLANE_INTENSITY)
                return 2;
            image = hsi[planeCode - ALG_PLANE_HUE];
        } else if (colourSpace == ALG_SPACE_PLANES) {
            if (planeCode < ALG_PLANE_0 || planeCode > ALG_PLANE_2)
                return 2;
            offset = planeCode - ALG_PLANE_0;
            stride = 3;
            if (src.depth() != CV_8U) {
                cv::Mat planes[3];
                cv::split(src, planes);
                image = planes[offset];
                offset = 0;
                stride = 1;
            }
        } else {
            return 1;
        }
    }

    // Both bounds inclusive, compared as int; low above high selects nothing.
    uchar lut[256];
    for (int v = 0; v < 256; ++v)
        lut[v] = (low <= v && v <= high) ? 255 : 0;

    const bool plane8 = stride == 3 || image.type() == CV_8UC1;
    if (plane8 && PlainMask(image, mask)) {
        // Zero outside the mask, the band inside it.
        dst.create(image.size(), CV_8UC1);
        ApplyThroughMask(image, offset, stride, mask, ByteBand(low, high), true, dst);
        return 0;
    }

    // Any other plane: its first bytes of each row, one per column, are
    // compared; the band image has the plane's size and type.
    cv::Mat bw = cv::Mat::zeros(image.size(), image.type());
    for (int y = 0; y < image.rows; ++y) {
        const uchar* s = image.ptr<uchar>(y);
        uchar* b = bw.ptr<uchar>(y);
        for (int x = 0; x < image.cols; ++x)
            b[x] = lut[s[x]];
    }
    dst = cv::Mat::zeros(image.size(), image.type());
    bw.copyTo(dst, mask);
    return 0;
}
