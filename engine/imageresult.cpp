#include "imageresult.h"

#include <QJsonArray>

#include <cmath>

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

} // namespace

std::optional<double> Cell(const QString& text)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

QJsonObject ToJson(const ImageResult& r)
{
    QJsonObject json{{"file", r.file}};
    if (!r.ok()) {
        json.insert("error", r.error);
        return json;
    }
    json.insert("count", r.count);
    json.insert("unit", r.unit);
    json.insert("meanArea", Optional(r.meanArea));
    json.insert("threshold", QJsonArray{r.lowThreshold, r.highThreshold});
    json.insert("columns", Strings(r.columns));
    QJsonArray objects;
    for (const QList<double>& row : r.objects) {
        QJsonObject object;
        for (int i = 0; i < row.size() && i < r.columns.size(); ++i)
            object.insert(r.columns[i], row[i]);
        objects.append(object);
    }
    json.insert("objects", objects);
    QJsonArray statistics;
    for (const TypeStatistics& s : r.statistics)
        statistics.append(QJsonObject{{"name", s.name},
                                      {"mean", Optional(s.mean)},
                                      {"standardDeviation", Optional(s.standardDeviation)},
                                      {"minimum", s.minimum},
                                      {"maximum", s.maximum},
                                      {"range", s.range},
                                      {"sum", s.sum},
                                      {"count", s.count}});
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
    r.count = json.value("count").toInt();
    r.unit = json.value("unit").toString();
    r.meanArea = ReadOptional(json.value("meanArea"));
    const QJsonArray threshold = json.value("threshold").toArray();
    r.lowThreshold = threshold.at(0).toInt();
    r.highThreshold = threshold.at(1).toInt();
    r.columns = ReadStrings(json.value("columns"));
    for (const QJsonValue& item : json.value("objects").toArray()) {
        const QJsonObject object = item.toObject();
        QList<double> row;
        for (const QString& column : r.columns)
            row << object.value(column).toDouble();
        r.objects << row;
    }
    for (const QJsonValue& item : json.value("statistics").toArray()) {
        const QJsonObject o = item.toObject();
        TypeStatistics s;
        s.name = o.value("name").toString();
        s.mean = ReadOptional(o.value("mean"));
        s.standardDeviation = ReadOptional(o.value("standardDeviation"));
        s.minimum = o.value("minimum").toDouble();
        s.maximum = o.value("maximum").toDouble();
        s.range = o.value("range").toDouble();
        s.sum = o.value("sum").toDouble();
        s.count = o.value("count").toDouble();
        r.statistics << s;
    }
    r.outputs = ReadStrings(json.value("outputs"));
    r.outputErrors = ReadStrings(json.value("outputErrors"));
    r.source =
        imagesource::FromJson(json.value("input").toObject(), json.value("original").toObject());
    return true;
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
