#include "autocount/alg/alg.h"
#include "autocount/alg/hsiplanes.h"

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

// Hue, saturation and intensity of a blue-green-red pixel, all in single
// precision except where noted:
//   b, g, r = byte / 255.0 (double quotient kept as float)
//   den     = sqrt((r - g)² + (g - b)(r - b))
//   θ       = acos(((r - g) + (r - b)) · 0.5 / den)
//   h       = (g >= b ? θ : 2π - θ) / 2π        (double, kept as float)
//   s       = 1 - 3·min(b, g, r) / (r + g + b)  (double, kept as float)
//   i       = (r + g + b) / 3
// and each plane byte is trunc(value · 255). The arc cosine is the costly
// step; since the hue byte is a monotonic step function of the cosine
// argument on each side of g = b, it is read from tables of the exact
// argument values where the byte changes, built once from the same acos.

#if defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

constexpr double kTwoPi = 6.283185307179586;

// One byte as a unit-interval float.
struct UnitTable
{
    float v[256];
    UnitTable()
    {
        for (int k = 0; k < 256; ++k)
            v[k] = static_cast<float>(k / 255.0);
    }
};

const UnitTable kUnit;

// A float truncated toward zero; the plane keeps the low byte. NaN stores 0.
inline uchar ToByte(float v)
{
    if (!(v == v))
        return 0;
    return static_cast<uchar>(static_cast<int32_t>(v));
}

// Hue byte of a cosine argument; greenAtLeastBlue picks the half circle.
inline uchar HueByte(float arg, bool greenAtLeastBlue)
{
    const float theta = std::acos(arg);
    const double h = greenAtLeastBlue ? theta : kTwoPi - theta;
    return ToByte(static_cast<float>(h / kTwoPi) * 255.0f);
}

// Floats in the order of their values, as unsigned keys (-0 just below +0).
inline uint32_t KeyOf(float f)
{
    uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    return (bits & 0x80000000u) ? ~bits : bits | 0x80000000u;
}

