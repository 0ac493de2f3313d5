#include "maskchange.h"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <vector>

namespace maskchange {

QByteArray Pack(const cv::Mat& before, const cv::Mat& after)
{
    if (before.empty() || after.empty() || before.size() != after.size() ||
        before.type() != after.type())
        return QByteArray();
    cv::Mat difference;
    cv::bitwise_xor(before, after, difference);
    // Lossless and small: the changed pixels are few and lie on thin lines.
    std::vector<uchar> bytes;
    cv::imencode(".png", difference, bytes, {cv::IMWRITE_PNG_COMPRESSION, 9});
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
}

cv::Mat Apply(const cv::Mat& image, const QByteArray& change)
{
    if (change.isEmpty())
        return cv::Mat();
    const std::vector<uchar> bytes(change.begin(), change.end());
    const cv::Mat difference = cv::imdecode(bytes, cv::IMREAD_UNCHANGED);
    if (difference.size() != image.size() || difference.type() != image.type())
        return cv::Mat();
    cv::Mat out;
    cv::bitwise_xor(image, difference, out);
    return out;
}

} // namespace maskchange
