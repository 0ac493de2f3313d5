#include "shapeoutputs.h"

#include "objectdata.h"

#include <opencv2/imgcodecs.hpp>

namespace shapeoutputs {

bool LabelPng(const countrun::CountResult& counted, QByteArray* png, QString* error)
{
    const size_t objects = counted.core.validContours.size();
    if (objects > static_cast<size_t>(kMaxLabel)) {
        if (error)
            *error = QStringLiteral("%1 objects do not fit a 16-bit label image (at most %2)")
                         .arg(objects)
                         .arg(kMaxLabel);
        return false;
    }
    const cv::Mat labels = countcore::LabelImage(counted.image.size(), counted.core.validContours);
    cv::Mat wide;
    labels.convertTo(wide, CV_16U);
    std::vector<uchar> bytes;
    if (wide.empty() || !cv::imencode(".png", wide, bytes)) {
        if (error)
            *error = QStringLiteral("the label image could not be encoded");
        return false;
    }
    *png = QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
    return true;
}

QByteArray GeoJson(const countrun::CountResult& counted, const ImageResult& result)
{
    QByteArray out = "{\"type\":\"FeatureCollection\",\"features\":[";
    const ContourList& contours = counted.core.validContours;
    for (size_t i = 0; i < contours.size() && i < result.objects.size(); ++i) {
        out += i > 0 ? ",\n" : "\n";
        out +=
            "{\"type\":\"Feature\",\"id\":" + QByteArray::number(static_cast<qulonglong>(i + 1)) +
            ",\"geometry\":{\"type\":\"Polygon\",\"coordinates\":[[";
        const Contour& contour = contours[i];
        for (size_t p = 0; !contour.empty() && p <= contour.size(); ++p) {
            const cv::Point& point = contour[p % contour.size()];
            if (p > 0)
                out += ',';
            out += '[' + QByteArray::number(point.x) + ',' + QByteArray::number(point.y) + ']';
        }
        out += "]]},\"properties\":{";
        for (int c = 0; c < objectdata::kColumnCount; ++c) {
            if (c > 0)
                out += ',';
            const QByteArray value = objectdata::Number(result.objects[i][c]);
            out += '"' + QByteArray(objectdata::Keys()[c]) +
                   "\":" + (value.isEmpty() ? QByteArray("null") : value);
        }
        out += "}}";
    }
    out += "\n]}\n";
    return out;
}

} // namespace shapeoutputs