inline float FloatOf(uint32_t key)
{
    const uint32_t bits = (key & 0x80000000u) ? key & 0x7fffffffu : ~key;
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

// The cosine argument range [-1, 1] is cut into kBuckets equal buckets. The
// hue steps are at least 3·10⁻⁴ apart in the argument, wider than a bucket,
// so a bucket holds at most one step: below `step` the byte is `low`, at or
// above it `high`. A bucket where that does not hold is computed directly.
class HueTable
{
public:
    static constexpr int kBuckets = 16384;

    static int Bucket(float arg) { return static_cast<int>((arg + 1.0f) * (kBuckets * 0.5f)); }

    HueTable()
    {
        const uint32_t first = KeyOf(-1.0f);
        const uint32_t last = KeyOf(1.0f);
        // First key of every bucket; the buckets cover [first, last].
        uint32_t start = first;
        for (int j = 0; j <= kBuckets; ++j) {
            uint32_t lo = start, hi = last + 1;
            while (lo < hi) {
                const uint32_t mid = lo + (hi - lo) / 2;
                if (Bucket(FloatOf(mid)) > j)
                    hi = mid;
                else
                    lo = mid + 1;
            }
            // Keys [start, lo) fall into bucket j.
            for (int side = 0; side < 2; ++side)
                Fill(entries_[Index(j, side == 0)], start, lo, side == 0);
            start = lo;
        }
    }

    // Entry of a bucket on one half circle (g >= b first, then g < b).
    static int Index(int bucket, bool greenAtLeastBlue)
    {
        return greenAtLeastBlue ? bucket : bucket + kBuckets + 1;
    }

    struct Entry
    {
        float step = std::numeric_limits<float>::infinity();
        uchar low = 0;
        uchar high = 0;
        bool exact = false;
    };

    const Entry& At(int index) const { return entries_[index]; }
    static_assert(sizeof(Entry) == 8 && offsetof(Entry, low) == 4 && offsetof(Entry, high) == 5 &&
                      offsetof(Entry, exact) == 6,
                  "the vector lookup reads entries as a float and three bytes");

    // The byte of an argument in the entry's bucket, unless the entry is
    // marked exact. Written without a branch on the argument, which follows
    // the picture and cannot be predicted.
    static int Step(const Entry& e, float arg)
    {
        const int up = -static_cast<int>(arg >= e.step);
        return e.low ^ ((e.low ^ e.high) & up);
    }

    uchar Hue(float arg, bool greenAtLeastBlue) const
    {
        const Entry& e = entries_[Index(Bucket(arg), greenAtLeastBlue)];
        if (e.exact)
            return HueByte(arg, greenAtLeastBlue);
        return static_cast<uchar>(Step(e, arg));
    }

private:
    // Describes the keys [begin, end) of one bucket.
    static void Fill(Entry& e, uint32_t begin, uint32_t end, bool greenAtLeastBlue)
    {
        if (begin >= end)
            return;
        const uchar low = HueByte(FloatOf(begin), greenAtLeastBlue);
        const uchar high = HueByte(FloatOf(end - 1), greenAtLeastBlue);
        e.low = e.high = low;
        if (low == high)
            return;
        // First key whose byte differs from the bucket's first one.
        uint32_t lo = begin + 1, hi = end - 1;
        while (lo < hi) {
            const uint32_t mid = lo + (hi - lo) / 2;
            if (HueByte(FloatOf(mid), greenAtLeastBlue) != low)
                hi = mid;
            else
                lo = mid + 1;
        }
        e.step = FloatOf(lo);
        e.high = HueByte(e.step, greenAtLeastBlue);
        e.exact = e.high != high;
    }

    Entry entries_[2 * (kBuckets + 1)];
};

const HueTable& Hues()
{
    static const HueTable table; // built on first use, thread-safe
    return table;
}

// Planes to compute, as template arguments: a caller that thresholds one
// plane skips the work of the others (the hue is by far the costliest).
constexpr int kWantHue = 1;
constexpr int kWantSaturation = 2;
constexpr int kWantIntensity = 4;
constexpr int kWantAll = kWantHue | kWantSaturation | kWantIntensity;

// Converts pixel x of a run of three-byte pixels starting at src.
template <int Want>
inline void ConvertPixel(const uchar* src, uchar* h, uchar* s, uchar* i, int x,
                         const HueTable& hues)
{
    src += 3 * x;
    const float b = kUnit.v[src[0]];
    const float g = kUnit.v[src[1]];
    const float r = kUnit.v[src[2]];

    if constexpr ((Want & kWantHue) != 0) {
        const float rg = r - g;
        const float rb = r - b;
        const float den = std::sqrt(rg * rg + (g - b) * rb);
        uchar hue = 0;
        if (den != 0.0f) { // also when den is NaN
            const float arg = (rg + rb) * 0.5f / den;
            // Outside [-1, 1] (or NaN) the arc cosine is NaN, which stores 0.
            if (arg >= -1.0f && arg <= 1.0f)
                hue = hues.Hue(arg, src[1] >= src[0]);
        }
        h[x] = hue;
    }

    const float sum = r + g + b;
    if constexpr ((Want & kWantSaturation) != 0) {
        float sat = 0.0f;
        if (sum != 0.0f) {
            const float least = std::min(b, std::min(g, r));
            sat = static_cast<float>(1.0 - 3.0 * least / sum);
        }
        s[x] = ToByte(sat * 255.0f);
    }
    if constexpr ((Want & kWantIntensity) != 0)
        i[x] = ToByte(sum / 3.0f * 255.0f);
}

#if CV_SIMD128
// The same rule on four pixels in the vector lanes. Every operation is the
// scalar one in the same order (IEEE single and double precision give the
// same bits in either form); only the hue byte is looked up lane by lane.
// byte / 255.0 kept as float equals the float quotient byte / 255.0f for all
// 256 bytes, so the quotients are formed in single precision here.
template <int Want>
inline void ConvertLanes(const cv::v_uint32x4& bb, const cv::v_uint32x4& gb,
                         const cv::v_uint32x4& rb8, cv::v_int32x4& h, cv::v_int32x4& s,
                         cv::v_int32x4& i, const HueTable& hues)
{
    const cv::v_float32x4 k255 = cv::v_setall_f32(255.0f);
    const cv::v_float32x4 zero = cv::v_setzero_f32();
    const cv::v_float32x4 b = cv::v_cvt_f32(cv::v_reinterpret_as_s32(bb)) / k255;
    const cv::v_float32x4 g = cv::v_cvt_f32(cv::v_reinterpret_as_s32(gb)) / k255;
    const cv::v_float32x4 r = cv::v_cvt_f32(cv::v_reinterpret_as_s32(rb8)) / k255;
    const cv::v_int32x4 lowByte = cv::v_setall_s32(0xff);
    if constexpr ((Want & kWantHue) != 0) {
        const cv::v_float32x4 rg = r - g;
        const cv::v_float32x4 rb = r - b;
        const cv::v_float32x4 den = cv::v_sqrt(rg * rg + (g - b) * rb);
        const cv::v_float32x4 arg = (rg + rb) * cv::v_setall_f32(0.5f) / den;
        // den != 0 holds for NaN too; the range test fails for NaN.
        const cv::v_float32x4 withHue =
            (den != zero) & (arg >= cv::v_setall_f32(-1.0f)) & (arg <= cv::v_setall_f32(1.0f));
        // Bucket and half circle as one entry index, in the lanes; lanes without
        // a hue read bucket 0 and are cleared afterwards.
        const cv::v_float32x4 inRange = cv::v_select(withHue, arg, zero);
        const cv::v_int32x4 bucket = cv::v_trunc((inRange + cv::v_setall_f32(1.0f)) *
                                                 cv::v_setall_f32(HueTable::kBuckets * 0.5f));
        const cv::v_int32x4 otherHalf = cv::v_reinterpret_as_s32(g < b);
        const cv::v_int32x4 index =
            bucket + (otherHalf & cv::v_setall_s32(HueTable::Index(0, false)));
        float args[4];
        int indices[4];
        cv::v_store(args, arg);
        cv::v_store(indices, index);
        int hue[4];
        bool exact = false;
        for (int k = 0; k < 4; ++k) {
            const HueTable::Entry& e = hues.At(indices[k]);
            hue[k] = HueTable::Step(e, args[k]);
            exact |= e.exact;
        }
        if (exact) { // rare: a bucket with two steps
            int valid[4];
            cv::v_store(valid, cv::v_reinterpret_as_s32(withHue));
            for (int k = 0; k < 4; ++k)
                if (valid[k] && hues.At(indices[k]).exact)
                    hue[k] = HueByte(args[k], indices[k] < HueTable::Index(0, false));
        }
        h = cv::v_load(hue) & cv::v_reinterpret_as_s32(withHue) & lowByte;
    }

    const cv::v_float32x4 sum = r + g + b;
    if constexpr ((Want & kWantSaturation) != 0) {
        const cv::v_float32x4 least = cv::v_min(b, cv::v_min(g, r));
        const cv::v_float64x2 one = cv::v_setall_f64(1.0), three = cv::v_setall_f64(3.0);
        const cv::v_float64x2 satLo = one - three * cv::v_cvt_f64(least) / cv::v_cvt_f64(sum);
        const cv::v_float64x2 satHi =
            one - three * cv::v_cvt_f64_high(least) / cv::v_cvt_f64_high(sum);
        const cv::v_float32x4 sat = cv::v_select(sum != zero, cv::v_cvt_f32(satLo, satHi), zero);
        // Truncation of NaN gives 0x80000000, whose low byte is 0 as ToByte's.
        s = cv::v_trunc(sat * k255) & lowByte;
    }
    if constexpr ((Want & kWantIntensity) != 0)
        i = cv::v_trunc(sum / cv::v_setall_f32(3.0f) * k255) & lowByte;
}

// Sixteen 32-bit lanes back to sixteen bytes (each lane holds 0..255).
inline cv::v_uint8x16 PackBytes(const cv::v_int32x4 (&v)[4])
{
    return cv::v_pack(cv::v_pack(cv::v_reinterpret_as_u32(v[0]), cv::v_reinterpret_as_u32(v[1])),
                      cv::v_pack(cv::v_reinterpret_as_u32(v[2]), cv::v_reinterpret_as_u32(v[3])));
}
#endif

#if defined(__GNUC__) && defined(__x86_64__)
#define AUTOCOUNT_HSI_AVX2 1

bool HasAvx2()
{
    // cv::setUseOptimized(false) turns the wide path off, as it does the
    // library's own; the tests use it to check the narrower vectors.
    static const bool has = __builtin_cpu_supports("avx2");
    return has && cv::useOptimized();
}

// Four doubles to floats and back as one vector of eight floats.
__attribute__((target("avx2"))) inline __m256 Floats(__m256d lo, __m256d hi)
{
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(lo)), _mm256_cvtpd_ps(hi),
                                1);
}

