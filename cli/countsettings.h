#pragma once

// The settings of one counting run: every choice that changes a count, as the
// command line gives it and as a settings file stores it.

#include <QJsonObject>
#include <QList>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <optional>
#include <stdexcept>

/// A bad option or value; names the option (e.g. "--rect") in option().
class UsageError : public std::runtime_error
{
public:
    UsageError(const QString& option, const QString& message)
        : std::runtime_error(message.toStdString()), option_(option), message_(message)
    {
    }
    const QString& option() const { return option_; }
    const QString& message() const { return message_; }

private:
    QString option_;
    QString message_;
};

/// One range filter on a data type of the catalogue; a missing bound keeps
/// the catalogue's default for that type.
struct FilterSetting
{
    QString name; ///< plain display name, e.g. "Area"
    std::optional<double> min;
    std::optional<double> max;
    bool operator==(const FilterSetting& o) const
    {
        return name == o.name && min == o.min && max == o.max;
    }
};

struct CountSettings
{
    QList<QRectF> rectangles; ///< x, y, width, height in pixels; none: whole image
    QList<QPolygonF> polygons;
    QString mode = QStringLiteral("dark"); ///< dark, bright or manual
    QString channel = QStringLiteral("grey");
    int low = 0;            ///< manual band, inclusive
    int high = 255;         ///< manual band, inclusive
    QStringList morphology; ///< dilate, erode, open, close, applied in order
    bool fillHoles = false;
    QString cut = QStringLiteral("auto"); ///< auto, merge or none
    bool keepBorder = false;
    bool defaultFilters = true; ///< the catalogue's four default filters stay on
    QList<FilterSetting> filters;
    double scale = 1.0; ///< units per pixel
    QString unit = QStringLiteral("px");

    bool operator==(const CountSettings& o) const;
};

namespace countsettings {

extern const QStringList kModes;      ///< dark, bright, manual
extern const QStringList kChannels;   ///< grey, red, green, blue, hue, saturation, intensity
extern const QStringList kMorphology; ///< dilate, erode, open, close
extern const QStringList kCuts;       ///< auto, merge, none

/// Parses "x,y,w,h"; throws UsageError naming @p option.
QRectF ParseRect(const QString& option, const QString& text);
/// Parses "x1,y1,x2,y2,..." with at least three points.
QPolygonF ParsePolygon(const QString& option, const QString& text);
/// Parses "NAME", "NAME=MIN:MAX", "NAME=MIN:" or "NAME=:MAX". The name is
/// checked later against the catalogue.
FilterSetting ParseFilter(const QString& option, const QString& text);
/// Checks @p value against @p allowed (case-insensitive); returns it in lower case.
QString Choice(const QString& option, const QString& value, const QStringList& allowed);

/// Checks the combination of values: ranges, manual band, regions.
void Validate(const CountSettings& settings);

/// The settings as a JSON object (the settings-file format).
QJsonObject ToJson(const CountSettings& settings);
/// Reads a settings object; every key is optional and starts from @p base.
/// Throws UsageError naming @p option for unknown keys or bad values.
CountSettings FromJson(const QJsonObject& json, const CountSettings& base, const QString& option);

/// Reads a settings file (JSON) on top of @p base.
CountSettings Load(const QString& path, const CountSettings& base, const QString& option);

} // namespace countsettings
