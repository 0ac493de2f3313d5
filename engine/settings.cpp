#include "settings.h"

#include "stains.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <algorithm>
#include <cmath>

bool CountSettings::operator==(const CountSettings& o) const
{
    return rectangles == o.rectangles && polygons == o.polygons && mode == o.mode &&
           channel == o.channel && low == o.low && high == o.high && morphology == o.morphology &&
           fillHoles == o.fillHoles && cut == o.cut && sensitivity == o.sensitivity &&
           speckFloor == o.speckFloor && keepBorder == o.keepBorder &&
           defaultFilters == o.defaultFilters && filters == o.filters && scale == o.scale &&
           unit == o.unit && input == o.input && preparation == o.preparation &&
           measureChannels == o.measureChannels && stain == o.stain && dish == o.dish;
}

namespace countsettings {

const QStringList kModes = {"dark", "bright", "manual", "auto"};
const QStringList kChannels = {"grey", "red", "green", "blue", "hue", "saturation", "intensity"};
const QStringList kMorphology = {"dilate", "erode", "open", "close"};
const QStringList kCuts = {"auto", "merge", "none", "distance"};
const QStringList kPrepSteps = {"smooth", "background", "threshold", "holes"};
const QStringList kDishModes = {"none", "auto"};

namespace {

/// Comma-separated finite numbers; throws naming @p option.
QList<double> Numbers(const QString& option, const QString& text)
{
    QList<double> numbers;
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString& part : parts) {
        bool ok = false;
        const double value = part.trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(value))
            throw UsageError(option, QStringLiteral("'%1' is not a number").arg(part.trimmed()));
        numbers << value;
    }
    return numbers;
}

std::optional<double> Bound(const QString& option, const QString& text)
{
    if (text.trimmed().isEmpty())
        return std::nullopt;
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        throw UsageError(option, QStringLiteral("'%1' is not a number").arg(text.trimmed()));
    return value;
}

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

QRectF ParseRect(const QString& option, const QString& text)
{
    const QList<double> n = Numbers(option, text);
    if (n.size() != 4)
        throw UsageError(option, QStringLiteral("expected x,y,w,h, got '%1'").arg(text));
    if (n[2] <= 0 || n[3] <= 0)
        throw UsageError(option,
                         QStringLiteral("width and height must be positive in '%1'").arg(text));
    return QRectF(n[0], n[1], n[2], n[3]);
}

QPolygonF ParsePolygon(const QString& option, const QString& text)
{
    const QList<double> n = Numbers(option, text);
    if (n.size() % 2 != 0 || n.size() < 6)
        throw UsageError(
            option,
            QStringLiteral("expected at least three points x1,y1,x2,y2,x3,y3, got '%1'").arg(text));
    QPolygonF polygon;
    for (int i = 0; i < n.size(); i += 2)
        polygon << QPointF(n[i], n[i + 1]);
    return polygon;
}

FilterSetting ParseFilter(const QString& option, const QString& text)
{
    FilterSetting filter;
    const int equals = text.indexOf(QLatin1Char('='));
    filter.name = (equals < 0 ? text : text.left(equals)).trimmed();
    if (filter.name.isEmpty())
        throw UsageError(option, QStringLiteral("expected NAME=MIN:MAX, got '%1'").arg(text));
    if (equals >= 0) {
        const QString range = text.mid(equals + 1);
        const int colon = range.indexOf(QLatin1Char(':'));
        if (colon < 0)
            throw UsageError(option, QStringLiteral("expected NAME=MIN:MAX, got '%1'").arg(text));
        filter.min = Bound(option, range.left(colon));
        filter.max = Bound(option, range.mid(colon + 1));
    }
    return filter;
}

int Choice(const QString& option, const QString& value, const QStringList& allowed)
{
    const int position = allowed.indexOf(value.trimmed().toLower());
    if (position < 0)
        throw UsageError(
            option,
            QStringLiteral("'%1' is not one of %2").arg(value, allowed.join(QStringLiteral(", "))));
    return position;
}

QString Name(SegmentMode mode)
{
    return kModes.value(static_cast<int>(mode));
}
QString Name(Channel channel)
{
    return kChannels.value(static_cast<int>(channel));
}
QString Name(Morphology op)
{
    return kMorphology.value(static_cast<int>(op));
}
QString Name(Separation cut)
{
    return kCuts.value(static_cast<int>(cut));
}

QString Name(PrepStep step)
{
    return kPrepSteps.value(static_cast<int>(step));
}