// byte / 255.0 rounded to float, for eight bytes in 32-bit lanes. The double
// product with 1 / 255.0 rounds to the same float as the double quotient for
// every byte, and multiplies where the quotient would divide.
__attribute__((target("avx2"))) inline __m256 Unit(__m256i bytes)
{
    const __m256d inverse = _mm256_set1_pd(1.0 / 255.0);
    const __m256d lo = _mm256_cvtepi32_pd(_mm256_castsi256_si128(bytes));
    const __m256d hi = _mm256_cvtepi32_pd(_mm256_extracti128_si256(bytes, 1));
    return Floats(_mm256_mul_pd(lo, inverse), _mm256_mul_pd(hi, inverse));
}

// What the hue stage needs of eight pixels: the cosine argument, the table
// entry index and which lanes have a hue at all.
struct HueLanes
{
    __m256 arg;
    __m256i index;
    __m256 withHue;
};

// The hue bytes of eight pixels from their table entries.
__attribute__((target("avx2"))) inline __m256i HueFromEntries(__m256 arg, __m256i index,
                                                              __m256 withHue, const HueTable& hues)
{
    const __m256i lowByte = _mm256_set1_epi32(0xff);
    // Each entry is eight bytes: the step as a float, then low, high and the
    // exact flag. Both halves are gathered for all eight lanes at once.
    // Two gathers of four whole entries each (fewer elements to gather
    // than the two halves of eight), then split into steps and the rest.
    const auto* entries = reinterpret_cast<const long long*>(&hues.At(0));
    const __m256 first =
        _mm256_castsi256_ps(_mm256_i32gather_epi64(entries, _mm256_castsi256_si128(index), 8));
    const __m256 second =
        _mm256_castsi256_ps(_mm256_i32gather_epi64(entries, _mm256_extracti128_si256(index, 1), 8));
    // Lanes come out as 0 1 4 5 | 2 3 6 7; the permute puts them in order.
    const __m256 step = _mm256_castpd_ps(
        _mm256_permute4x64_pd(_mm256_castps_pd(_mm256_shuffle_ps(first, second, 0x88)), 0xd8));
    const __m256i meta = _mm256_castpd_si256(
        _mm256_permute4x64_pd(_mm256_castps_pd(_mm256_shuffle_ps(first, second, 0xdd)), 0xd8));
    const __m256i low = _mm256_and_si256(meta, lowByte);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(meta, 8), lowByte);
    const __m256 up = _mm256_cmp_ps(arg, step, _CMP_GE_OQ);
    __m256i hue = _mm256_blendv_epi8(low, high, _mm256_castps_si256(up));
    const __m256i exactLanes =
        _mm256_and_si256(_mm256_castps_si256(withHue),
                         _mm256_cmpgt_epi32(_mm256_and_si256(_mm256_srli_epi32(meta, 16), lowByte),
                                            _mm256_setzero_si256()));
    if (!_mm256_testz_si256(exactLanes, exactLanes)) { // rare: a bucket with two steps
        alignas(32) float args[8];
        alignas(32) int lanes[8];
        alignas(32) int indices[8];
        alignas(32) int bytes[8];
        _mm256_store_ps(args, arg);
        _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), exactLanes);
        _mm256_store_si256(reinterpret_cast<__m256i*>(indices), index);
        _mm256_store_si256(reinterpret_cast<__m256i*>(bytes), hue);
        for (int k = 0; k < 8; ++k)
            if (lanes[k])
                bytes[k] = HueByte(args[k], indices[k] < HueTable::Index(0, false));
        hue = _mm256_load_si256(reinterpret_cast<const __m256i*>(bytes));
    }
    return _mm256_and_si256(hue, _mm256_castps_si256(withHue));
}

