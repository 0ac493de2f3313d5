// Settings as JSON: written with every key, read back with every value
// checked and named by its key, and loaded from a file.
#include "settings.h"

#include "stains.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace countsettings {
namespace {

QJsonValue BoundJson(const std::optional<double>& bound)
{
    return bound ? QJsonValue(*bound) : QJsonValue(QJsonValue::Null);
}

QString String(const QJsonValue& value, const QString& key, const QString& option)
{
    if (!value.isString())
        throw UsageError(option, QStringLiteral("\"%1\" must be a string").arg(key));
    return value.toString();
}

double Number(const QJsonValue& value, const QString& key, const QString& option)
{
    if (!value.isDouble())
        throw UsageError(option, QStringLiteral("\"%1\" must be a number").arg(key));
    return value.toDouble();
}

int Integer(const QJsonValue& value, const QString& key, const QString& option)
{
    const double number = Number(value, key, option);
    if (number != std::floor(number) || std::abs(number) > 1e9)
        throw UsageError(option, QStringLiteral("\"%1\" must be a whole number").arg(key));
    return static_cast<int>(number);
}

bool Boolean(const QJsonValue& value, const QString& key, const QString& option)
{
    if (!value.isBool())
        throw UsageError(option, QStringLiteral("\"%1\" must be true or false").arg(key));
    return value.toBool();
}

QJsonArray Array(const QJsonValue& value, const QString& key, const QString& option)
{
    if (!value.isArray())
        throw UsageError(option, QStringLiteral("\"%1\" must be a list").arg(key));
    return value.toArray();
}

QList<double> NumberList(const QJsonValue& value, const QString& key, const QString& option)
{
    QList<double> numbers;
    for (const QJsonValue& item : Array(value, key, option))
        numbers << Number(item, key, option);
    return numbers;
}

} // namespace

QJsonObject ToJson(const CountSettings& s)
{
    QJsonArray rectangles;
    for (const QRectF& r : s.rectangles)
        rectangles.append(QJsonArray{r.x(), r.y(), r.width(), r.height()});
    QJsonArray polygons;
    for (const QPolygonF& polygon : s.polygons) {
        QJsonArray points;
        for (const QPointF& p : polygon) {
            points.append(p.x());
            points.append(p.y());
        }
        polygons.append(points);
    }
    QJsonArray filters;
    for (const FilterSetting& f : s.filters)
        filters.append(
            QJsonObject{{"name", f.name}, {"min", BoundJson(f.min)}, {"max", BoundJson(f.max)}});
    QStringList morphology;
    for (Morphology op : s.morphology)
        morphology << Name(op);
    QStringList preparation;
    for (PrepStep step : s.preparation)
        preparation << Name(step);
    QJsonObject json{
        {"rectangles", rectangles},
        {"polygons", polygons},
        {"mode", Name(s.mode)},
        {"channel", Name(s.channel)},
        {"low", s.low},
        {"high", s.high},
        {"morphology", QJsonArray::fromStringList(morphology)},
        {"fillHoles", s.fillHoles},
        {"cut", Name(s.cut)},
        {"sensitivity", s.sensitivity},
        {"speckFloor", s.speckFloor},
        {"keepBorder", s.keepBorder},
        {"defaultFilters", s.defaultFilters},
        {"filters", filters},
        {"scale", s.scale},
        {"unit", s.unit},
        {"preparation", QJsonArray::fromStringList(preparation)},
        {"measureChannels", s.measureChannels},
        {"stain", s.stain},
        {"dish", Name(s.dish)},
    };
    // How images are read; only what differs from the defaults is written.
    const InputSettings& in = s.input;
    if (in.page == InputSettings::kAllPages)
        json.insert("page", QStringLiteral("all"));
    else if (in.page > 0)
        json.insert("page", in.page);
    if (in.bits > 0)
        json.insert("bits", in.bits);
    if (in.range)
        json.insert("range", QJsonArray{in.range->first, in.range->second});
    if (in.maxPixels != InputSettings().maxPixels)
        json.insert("maxPixels", double(in.maxPixels));
    const bool defaultCalibration = in.fileCalibration && in.calibrationSource.isEmpty() &&
                                    s.scale == 1.0 && s.unit == QLatin1String("px");
    if (!defaultCalibration)
        json.insert("calibration", in.calibrationSource.isEmpty()
                                       ? QString(in.fileCalibration ? "file" : "option")
                                       : in.calibrationSource);
    return json;
}

CountSettings FromJsonKeys(const QJsonObject& json, const CountSettings& base,
                           const QString& option);

