#include "autocount/alg/opencv24.h"

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#if defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

// 14-bit fixed-point grey weights: blue 0.114, green 0.587, red 0.299.
constexpr int kShift = 14;
constexpr int kBlueWeight = 1868;
constexpr int kGreenWeight = 9617;
constexpr int kRedWeight = 4899;
constexpr int kRound = 1 << (kShift - 1);

#if defined(__GNUC__) && defined(__x86_64__)
#define AUTOCOUNT_GREY_AVX2 1

// Eight weighted sums of the pixels at p (c bytes each): pixels 0..3 in the
// low 128-bit half, 4..7 in the high one.
__attribute__((target("avx2"))) inline __m256i EightSums(const uchar* p, int c, __m256i shuffle01,
                                                         __m256i shuffle2, __m256i weights01,
                                                         __m256i weight2, __m256i round)
{
    const __m256i bytes = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 4 * c)), 1);
    const __m256i sum01 = _mm256_madd_epi16(_mm256_shuffle_epi8(bytes, shuffle01), weights01);
    const __m256i sum2 = _mm256_madd_epi16(_mm256_shuffle_epi8(bytes, shuffle2), weight2);
    return _mm256_srai_epi32(_mm256_add_epi32(_mm256_add_epi32(sum01, sum2), round), kShift);
}

// The same weighted sums with 256-bit integer vectors, for processors that
// have them (checked at run time; the build itself stays generic). Each
// 128-bit half takes four pixels: a byte shuffle spreads their bytes into
// 16-bit pairs (byte 0, byte 1) and (byte 2, 0), which multiply-add with
// (w0, w1) and (w2, 0) into one 32-bit sum per pixel. Returns the number of
// pixels done; the last pixels are left to the caller, so that no load reads
// past the row.
__attribute__((target("avx2"))) int WeightedRowAvx2(const uchar* s, uchar* d, int n, int cn, int w0,
                                                    int w1, int w2)
{
    const int c = cn;
    const __m128i pairs01 =
        _mm_setr_epi8(0, -1, 1, -1, static_cast<char>(c), -1, static_cast<char>(c + 1), -1,
                      static_cast<char>(2 * c), -1, static_cast<char>(2 * c + 1), -1,
                      static_cast<char>(3 * c), -1, static_cast<char>(3 * c + 1), -1);
    const __m128i pairs2 = _mm_setr_epi8(2, -1, -1, -1, static_cast<char>(c + 2), -1, -1, -1,
                                         static_cast<char>(2 * c + 2), -1, -1, -1,
                                         static_cast<char>(3 * c + 2), -1, -1, -1);
    const __m256i shuffle01 = _mm256_broadcastsi128_si256(pairs01);
    const __m256i shuffle2 = _mm256_broadcastsi128_si256(pairs2);
    const __m256i weights01 = _mm256_set1_epi32((w1 << 16) | (w0 & 0xffff));
    const __m256i weight2 = _mm256_set1_epi32(w2);
    const __m256i round = _mm256_set1_epi32(kRound);
    int x = 0;
    // The high half of the last eight pixels reads 16 bytes from pixel x + 12.
    for (; x + 16 + 6 <= n; x += 16) {
        const __m256i a = EightSums(s + c * x, c, shuffle01, shuffle2, weights01, weight2, round);
        const __m256i b =
            EightSums(s + c * (x + 8), c, shuffle01, shuffle2, weights01, weight2, round);
        // 16-bit lanes in the order 0..3, 8..11, 4..7, 12..15; put back in order.
        const __m256i words = _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xd8);
        const __m128i bytes =
            _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), bytes);
    }
    return x;
}

bool HasAvx2()
{
    // cv::setUseOptimized(false) turns the wide path off, as it does the
    // library's own; the tests use it to check the narrower vectors.
    static const bool has = __builtin_cpu_supports("avx2");
    return has && cv::useOptimized();
}
#endif