// The rule on eight pixels whose bytes lie in the 32-bit lanes of b8, g8
// and r8; the three planes' bytes come back in 32-bit lanes.
template <int Want, bool Deferred = false>
__attribute__((target("avx2"))) inline void
ConvertEight(__m256i b8, __m256i g8, __m256i r8, __m256i& hOut, __m256i& sOut, __m256i& iOut,
             const HueTable& hues, HueLanes* prep = nullptr)
{
    const __m256 zero = _mm256_setzero_ps();
    const __m256 b = Unit(b8), g = Unit(g8), r = Unit(r8);
    const __m256i lowByte = _mm256_set1_epi32(0xff);
    if constexpr ((Want & kWantHue) != 0) {
        const __m256 rg = _mm256_sub_ps(r, g);
        const __m256 rb = _mm256_sub_ps(r, b);
        const __m256 den = _mm256_sqrt_ps(
            _mm256_add_ps(_mm256_mul_ps(rg, rg), _mm256_mul_ps(_mm256_sub_ps(g, b), rb)));
        const __m256 arg =
            _mm256_div_ps(_mm256_mul_ps(_mm256_add_ps(rg, rb), _mm256_set1_ps(0.5f)), den);
        // den != 0 holds for NaN too; the range test fails for NaN.
        const __m256 withHue =
            _mm256_and_ps(_mm256_cmp_ps(den, zero, _CMP_NEQ_UQ),
                          _mm256_and_ps(_mm256_cmp_ps(arg, _mm256_set1_ps(-1.0f), _CMP_GE_OQ),
                                        _mm256_cmp_ps(arg, _mm256_set1_ps(1.0f), _CMP_LE_OQ)));
        const __m256 inRange = _mm256_and_ps(withHue, arg);
        const __m256i bucket =
            _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_add_ps(inRange, _mm256_set1_ps(1.0f)),
                                              _mm256_set1_ps(HueTable::kBuckets * 0.5f)));
        const __m256i otherHalf = _mm256_castps_si256(_mm256_cmp_ps(g, b, _CMP_LT_OQ));
        const __m256i index = _mm256_add_epi32(
            bucket, _mm256_and_si256(otherHalf, _mm256_set1_epi32(HueTable::Index(0, false))));
        if constexpr (Deferred) {
            prep->arg = arg;
            prep->index = index;
            prep->withHue = withHue;
        } else {
            hOut = HueFromEntries(arg, index, withHue, hues);
        }
    }

    const __m256 sum = _mm256_add_ps(_mm256_add_ps(r, g), b);
    const __m256 k255 = _mm256_set1_ps(255.0f);
    if constexpr ((Want & kWantSaturation) != 0) {
        const __m256 least = _mm256_min_ps(b, _mm256_min_ps(g, r));
        const __m256d one = _mm256_set1_pd(1.0), three = _mm256_set1_pd(3.0);
        const __m256d satLo = _mm256_sub_pd(
            one, _mm256_div_pd(_mm256_mul_pd(three, _mm256_cvtps_pd(_mm256_castps256_ps128(least))),
                               _mm256_cvtps_pd(_mm256_castps256_ps128(sum))));
        const __m256d satHi = _mm256_sub_pd(
            one,
            _mm256_div_pd(_mm256_mul_pd(three, _mm256_cvtps_pd(_mm256_extractf128_ps(least, 1))),
                          _mm256_cvtps_pd(_mm256_extractf128_ps(sum, 1))));
        const __m256 sat =
            _mm256_and_ps(_mm256_cmp_ps(sum, zero, _CMP_NEQ_UQ), Floats(satLo, satHi));
        // Truncation of NaN gives 0x80000000, whose low byte is 0 as ToByte's.
        sOut = _mm256_and_si256(_mm256_cvttps_epi32(_mm256_mul_ps(sat, k255)), lowByte);
    }
    if constexpr ((Want & kWantIntensity) != 0)
        iOut = _mm256_and_si256(
            _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_div_ps(sum, _mm256_set1_ps(3.0f)), k255)),
            lowByte);
}

