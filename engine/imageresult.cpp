#include "imageresult.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <cstdlib>

namespace imageresult {

namespace {

QJsonValue Optional(const std::optional<double>& value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

std::optional<double> ReadOptional(const QJsonValue& value)
{
    if (value.isDouble())
        return value.toDouble();
    return std::nullopt;
}

QJsonArray Strings(const QStringList& list)
{
    return QJsonArray::fromStringList(list);
}

QStringList ReadStrings(const QJsonValue& value)
{
    QStringList list;
    for (const QJsonValue& item : value.toArray())
        list << item.toString();
    return list;
}

template <class Iterator> QString Joined(Iterator begin, Iterator end)
{
    QByteArray text;
    for (Iterator it = begin; it != end; ++it) {
        if (it != begin)
            text += ',';
        text += objectdata::Number(*it);
    }
    return QString::fromLatin1(text);
}

std::vector<std::optional<double>> Split(const QString& text)
{
    std::vector<std::optional<double>> values;
    for (const QString& field : text.split(QLatin1Char(','))) {
        if (field.isEmpty()) {
            values.push_back(std::nullopt);
            continue;
        }
        const QByteArray latin = field.toLatin1();
        values.push_back(latin.toDouble()); // C locale, exact
    }
    return values;
}

} // namespace

std::optional<double> Cell(const QString& text)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

QJsonObject DishJson(const dish::Circle& rim)
{
    return QJsonObject{{"x", rim.x}, {"y", rim.y}, {"radius", rim.radius}};
}

QJsonObject ToJson(const ImageResult& r)
{
    QJsonObject json{{"file", r.file}};
    if (!r.ok()) {
        json.insert("error", r.error);
        return json;
    }
    json.insert("width", r.width);
    json.insert("height", r.height);
    json.insert("count", r.count);
    json.insert("unit", r.unit);
    json.insert("scale", r.scale);
    json.insert("meanArea", Optional(r.meanArea));
    json.insert("threshold", QJsonArray{r.lowThreshold, r.highThreshold});
    if (r.dish)
        json.insert("dish", imageresult::DishJson(*r.dish));
    if (!r.plane.isEmpty())
        json.insert("segmentation", QJsonObject{{"plane", r.plane}, {"polarity", r.objectsKept}});
    // Rows as text in key order, each value in its exact shortest form (Qt's
    // JSON reader would turn -0.0 into 0); a missing value is left empty.
    QJsonArray objects;
    for (const objectdata::Row& row : r.objects)
        objects.append(Joined(row.begin(), row.end()));
    json.insert("objects", objects);
    if (!r.channelKeys.isEmpty()) {
        QJsonArray rows;
        for (const std::vector<double>& row : r.channelRows)
            rows.append(Joined(row.begin(), row.end()));
        json.insert("channelKeys", Strings(r.channelKeys));
        json.insert("channelRows", rows);
    }
    if (r.preparation.ran) {
        QJsonObject figures;
        for (const auto& [key, value] : preparation::Figures(r.preparation))
            figures.insert(QLatin1String(key), value);
        json.insert("preparation", figures);
    }
    QJsonArray statistics;
    for (const TypeStatistics& s : r.statistics) {
        std::array<double, 6> values;
        for (int k = 0; k < 6; ++k)
            values[k] = s.values()[k].value_or(std::nan(""));
        statistics.append(
            QJsonObject{{"name", s.name}, {"values", Joined(values.begin(), values.end())}});
    }
    json.insert("statistics", statistics);
    json.insert("outputs", Strings(r.outputs));
    json.insert("input", imagesource::ToJson(r.source));
    if (r.source.converted)
        json.insert("original", imagesource::OriginalToJson(r.source));
    if (!r.outputErrors.isEmpty())
        json.insert("outputErrors", Strings(r.outputErrors));
    return json;
}

bool FromJson(const QJsonObject& json, ImageResult& r)
{
    if (!json.value("file").isString())
        return false;
    r = ImageResult();
    r.file = json.value("file").toString();
    if (json.contains("error")) {
        r.error = json.value("error").toString();
        return true;
    }
    if (!json.value("count").isDouble())
        return false;
    r.width = json.value("width").toInt();
    r.height = json.value("height").toInt();
    r.count = json.value("count").toInt();
    r.unit = json.value("unit").toString();
    r.scale = json.value("scale").toDouble(1.0);
    r.meanArea = ReadOptional(json.value("meanArea"));
    const QJsonArray threshold = json.value("threshold").toArray();
    r.lowThreshold = threshold.at(0).toInt();
    r.highThreshold = threshold.at(1).toInt();
    if (json.value("dish").isObject()) {
        const QJsonObject d = json.value("dish").toObject();
        r.dish = dish::Circle{d.value("x").toDouble(), d.value("y").toDouble(),
                              d.value("radius").toDouble()};
    }
    const QJsonObject segmentation = json.value("segmentation").toObject();
    r.plane = segmentation.value("plane").toString();
    r.objectsKept = segmentation.value("polarity").toString();
    for (const QJsonValue& item : json.value("objects").toArray()) {
        const std::vector<std::optional<double>> values = Split(item.toString());
        objectdata::Row row{};
        for (int i = 0; i < objectdata::kColumnCount; ++i)
            row[i] = i < static_cast<int>(values.size()) ? values[i].value_or(std::nan(""))
                                                         : std::nan("");
        r.objects.push_back(row);
    }
    r.channelKeys = ReadStrings(json.value("channelKeys"));
    for (const QJsonValue& item : json.value("channelRows").toArray()) {
        std::vector<double> row;
        for (const std::optional<double>& v : Split(item.toString()))
            row.push_back(v.value_or(std::nan("")));
        r.channelRows.push_back(row);
    }
    if (json.value("preparation").isObject()) {
        const QJsonObject figures = json.value("preparation").toObject();
        preparation::Report& p = r.preparation;
        p.ran = true;
        double* fields[] = {&p.objectRadius, &p.largestRadius,   &p.texture, &p.sigma,
                            &p.discRadius,   &p.backgroundLevel, &p.noise,   &p.floor};
        const auto keys = preparation::Figures(p);
        for (size_t i = 0; i < keys.size(); ++i)
            *fields[i] = figures.value(QLatin1String(keys[i].first)).toDouble();
    }
    for (const QJsonValue& item : json.value("statistics").toArray()) {
        const QJsonObject o = item.toObject();
        std::vector<std::optional<double>> values = Split(o.value("values").toString());
        values.resize(6);
        TypeStatistics s;
        s.name = o.value("name").toString();
        s.mean = values[0];
        s.standardDeviation = values[1];
        s.minimum = values[2];
        s.maximum = values[3];
        s.range = values[4];
        s.sum = values[5];
        r.statistics << s;
    }
    r.outputs = ReadStrings(json.value("outputs"));
    r.outputErrors = ReadStrings(json.value("outputErrors"));
    r.source =
        imagesource::FromJson(json.value("input").toObject(), json.value("original").toObject());
    return true;
}

namespace {

void AppendString(QByteArray& out, const QString& text)
{
    out += '"';
    for (const char c : text.toUtf8()) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
                out += QByteArray("\\u00") +
                       QByteArray::number(static_cast<unsigned char>(c), 16).rightJustified(2, '0');
            else
                out += c;
        }
    }
    out += '"';
}

void AppendNumber(QByteArray& out, double value)
{
    const QByteArray number = objectdata::Number(value);
    out += number.isEmpty() ? QByteArray("null") : number;
}

void AppendKey(QByteArray& out, const char* key)
{
    out += '"';
    out += key;
    out += "\":";
}

} // namespace