// Weighted sums of one row of pixels of cn bytes each (3 or 4), 16 at a time
// with integer vector arithmetic, which gives the same bits as the scalar sum
// (tab0[b0] + tab1[b1] + tab2[b2]) >> kShift. Byte pairs are multiplied and
// added into 32-bit lanes: (byte 0, byte 1) by (w0, w1), (byte 2, 1) by
// (w2, kRound). Returns the number of pixels done.
int WeightedRowVector(const uchar* s, uchar* d, int n, int cn, int w0, int w1, int w2)
{
    int x = 0;
#if CV_SIMD128
    const cv::v_int16x8 w01 =
        cv::v_int16x8(static_cast<short>(w0), static_cast<short>(w1), static_cast<short>(w0),
                      static_cast<short>(w1), static_cast<short>(w0), static_cast<short>(w1),
                      static_cast<short>(w0), static_cast<short>(w1));
    const cv::v_int16x8 w2r =
        cv::v_int16x8(static_cast<short>(w2), kRound, static_cast<short>(w2), kRound,
                      static_cast<short>(w2), kRound, static_cast<short>(w2), kRound);
    const cv::v_int16x8 one = cv::v_setall_s16(1);
    // Four 32-bit sums for the 16-bit lanes of a, b and c taken in pairs.
    auto sums = [&](const cv::v_uint16x8& a, const cv::v_uint16x8& b, const cv::v_uint16x8& c) {
        cv::v_int16x8 ab0, ab1, c10, c11;
        cv::v_zip(cv::v_reinterpret_as_s16(a), cv::v_reinterpret_as_s16(b), ab0, ab1);
        cv::v_zip(cv::v_reinterpret_as_s16(c), one, c10, c11);
        const cv::v_int32x4 lo = (cv::v_dotprod(ab0, w01) + cv::v_dotprod(c10, w2r)) >> kShift;
        const cv::v_int32x4 hi = (cv::v_dotprod(ab1, w01) + cv::v_dotprod(c11, w2r)) >> kShift;
        return cv::v_pack(cv::v_reinterpret_as_u32(lo), cv::v_reinterpret_as_u32(hi));
    };
    for (; x + 16 <= n; x += 16) {
        cv::v_uint8x16 b0, b1, b2, b3;
        if (cn == 3)
            cv::v_load_deinterleave(s + 3 * x, b0, b1, b2);
        else
            cv::v_load_deinterleave(s + 4 * x, b0, b1, b2, b3);
        cv::v_uint16x8 l0, h0, l1, h1, l2, h2;
        cv::v_expand(b0, l0, h0);
        cv::v_expand(b1, l1, h1);
        cv::v_expand(b2, l2, h2);
        cv::v_store(d + x, cv::v_pack(sums(l0, l1, l2), sums(h0, h1, h2)));
    }
#else
    (void)s, (void)d, (void)n, (void)cn, (void)w0, (void)w1, (void)w2;
#endif
    return x;
}

// Weighted sum of the first three bytes of every pixel; w0..w2 weigh byte 0..2.
void WeightedGrey(const cv::Mat& src, cv::Mat& dst, int w0, int w1, int w2)
{
    CV_Assert(!src.empty() && (src.channels() == 3 || src.channels() == 4));
    if (src.depth() != CV_8U) {
        // Only the 8-bit path differs between library versions.
        cv::cvtColor(src, dst, w0 == kBlueWeight ? cv::COLOR_BGR2GRAY : cv::COLOR_RGB2GRAY);
        return;
    }
    int tab0[256], tab1[256], tab2[256];
    for (int v = 0; v < 256; ++v) {
        tab0[v] = w0 * v;
        tab1[v] = w1 * v;
        tab2[v] = w2 * v + kRound;
    }
    // dst's own buffer is written over when no other header shares it and it
    // has the right size and type: nobody can tell, and a slider that
    // re-converts the same picture then touches no new memory.
    const bool reuse = dst.u && dst.u->refcount == 1 && dst.size() == src.size() &&
                       dst.type() == CV_8UC1 && dst.data != src.data;
    cv::Mat out = reuse ? dst : cv::Mat(src.size(), CV_8UC1);
    const int cn = src.channels();
    cv::parallel_for_(cv::Range(0, src.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            const uchar* s = src.ptr<uchar>(y);
            uchar* d = out.ptr<uchar>(y);
            int done = 0;
#ifdef AUTOCOUNT_GREY_AVX2
            if (HasAvx2())
                done = WeightedRowAvx2(s, d, src.cols, cn, w0, w1, w2);
#endif
            done += WeightedRowVector(s + done * cn, d + done, src.cols - done, cn, w0, w1, w2);
            s += done * cn;
            for (int x = done; x < src.cols; ++x, s += cn)
                d[x] = static_cast<uchar>((tab0[s[0]] + tab1[s[1]] + tab2[s[2]]) >> kShift);
        }
    });
    dst = out;
}

} // namespace

namespace cv24 {

void GreyFromBgr(const cv::Mat& src, cv::Mat& dst)
{
    WeightedGrey(src, dst, kBlueWeight, kGreenWeight, kRedWeight);
}

void GreyFromRgb(const cv::Mat& src, cv::Mat& dst)
{
    WeightedGrey(src, dst, kRedWeight, kGreenWeight, kBlueWeight);
}

} // namespace cv24