// Two vectors of eight 32-bit lanes (0..255 each) as sixteen bytes in order.
__attribute__((target("avx2"))) inline __m128i PackSixteen(__m256i a, __m256i b)
{
    const __m256i words = _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xd8);
    return _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
}

// Sixteen pixels at a time with 256-bit vectors; returns the number done.
// Loads reach two bytes past the sixteenth pixel, so the last pixels of the
// run are left to the caller.
template <int Want>
__attribute__((target("avx2"))) int ConvertRunAvx2(const uchar* src, uchar* h, uchar* s, uchar* i,
                                                   int n, const HueTable& hues)
{
    // Within each 128-bit half, four pixels' bytes to 32-bit lanes.
    const __m256i pickB =
        _mm256_setr_epi8(0, -1, -1, -1, 3, -1, -1, -1, 6, -1, -1, -1, 9, -1, -1, -1, 0, -1, -1, -1,
                         3, -1, -1, -1, 6, -1, -1, -1, 9, -1, -1, -1);
    const __m256i pickG = _mm256_add_epi32(pickB, _mm256_set1_epi32(1));
    const __m256i pickR = _mm256_add_epi32(pickB, _mm256_set1_epi32(2));
    int x = 0;
    if constexpr ((Want & kWantHue) != 0) {
        // Blocks of 64 pixels in two passes: the arithmetic of all eight
        // groups first, then their table lookups, so that the gathers do not
        // wait one by one at the end of a long chain of dependent steps.
        constexpr int kGroups = 8;
        for (; x + 8 * kGroups + 2 <= n; x += 8 * kGroups) {
            HueLanes lanes[kGroups];
            __m256i hv[kGroups], sv[kGroups], iv[kGroups];
            for (int q = 0; q < kGroups; ++q) {
                const uchar* p = src + 3 * (x + 8 * q);
                const __m256i bytes = _mm256_inserti128_si256(
                    _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))),
                    _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12)), 1);
                ConvertEight<Want, true>(
                    _mm256_shuffle_epi8(bytes, pickB), _mm256_shuffle_epi8(bytes, pickG),
                    _mm256_shuffle_epi8(bytes, pickR), hv[q], sv[q], iv[q], hues, &lanes[q]);
            }
            for (int q = 0; q < kGroups; ++q)
                hv[q] = HueFromEntries(lanes[q].arg, lanes[q].index, lanes[q].withHue, hues);
            for (int q = 0; q < kGroups; q += 2) {
                const int at = x + 8 * q;
                _mm_storeu_si128(reinterpret_cast<__m128i*>(h + at), PackSixteen(hv[q], hv[q + 1]));
                if constexpr ((Want & kWantSaturation) != 0)
                    _mm_storeu_si128(reinterpret_cast<__m128i*>(s + at),
                                     PackSixteen(sv[q], sv[q + 1]));
                if constexpr ((Want & kWantIntensity) != 0)
                    _mm_storeu_si128(reinterpret_cast<__m128i*>(i + at),
                                     PackSixteen(iv[q], iv[q + 1]));
            }
        }
    }
    for (; x + 18 <= n; x += 16) {
        __m256i hv[2], sv[2], iv[2];
        for (int half = 0; half < 2; ++half) {
            const uchar* p = src + 3 * (x + 8 * half);
            const __m256i bytes = _mm256_inserti128_si256(
                _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))),
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12)), 1);
            ConvertEight<Want>(_mm256_shuffle_epi8(bytes, pickB), _mm256_shuffle_epi8(bytes, pickG),
                               _mm256_shuffle_epi8(bytes, pickR), hv[half], sv[half], iv[half],
                               hues);
        }
        if constexpr ((Want & kWantHue) != 0)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(h + x), PackSixteen(hv[0], hv[1]));
        if constexpr ((Want & kWantSaturation) != 0)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(s + x), PackSixteen(sv[0], sv[1]));
        if constexpr ((Want & kWantIntensity) != 0)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(i + x), PackSixteen(iv[0], iv[1]));
    }
    return x;
}
#endif

