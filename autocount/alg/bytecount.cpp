#include "autocount/alg/bytecount.h"

#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cstring>
#include <mutex>

namespace {

// Four interleaved partial histograms keep successive equal bytes from
// waiting on each other's increments.
void CountRun(const uchar* p, size_t n, int stride, uint32_t (&parts)[4][256])
{
    size_t k = 0;
    for (; k + 4 <= n; k += 4, p += 4 * stride) {
        ++parts[0][p[0]];
        ++parts[1][p[stride]];
        ++parts[2][p[2 * stride]];
        ++parts[3][p[3 * stride]];
    }
    for (; k < n; ++k, p += stride)
        ++parts[0][p[0]];
}

} // namespace

namespace bytecount {

void Count(const cv::Mat& image, int offset, int stride, int32_t counts[256])
{
    if (image.rows <= 0 || image.cols <= 0)
        return;
    // A continuous image is one long row; split it into blocks of rows.
    const bool flat = image.isContinuous() && image.elemSize() == static_cast<size_t>(stride);
    const int rows = flat ? 1 : image.rows;
    const size_t perRow = flat ? image.total() : static_cast<size_t>(image.cols);
    constexpr size_t kBlock = 1 << 18;
    const size_t blocksPerRow = std::max<size_t>(1, (perRow + kBlock - 1) / kBlock);
    const size_t rowBlock = flat ? kBlock : perRow;
    const int pieces = static_cast<int>(rows * (flat ? blocksPerRow : 1));

    std::mutex mutex;
    cv::parallel_for_(cv::Range(0, pieces), [&](const cv::Range& range) {
        uint32_t parts[4][256];
        std::memset(parts, 0, sizeof parts);
        for (int piece = range.start; piece < range.end; ++piece) {
            const int y = flat ? 0 : piece;
            const size_t begin = flat ? static_cast<size_t>(piece) * rowBlock : 0;
            const size_t n = std::min(rowBlock, perRow - begin);
            CountRun(image.ptr<uchar>(y) + offset + begin * stride, n, stride, parts);
        }
        std::lock_guard<std::mutex> lock(mutex);
        for (int v = 0; v < 256; ++v)
            counts[v] +=
                static_cast<int32_t>(parts[0][v] + parts[1][v] + parts[2][v] + parts[3][v]);
    });
}

} // namespace bytecount