int ParsePage(const QString& option, const QString& text)
{
    if (text.trimmed().compare(QLatin1String("all"), Qt::CaseInsensitive) == 0)
        return InputSettings::kAllPages;
    bool ok = false;
    const int page = text.trimmed().toInt(&ok);
    if (!ok || page < 1)
        throw UsageError(option,
                         QStringLiteral("'%1' is not a page number (1, 2, ...) or all").arg(text));
    return page;
}

QPair<double, double> ParseRange(const QString& option, const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    bool okLow = false, okHigh = false;
    const double low = parts.value(0).trimmed().toDouble(&okLow);
    const double high = parts.value(1).trimmed().toDouble(&okHigh);
    if (parts.size() != 2 || !okLow || !okHigh || !std::isfinite(low) || !std::isfinite(high) ||
        !(low < high) || low < 0 || high > 65535)
        throw UsageError(option, QStringLiteral("expected LOW:HIGH with 0 ≤ LOW < HIGH ≤ 65535, "
                                                "got '%1'")
                                     .arg(text));
    return {low, high};
}

CountSettings FromJson(const QJsonObject& json, const CountSettings& base, const QString& option)
{
    CountSettings read = FromJsonKeys(json, base, option);
    // A file without "calibration" that sets a scale or unit other than the
    // defaults means it as the calibration.
    if (!json.contains("calibration") && (read.scale != 1.0 || read.unit != QLatin1String("px")) &&
        (json.contains("scale") || json.contains("unit")))
        read.input.fileCalibration = false;
    read.input.calibrationSource.clear();
    return read;
}