// Converts n pixels of three bytes each: sixteen at a time in vector lanes,
// the rest one by one.
template <int Want>
void ConvertRun(const uchar* src, uchar* h, uchar* s, uchar* i, int n, const HueTable& hues)
{
    int x = 0;
#ifdef AUTOCOUNT_HSI_AVX2
    if (HasAvx2())
        x = ConvertRunAvx2<Want>(src, h, s, i, n, hues);
#endif
#if CV_SIMD128
    for (; x + 16 <= n; x += 16) {
        cv::v_uint8x16 b8, g8, r8;
        cv::v_load_deinterleave(src + 3 * x, b8, g8, r8);
        cv::v_uint16x8 b16[2], g16[2], r16[2];
        cv::v_expand(b8, b16[0], b16[1]);
        cv::v_expand(g8, g16[0], g16[1]);
        cv::v_expand(r8, r16[0], r16[1]);
        cv::v_int32x4 hv[4], sv[4], iv[4];
        for (int half = 0; half < 2; ++half) {
            cv::v_uint32x4 b32[2], g32[2], r32[2];
            cv::v_expand(b16[half], b32[0], b32[1]);
            cv::v_expand(g16[half], g32[0], g32[1]);
            cv::v_expand(r16[half], r32[0], r32[1]);
            for (int q = 0; q < 2; ++q)
                ConvertLanes<Want>(b32[q], g32[q], r32[q], hv[2 * half + q], sv[2 * half + q],
                                   iv[2 * half + q], hues);
        }
        if constexpr ((Want & kWantHue) != 0)
            cv::v_store(h + x, PackBytes(hv));
        if constexpr ((Want & kWantSaturation) != 0)
            cv::v_store(s + x, PackBytes(sv));
        if constexpr ((Want & kWantIntensity) != 0)
            cv::v_store(i + x, PackBytes(iv));
    }
#endif
    for (; x < n; ++x)
        ConvertPixel<Want>(src, h, s, i, x, hues);
}

