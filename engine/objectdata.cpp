#include "objectdata.h"

#include <opencv2/imgproc.hpp>

#include <charconv>
#include <cmath>

namespace objectdata {

namespace {

// Measurement keys in data type order (0 area to 14 minimum grey value).
const char* const kMeasurementKeys[countcore::kDataTypeCount] = {
    "area",     "perimeter", "radius",    "diameter",   "roundness",
    "center_x", "center_y",  "long_axis", "short_axis", "direction",
    "integral", "std_dev",   "mean_gray", "max_gray",   "min_gray"};

constexpr int kDirection = 9;
constexpr int kIntegral = 10;
constexpr int kMaxGray = 13;
constexpr int kMinGray = 14;

std::array<const char*, kColumnCount> MakeKeys()
{
    std::array<const char*, kColumnCount> keys{};
    int i = 0;
    keys[i++] = "object";
    for (const char* key : kMeasurementKeys)
        keys[i++] = key;
    for (const char* key :
         {"centroid_x", "centroid_y", "bbox_x", "bbox_y", "bbox_width", "bbox_height"})
        keys[i++] = key;
    return keys;
}

} // namespace

const std::array<const char*, kColumnCount>& Keys()
{
    static const std::array<const char*, kColumnCount> keys = MakeKeys();
    return keys;
}

const char* MeasurementKey(int type)
{
    return type >= 0 && type < countcore::kDataTypeCount ? kMeasurementKeys[type] : "";
}

bool IsInteger(int column)
{
    const int type = column - 1;
    return column == 0 || type == kIntegral || type == kMaxGray || type == kMinGray ||
           column >= kColumnCount - 4;
}

QString MeasurementUnit(int type, const QString& unit)
{
    switch (countcore::DataUnitKind(type)) {
    case countcore::UnitKind::Area:
        return unit + QChar(0x00B2);
    case countcore::UnitKind::Length:
        return unit;
    case countcore::UnitKind::None:
        break;
    }
    return type == kDirection ? QStringLiteral("deg") : QString();
}

const std::array<const char*, 6>& StatisticKeys()
{
    static const std::array<const char*, 6> keys = {"mean", "std_dev", "min",
                                                    "max",  "range",   "sum"};
    return keys;
}

Row MarkerRow(int number, double x, double y)
{
    Row row;
    row.fill(std::nan(""));
    row[0] = number;
    for (int c = 1; c < kColumnCount; ++c) {
        const QByteArray key(Keys()[static_cast<size_t>(c)]);
        if (key == "center_x" || key == "centroid_x")
            row[static_cast<size_t>(c)] = x;
        else if (key == "center_y" || key == "centroid_y")
            row[static_cast<size_t>(c)] = y;
    }
    return row;
}

Row MakeRow(int number, const parResult& record, const Contour& contour, double scale)
{
    Row row{};
    int i = 0;
    row[i++] = number;
    for (int type = 0; type < countcore::kDataTypeCount; ++type)
        row[i++] = countcore::DataValue(type, record, scale);

    // The object's pixels: its outline filled, boundary included, as in the
    // label image.
    const cv::Rect box = contour.empty() ? cv::Rect() : cv::boundingRect(contour);
    double cx = std::nan("");
    double cy = std::nan("");
    if (!box.empty()) {
        cv::Mat mask(box.size(), CV_8UC1, cv::Scalar(0));
        const std::vector<Contour> shifted{contour};
        cv::drawContours(mask, shifted, 0, cv::Scalar(1), cv::FILLED, cv::LINE_8, cv::noArray(),
                         INT_MAX, cv::Point(-box.x, -box.y));
        const cv::Moments m = cv::moments(mask, true);
        if (m.m00 > 0) {
            cx = box.x + m.m10 / m.m00;
            cy = box.y + m.m01 / m.m00;
        }
    }
    row[i++] = cx;
    row[i++] = cy;
    row[i++] = box.x;
    row[i++] = box.y;
    row[i++] = box.width;
    row[i++] = box.height;
    return row;
}

QByteArray Number(double value)
{
    if (!std::isfinite(value))
        return QByteArray();
    // A negative zero keeps its point: JSON readers take "-0" for the
    // integer 0 and would lose the sign.
    if (value == 0 && std::signbit(value))
        return QByteArrayLiteral("-0.0");
    char buffer[32];
    const std::to_chars_result r = std::to_chars(buffer, buffer + sizeof buffer, value);
    return QByteArray(buffer, static_cast<int>(r.ptr - buffer));
}

} // namespace objectdata