CountSettings FromJsonKeys(const QJsonObject& json, const CountSettings& base,
                           const QString& option)
{
    // Keys a results file adds beside the settings; they do not change a count.
    // What a file written beside a report records of the count itself.
    static const QSet<QString> informational = {"image", "autocount", "dishFound", "prepared"};
    CountSettings s = base;
    for (auto it = json.begin(); it != json.end(); ++it) {
        const QString& key = it.key();
        const QJsonValue& v = it.value();
        if (key == QLatin1String("rectangles")) {
            s.rectangles.clear();
            for (const QJsonValue& item : Array(v, key, option)) {
                const QList<double> n = NumberList(item, key, option);
                if (n.size() != 4 || n[2] <= 0 || n[3] <= 0)
                    throw UsageError(option, QStringLiteral("\"rectangles\" holds [x, y, w, h] "
                                                            "with positive w and h"));
                s.rectangles << QRectF(n[0], n[1], n[2], n[3]);
            }
        } else if (key == QLatin1String("polygons")) {
            s.polygons.clear();
            for (const QJsonValue& item : Array(v, key, option)) {
                const QList<double> n = NumberList(item, key, option);
                if (n.size() % 2 != 0 || n.size() < 6)
                    throw UsageError(option, QStringLiteral("\"polygons\" holds lists of at "
                                                            "least three x, y points"));
                QPolygonF polygon;
                for (int i = 0; i < n.size(); i += 2)
                    polygon << QPointF(n[i], n[i + 1]);
                s.polygons << polygon;
            }
        } else if (key == QLatin1String("mode")) {
            s.mode = ParseMode(option, String(v, key, option));
        } else if (key == QLatin1String("channel")) {
            s.channel = ParseChannel(option, String(v, key, option));
        } else if (key == QLatin1String("low")) {
            s.low = Integer(v, key, option);
        } else if (key == QLatin1String("high")) {
            s.high = Integer(v, key, option);
        } else if (key == QLatin1String("morphology")) {
            s.morphology.clear();
            for (const QJsonValue& item : Array(v, key, option))
                s.morphology << ParseMorphology(option, String(item, key, option));
        } else if (key == QLatin1String("fillHoles")) {
            s.fillHoles = Boolean(v, key, option);
        } else if (key == QLatin1String("cut")) {
            s.cut = ParseSeparation(option, String(v, key, option));
        } else if (key == QLatin1String("sensitivity")) {
            s.sensitivity = Number(v, key, option);
        } else if (key == QLatin1String("speckFloor")) {
            s.speckFloor = Number(v, key, option);
        } else if (key == QLatin1String("keepBorder")) {
            s.keepBorder = Boolean(v, key, option);
        } else if (key == QLatin1String("defaultFilters")) {
            s.defaultFilters = Boolean(v, key, option);
        } else if (key == QLatin1String("filters")) {
            s.filters.clear();
            for (const QJsonValue& item : Array(v, key, option)) {
                if (!item.isObject())
                    throw UsageError(option, QStringLiteral("\"filters\" holds objects with "
                                                            "name, min and max"));
                const QJsonObject o = item.toObject();
                FilterSetting f;
                f.name = String(o.value("name"), QStringLiteral("name"), option);
                if (!o.value("min").isNull() && !o.value("min").isUndefined())
                    f.min = Number(o.value("min"), QStringLiteral("min"), option);
                if (!o.value("max").isNull() && !o.value("max").isUndefined())
                    f.max = Number(o.value("max"), QStringLiteral("max"), option);
                s.filters << f;
            }
        } else if (key == QLatin1String("scale")) {
            s.scale = Number(v, key, option);
        } else if (key == QLatin1String("preparation")) {
            QStringList words;
            for (const QJsonValue& item : Array(v, key, option))
                words << String(item, key, option);
            s.preparation = words.isEmpty()
                                ? QList<PrepStep>()
                                : ParsePreparation(option, words.join(QLatin1Char(',')));
        } else if (key == QLatin1String("measureChannels")) {
            s.measureChannels = Boolean(v, key, option);
        } else if (key == QLatin1String("stain")) {
            s.stain = String(v, key, option);
        } else if (key == QLatin1String("dish")) {
            s.dish = ParseDish(option, String(v, key, option));
        } else if (key == QLatin1String("unit")) {
            s.unit = String(v, key, option);
        } else if (key == QLatin1String("page")) {
            s.input.page = v.isString()
                               ? ParsePage(option, v.toString())
                               : ParsePage(option, QString::number(Integer(v, key, option)));
        } else if (key == QLatin1String("bits")) {
            s.input.bits = Integer(v, key, option);
            if (s.input.bits < 1 || s.input.bits > 16)
                throw UsageError(option, QStringLiteral("\"bits\" must be 1 to 16"));
        } else if (key == QLatin1String("range")) {
            const QList<double> n = NumberList(v, key, option);
            if (n.size() != 2 || !(n[0] < n[1]))
                throw UsageError(option, QStringLiteral("\"range\" must be [LOW, HIGH] with LOW "
                                                        "below HIGH"));
            s.input.range = qMakePair(n[0], n[1]);
        } else if (key == QLatin1String("maxPixels")) {
            const double n = Number(v, key, option);
            if (!(n >= 1) || n != std::floor(n))
                throw UsageError(option, QStringLiteral("\"maxPixels\" must be a whole number"));
            s.input.maxPixels = qint64(n);
        } else if (key == QLatin1String("calibration")) {
            // "option": the scale above; "file...": the pixel size each file
            // declares, the scale above where it declares none.
            const QString source = String(v, key, option);
            s.input.fileCalibration = source.startsWith(QLatin1String("file"));
            if (!s.input.fileCalibration && source != QLatin1String("option") &&
                source != QLatin1String("none"))
                throw UsageError(option, QStringLiteral("\"calibration\" must be \"option\" or "
                                                        "\"file\""));
        } else if (!informational.contains(key)) {
            throw UsageError(option, QStringLiteral("unknown setting \"%1\"").arg(key));
        }
    }
    return s;
}

CountSettings Load(const QString& path, const CountSettings& base, const QString& option)
{
    // A settings file is small; a device, a pipe or a huge file is refused
    // before anything is read from it.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        throw UsageError(option, QStringLiteral("%1: not a regular file").arg(path));
    if (info.size() > kMaximumSettingsBytes)
        throw UsageError(option, QStringLiteral("%1: %2 bytes is too large for a settings file "
                                                "(at most %3)")
                                     .arg(path)
                                     .arg(info.size())
                                     .arg(kMaximumSettingsBytes));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw UsageError(option, QStringLiteral("%1: %2").arg(path, file.errorString()));
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError)
        throw UsageError(
            option,
            QStringLiteral("%1: %2 at offset %3").arg(path, error.errorString()).arg(error.offset));
    if (!document.isObject())
        throw UsageError(option, QStringLiteral("%1: not a settings object").arg(path));
    CountSettings settings =
        FromJson(document.object(), base, QStringLiteral("%1 (%2)").arg(option, path));
    // A file the tool wrote (it names the tool's version) before the engine's
    // preparation stage existed has no key for it: it keeps the meaning it
    // had, the module's own segmentation. A file written by hand takes the
    // defaults for what it leaves out.
    const QJsonObject json = document.object();
    if (json.contains(QLatin1String("autocount")) && !json.contains(QLatin1String("preparation")))
        settings.preparation.clear();
    return settings;
}

} // namespace countsettings