// The image a plane is written to: the output's own memory when no other
// header shares it and it has the source's size and type (nobody can tell
// it from a new image, as every pixel is written), else a new image. Keeps a
// caller that converts picture after picture from faulting in fresh pages.
cv::Mat OutputPlane(const cv::Mat& out, const cv::Mat& src)
{
    if (out.u && out.u->refcount == 1 && out.size() == src.size() && out.type() == CV_8UC1 &&
        out.isContinuous() && out.data != src.data)
        return out;
    return cv::Mat(src.size(), CV_8UC1);
}

} // namespace

int AlgRGB2HSI(cv::Mat src, cv::Mat& h, cv::Mat& s, cv::Mat& i)
{
    if (!src.data)
        return -1;
    if (src.channels() != 3)
        return 2;

    const HueTable& hues = Hues();
    cv::Mat hue = OutputPlane(h, src), sat = OutputPlane(s, src), inten = OutputPlane(i, src);

    // Pixels are read as three bytes each: a continuous source as one run
    // of rows × columns pixels, otherwise row by row.
    if (src.isContinuous()) {
        const int total = src.rows * src.cols;
        constexpr int kChunk = 1 << 16;
        const int chunks = (total + kChunk - 1) / kChunk;
        cv::parallel_for_(cv::Range(0, chunks), [&](const cv::Range& range) {
            for (int c = range.start; c < range.end; ++c) {
                const int begin = c * kChunk;
                const int n = std::min(kChunk, total - begin);
                ConvertRun<kWantAll>(src.data + 3 * static_cast<size_t>(begin), hue.data + begin,
                                     sat.data + begin, inten.data + begin, n, hues);
            }
        });
    } else {
        cv::parallel_for_(cv::Range(0, src.rows), [&](const cv::Range& range) {
            for (int y = range.start; y < range.end; ++y)
                ConvertRun<kWantAll>(src.ptr<uchar>(y), hue.ptr<uchar>(y), sat.ptr<uchar>(y),
                                     inten.ptr<uchar>(y), src.cols, hues);
        });
    }

    h = hue;
    s = sat;
    i = inten;
    return 0;
}

namespace hsiplanes {

void ConvertRow(const uchar* src, int n, uchar* h, uchar* s, uchar* i)
{
    const HueTable& hues = Hues();
    const int want = (h ? kWantHue : 0) | (s ? kWantSaturation : 0) | (i ? kWantIntensity : 0);
    switch (want) {
    case kWantHue:
        ConvertRun<kWantHue>(src, h, s, i, n, hues);
        break;
    case kWantSaturation:
        ConvertRun<kWantSaturation>(src, h, s, i, n, hues);
        break;
    case kWantIntensity:
        ConvertRun<kWantIntensity>(src, h, s, i, n, hues);
        break;
    case kWantAll:
        ConvertRun<kWantAll>(src, h, s, i, n, hues);
        break;
    default: // any other pair: all three into a scratch row
    {
        std::vector<uchar> scratch(3 * static_cast<size_t>(n));
        ConvertRun<kWantAll>(src, h ? h : scratch.data(), s ? s : scratch.data() + n,
                             i ? i : scratch.data() + 2 * n, n, hues);
        break;
    }
    }
}

} // namespace hsiplanes
