#include "autocount/alg/alg.h"

#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

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
                Fill(halves_[side][j], start, lo, side == 0);
            start = lo;
        }
    }

    uchar Hue(float arg, bool greenAtLeastBlue) const
    {
        const Entry& e = halves_[greenAtLeastBlue ? 0 : 1][Bucket(arg)];
        if (e.exact)
            return HueByte(arg, greenAtLeastBlue);
        return arg >= e.step ? e.high : e.low;
    }

private:
    struct Entry
    {
        float step = std::numeric_limits<float>::infinity();
        uchar low = 0;
        uchar high = 0;
        bool exact = false;
    };

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

    Entry halves_[2][kBuckets + 1];
};

const HueTable& Hues()
{
    static const HueTable table; // built on first use, thread-safe
    return table;
}

// Converts n pixels of three bytes each.
void ConvertRun(const uchar* src, uchar* h, uchar* s, uchar* i, int n, const HueTable& hues)
{
    for (int x = 0; x < n; ++x, src += 3) {
        const float b = kUnit.v[src[0]];
        const float g = kUnit.v[src[1]];
        const float r = kUnit.v[src[2]];
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

        const float sum = r + g + b;
        float sat = 0.0f;
        if (sum != 0.0f) {
            const float least = std::min(b, std::min(g, r));
            sat = static_cast<float>(1.0 - 3.0 * least / sum);
        }

        h[x] = hue;
        s[x] = ToByte(sat * 255.0f);
        i[x] = ToByte(sum / 3.0f * 255.0f);
    }
}

} // namespace

int AlgRGB2HSI(cv::Mat src, cv::Mat& h, cv::Mat& s, cv::Mat& i)
{
    if (!src.data)
        return -1;
    if (src.channels() != 3)
        return 2;

    const HueTable& hues = Hues();
    cv::Mat hue(src.size(), CV_8UC1), sat(src.size(), CV_8UC1), inten(src.size(), CV_8UC1);

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
                ConvertRun(src.data + 3 * static_cast<size_t>(begin), hue.data + begin,
                           sat.data + begin, inten.data + begin, n, hues);
            }
        });
    } else {
        cv::parallel_for_(cv::Range(0, src.rows), [&](const cv::Range& range) {
            for (int y = range.start; y < range.end; ++y)
                ConvertRun(src.ptr<uchar>(y), hue.ptr<uchar>(y), sat.ptr<uchar>(y),
                           inten.ptr<uchar>(y), src.cols, hues);
        });
    }

    h = hue;
    s = sat;
    i = inten;
    return 0;
}
