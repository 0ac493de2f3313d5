#include "imagesource.h"

#include <QJsonArray>

namespace imagesource {

const QStringList kOriginalColumns = {QStringLiteral("Mean Gray Value"),
                                      QStringLiteral("Min Gray Value"),
                                      QStringLiteral("Max Gray Value"), QStringLiteral("Integral")};

QJsonObject ToJson(const ImageSource& s)
{
    QJsonObject json{
        {"page", s.page}, {"pages", s.pages}, {"bits", s.storedBits}, {"channels", s.channels}};
    if (!s.plane.isEmpty())
        json.insert("plane", s.plane);
    if (s.converted)
        json.insert("conversion", QJsonObject{{"from", QJsonArray{s.low, s.high}},
                                              {"to", QJsonArray{0, 255}},
                                              {"source", s.rangeSource}});
    QJsonObject calibration{
        {"scale", s.scale},
        {"unit", s.unit},
        {"source", s.calibrationSource.isEmpty() ? QStringLiteral("none") : s.calibrationSource}};
    if (s.scaleY > 0)
        calibration.insert("scaleY", s.scaleY);
    json.insert("calibration", calibration);
    if (!s.notes.isEmpty())
        json.insert("notes", QJsonArray::fromStringList(s.notes));
    return json;
}

QJsonObject OriginalToJson(const ImageSource& s)
{
    if (!s.converted)
        return QJsonObject();
    QJsonArray objects;
    for (const QList<double>& row : s.original) {
        QJsonObject object;
        for (int i = 0; i < row.size() && i < kOriginalColumns.size(); ++i)
            object.insert(kOriginalColumns[i], row[i]);
        objects.append(object);
    }
    return QJsonObject{{"range", QJsonArray{s.low, s.high}},
                       {"columns", QJsonArray::fromStringList(kOriginalColumns)},
                       {"objects", objects}};
}

ImageSource FromJson(const QJsonObject& json, const QJsonObject& original)
{
    ImageSource s;
    if (json.isEmpty())
        return s;
    s.page = json.value("page").toInt(1);
    s.pages = json.value("pages").toInt(1);
    s.plane = json.value("plane").toString();
    s.storedBits = json.value("bits").toInt(8);
    s.channels = json.value("channels").toInt();
    const QJsonObject conversion = json.value("conversion").toObject();
    if (!conversion.isEmpty()) {
        s.converted = true;
        s.low = conversion.value("from").toArray().at(0).toDouble();
        s.high = conversion.value("from").toArray().at(1).toDouble();
        s.rangeSource = conversion.value("source").toString();
    }
    const QJsonObject calibration = json.value("calibration").toObject();
    s.scale = calibration.value("scale").toDouble(1.0);
    s.scaleY = calibration.value("scaleY").toDouble(0);
    s.unit = calibration.value("unit").toString();
    s.calibrationSource = calibration.value("source").toString();
    if (s.calibrationSource == QLatin1String("none"))
        s.calibrationSource.clear();
    for (const QJsonValue& note : json.value("notes").toArray())
        s.notes << note.toString();
    for (const QJsonValue& item : original.value("objects").toArray()) {
        QList<double> row;
        for (const QString& column : kOriginalColumns)
            row << item.toObject().value(column).toDouble();
        s.original << row;
    }
    return s;
}

QString Describe(const ImageSource& s)
{
    QStringList parts;
    if (s.pages > 1)
        parts << QStringLiteral("page %1 of %2").arg(s.page).arg(s.pages);
    if (!s.plane.isEmpty())
        parts << s.plane;
    if (s.converted)
        parts << QStringLiteral("%1-bit range %2-%3 to 0-255 (%4)")
                     .arg(s.storedBits)
                     .arg(s.low)
                     .arg(s.high)
                     .arg(s.rangeSource);
    if (!s.calibrationSource.isEmpty() && s.calibrationSource != QLatin1String("option"))
        parts << QStringLiteral("%1 %2/px (%3)").arg(s.scale).arg(s.unit, s.calibrationSource);
    return parts.join(QStringLiteral("; "));
}

} // namespace imagesource
