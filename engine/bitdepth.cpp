#include "bitdepth.h"

#include <cmath>

namespace bitdepth {

Mapping Choose(const cv::Mat& image, const Request& request, int significantBits,
               int declaredMaximum, const QString& declaredBy)
{
    Mapping m;
    m.storedBits = image.depth() == CV_16U ? 16 : 8;
    if (image.depth() == CV_8U || image.empty())
        return m;
    m.applied = true;
    if (request.range) {
        m.low = request.range->first;
        m.high = request.range->second;
        m.source = QStringLiteral("option --range %1:%2").arg(m.low).arg(m.high);
    } else if (request.bits > 0) {
        m.high = std::ldexp(1.0, request.bits) - 1;
        m.source = QStringLiteral("option --bits %1").arg(request.bits);
    } else if (significantBits > 0 && significantBits < m.storedBits) {
        m.high = std::ldexp(1.0, significantBits) - 1;
        m.source = declaredBy;
    } else if (declaredMaximum > 0) {
        m.high = declaredMaximum;
        m.source = declaredBy;
    } else {
        double low = 0, high = 0;
        cv::minMaxLoc(image.reshape(1), &low, &high);
        m.low = low;
        m.high = high;
        m.source = QStringLiteral("image minimum and maximum");
    }
    return m;
}

cv::Mat ToEightBit(const cv::Mat& image, const Mapping& m)
{
    if (!m.applied)
        return image;
    cv::Mat out;
    if (!(m.high > m.low)) {
        out = cv::Mat::zeros(image.size(), CV_MAKETYPE(CV_8U, image.channels()));
        return out;
    }
    const double alpha = 255.0 / (m.high - m.low);
    image.convertTo(out, CV_8U, alpha, -m.low * alpha);
    return out;
}

double ToOriginal(double level, const Mapping& m)
{
    if (!m.applied)
        return level;
    return m.low + level * (m.high - m.low) / 255.0;
}

QString Describe(const Mapping& m)
{
    if (!m.applied)
        return QString();
    return QStringLiteral("%1-bit range %2-%3 to 0-255 (%4)")
        .arg(m.storedBits)
        .arg(m.low)
        .arg(m.high)
        .arg(m.source);
}

} // namespace bitdepth