QString Name(DishMode dish)
{
    return kDishModes.value(static_cast<int>(dish));
}

QList<PrepStep> ParsePreparation(const QString& option, const QString& text)
{
    const QString t = text.trimmed().toLower();
    QList<PrepStep> steps;
    if (t == QLatin1String("off") || t == QLatin1String("none"))
        return steps;
    if (t == QLatin1String("on") || t == QLatin1String("all"))
        return AllPrepSteps();
    const QStringList words = t.split(QLatin1Char(','));
    for (const QString& word : words) {
        const auto step = static_cast<PrepStep>(Choice(option, word, kPrepSteps));
        if (!steps.contains(step))
            steps << step;
    }
    std::sort(steps.begin(), steps.end());
    return steps;
}

SegmentMode ParseMode(const QString& option, const QString& text)
{
    return static_cast<SegmentMode>(Choice(option, text, kModes));
}
Channel ParseChannel(const QString& option, const QString& text)
{
    return static_cast<Channel>(Choice(option, text, kChannels));
}
Morphology ParseMorphology(const QString& option, const QString& text)
{
    return static_cast<Morphology>(Choice(option, text, kMorphology));
}
Separation ParseSeparation(const QString& option, const QString& text)
{
    return static_cast<Separation>(Choice(option, text, kCuts));
}
DishMode ParseDish(const QString& option, const QString& text)
{
    return static_cast<DishMode>(Choice(option, text, kDishModes));
}

void Validate(const CountSettings& s)
{
    if (s.low < 0 || s.low > 255)
        throw UsageError(QStringLiteral("--low"), QStringLiteral("must be 0 to 255"));
    if (s.high < 0 || s.high > 255)
        throw UsageError(QStringLiteral("--high"), QStringLiteral("must be 0 to 255"));
    if (s.mode == SegmentMode::Manual && s.low > s.high)
        throw UsageError(
            QStringLiteral("--low"),
            QStringLiteral("the low bound %1 lies above the high bound %2").arg(s.low).arg(s.high));
    if (!s.rectangles.isEmpty() && !s.polygons.isEmpty())
        throw UsageError(QStringLiteral("--polygon"),
                         QStringLiteral("rectangles and polygons cannot be combined"));
    if (!(s.scale > 0) || !std::isfinite(s.scale))
        throw UsageError(QStringLiteral("--scale"), QStringLiteral("must be a positive number"));
    if (!(s.sensitivity > 0) || !std::isfinite(s.sensitivity) || s.sensitivity > 100)
        throw UsageError(QStringLiteral("--sensitivity"),
                         QStringLiteral("must be a number above 0 and at most 100"));
    if (!s.stain.isEmpty() && !stains::Parse(s.stain))
        throw UsageError(QStringLiteral("--stain"),
                         QStringLiteral("'%1' is not hematoxylin, eosin, dab or three numbers "
                                        "R,G,B")
                             .arg(s.stain));
    if (!(s.speckFloor >= 0) || s.speckFloor > 1)
        throw UsageError(QStringLiteral("--speck-floor"), QStringLiteral("must be 0 to 1"));
    // Beyond these, areas overflow to infinity or vanish to zero, and every
    // object would be filtered away without a word.
    if (s.scale < kMinimumScale || s.scale > kMaximumScale)
        throw UsageError(QStringLiteral("--scale"),
                         QStringLiteral("%1 units per pixel lies outside %2 to %3")
                             .arg(s.scale)
                             .arg(kMinimumScale)
                             .arg(kMaximumScale));
    for (const FilterSetting& f : s.filters) {
        if (f.min && f.max && *f.min > *f.max)
            throw UsageError(QStringLiteral("--filter"),
                             QStringLiteral("%1: the minimum lies above the maximum").arg(f.name));
    }
}

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

double MicrometresPer(const QString& name)
{
    const QString unit = name.trimmed();
    if (unit == QStringLiteral("µm") || unit == QStringLiteral("μm") ||
        unit == QLatin1String("um") || unit == QLatin1String("micron"))
        return 1.0;
    if (unit == QLatin1String("nm"))
        return 1e-3;
    if (unit == QLatin1String("mm"))
        return 1e3;
    if (unit == QLatin1String("cm"))
        return 1e4;
    if (unit == QLatin1String("m"))
        return 1e6;
    if (unit == QLatin1String("in") || unit == QLatin1String("inch"))
        return 25400.0;
    return 0;
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