QByteArray DataRecord(const ImageResult& r, int index, bool withOutputs)
{
    QByteArray out = "{";
    AppendKey(out, "schema_version");
    out += QByteArray::number(objectdata::kSchemaVersion);
    out += ',';
    AppendKey(out, "tool_version");
    out += "\"" AUTOCOUNT_VERSION "\",";
    AppendKey(out, "file");
    AppendString(out, r.file);
    out += ',';
    AppendKey(out, "image_index");
    out += QByteArray::number(index);
    out += ',';
    AppendKey(out, "error");
    if (r.ok())
        out += "null";
    else
        AppendString(out, r.error);
    if (r.ok()) {
        out += ',';
        AppendKey(out, "width");
        out += QByteArray::number(r.width) + ',';
        AppendKey(out, "height");
        out += QByteArray::number(r.height) + ',';
        AppendKey(out, "unit");
        AppendString(out, r.unit);
        out += ',';
        AppendKey(out, "scale");
        AppendNumber(out, r.scale);
        out += ',';
        AppendKey(out, "count");
        out += QByteArray::number(r.count) + ',';
        if (!r.plane.isEmpty()) {
            AppendKey(out, "segmentation");
            out += '{';
            AppendKey(out, "plane");
            AppendString(out, r.plane);
            out += ',';
            AppendKey(out, "polarity");
            AppendString(out, r.objectsKept);
            out += "},";
        }
        AppendKey(out, "statistics");
        out += '{';
        for (int t = 0; t < r.statistics.size(); ++t) {
            if (t > 0)
                out += ',';
            AppendKey(out, r.statistics[t].name.toUtf8().constData());
            out += '{';
            const auto values = r.statistics[t].values();
            for (size_t k = 0; k < values.size(); ++k) {
                if (k > 0)
                    out += ',';
                AppendKey(out, objectdata::StatisticKeys()[k]);
                AppendNumber(out, values[k].value_or(std::nan("")));
            }
            out += '}';
        }
        out += "},";
        AppendKey(out, "objects");
        out += '[';
        for (size_t o = 0; o < r.objects.size(); ++o) {
            if (o > 0)
                out += ',';
            out += '{';
            for (int c = 0; c < objectdata::kColumnCount; ++c) {
                if (c > 0)
                    out += ',';
                AppendKey(out, objectdata::Keys()[c]);
                AppendNumber(out, r.objects[o][c]);
            }
            // The measurements in the other planes, under their own keys.
            if (o < r.channelRows.size())
                for (int k = 0; k < r.channelKeys.size(); ++k) {
                    out += ',';
                    AppendKey(out, r.channelKeys[k].toUtf8().constData());
                    AppendNumber(out, k < static_cast<int>(r.channelRows[o].size())
                                          ? r.channelRows[o][static_cast<size_t>(k)]
                                          : std::nan(""));
                }
            out += '}';
        }
        out += "],";
        if (r.dish) {
            // The dish's rim, in pixels: centre and radius.
            AppendKey(out, "dish");
            out += '{';
            AppendKey(out, "x");
            AppendNumber(out, r.dish->x);
            out += ',';
            AppendKey(out, "y");
            AppendNumber(out, r.dish->y);
            out += ',';
            AppendKey(out, "radius");
            AppendNumber(out, r.dish->radius);
            out += "},";
        }
        // What the preparation of the threshold chose; null when it did not run.
        AppendKey(out, "preparation");
        if (r.preparation.ran) {
            out += '{';
            bool first = true;
            for (const auto& [key, value] : preparation::Figures(r.preparation)) {
                if (!first)
                    out += ',';
                first = false;
                AppendKey(out, key);
                AppendNumber(out, value);
            }
            out += "},";
        } else {
            out += "null,";
        }
        // How the image was read: page, conversion, calibration and notes;
        // and, for deeper samples, the intensities in the file's own units.
        AppendKey(out, "input");
        out += QJsonDocument(imagesource::ToJson(r.source)).toJson(QJsonDocument::Compact);
        if (r.source.converted) {
            out += ',';
            AppendKey(out, "original");
            out +=
                QJsonDocument(imagesource::OriginalToJson(r.source)).toJson(QJsonDocument::Compact);
        }
    }
    if (withOutputs) {
        out += ',';
        AppendKey(out, "outputs");
        out += '[';
        for (int i = 0; i < r.outputs.size(); ++i) {
            if (i > 0)
                out += ',';
            AppendString(out, r.outputs[i]);
        }
        out += "],";
        AppendKey(out, "output_errors");
        out += '[';
        for (int i = 0; i < r.outputErrors.size(); ++i) {
            if (i > 0)
                out += ',';
            AppendString(out, r.outputErrors[i]);
        }
        out += ']';
    }
    out += '}';
    return out;
}

QString SummaryLine(const ImageResult& r)
{
    const QString area = r.meanArea ? QString::number(*r.meanArea, 'f', 3) : QStringLiteral("-");
    const QString unit = r.unit.isEmpty() ? QStringLiteral("px") : r.unit;
    const QString input = imagesource::Describe(r.source);
    return QStringLiteral("%1: %2 %3, mean area %4 %5²%6")
        .arg(r.file)
        .arg(r.count)
        .arg(r.count == 1 ? QStringLiteral("object") : QStringLiteral("objects"))
        .arg(area, unit, input.isEmpty() ? QString() : QStringLiteral(" [%1]").arg(input));
}

} // namespace imageresult
