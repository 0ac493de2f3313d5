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

double MicrometresPer(const QString& name)
{
    const QString unit = name.trimmed();
    if (unit == QStringLiteral("µm") || unit == QStringLiteral("μm") ||
        unit == QLatin1String("um") ||
        unit.compare(QLatin1String("micron"), Qt::CaseInsensitive) == 0)
        return 1.0;
    if (unit == QLatin1String("nm"))
        return 1e-3;
    if (unit == QLatin1String("pm"))
        return 1e-6;
    if (unit == QStringLiteral("Å"))
        return 1e-4;
    if (unit == QLatin1String("mm"))
        return 1e3;
    if (unit == QLatin1String("cm"))
        return 1e4;
    if (unit == QLatin1String("m"))
        return 1e6;
    if (unit == QLatin1String("in") ||
        unit.compare(QLatin1String("inch"), Qt::CaseInsensitive) == 0)
        return 25400.0;
    return 0; // not a length unit
}

} // namespace countsettings
