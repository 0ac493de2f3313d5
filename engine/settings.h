#pragma once

// The settings of one counting run: every choice that changes a count, as the
// command line gives it and as a settings file stores it.

#include "imageheader.h"

#include <QJsonObject>
#include <QList>
#include <QPair>
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

/// Which objects the threshold keeps.
enum class SegmentMode
{
    Dark,   ///< Otsu; objects at or below the threshold
    Bright, ///< Otsu; objects above it
    Manual, ///< the band low..high on a channel
    Auto,   ///< plane and polarity chosen from the image (planechoice.h); the default
};

/// The channel of the manual band, in the module's numbering; each word
/// means the plane it names (planechoice.h maps them onto the module's codes).
enum class Channel
{
    Grey,
    Red,
    Green,
    Blue,
    Hue,
    Saturation,
    Intensity,
};

/// One refinement of the binary image, in the module's numbering.
enum class Morphology
{
    Dilate,
    Erode,
    Open,
    Close,
};

/// How touching objects are separated.
enum class Separation
{
    Auto,  ///< the module's automatic cut
    Merge, ///< small gaps closed instead
    None,
    Distance, ///< the distance-map separation (the default)
};

/// Whether the picture is of a dish, counted inside its rim only.
enum class DishMode
{
    None, ///< the whole image (or the regions drawn)
    Auto, ///< the dish is found (dish.h); the count stays inside it
};

/// How image files are read: the page, the conversion of samples deeper
/// than 8 bits, the pixel limit and where the calibration comes from.
struct InputSettings
{
    static constexpr int kAllPages = -1;
    int page = 0; ///< 1-based page; 0: the first, with a note when there are more; kAllPages
    int bits = 0; ///< deeper samples span 0..2^bits-1; 0: the range the file declares
    std::optional<QPair<double, double>> range; ///< deeper samples span LOW..HIGH
    qint64 maxPixels = kDefaultMaxPixels;       ///< larger images are refused
    bool fileCalibration = true; ///< without --scale: the pixel size the file declares
    QString calibrationSource;   ///< of the scale in force ("option", "file: OME-XML", ...)

    bool operator==(const InputSettings& o) const
    {
        return page == o.page && bits == o.bits && range == o.range && maxPixels == o.maxPixels &&
               fileCalibration == o.fileCalibration && calibrationSource == o.calibrationSource;
    }
};

/// A step of the engine's preparation of the automatic threshold (see
/// preparation.h), in the order they run.
enum class PrepStep
{
    Smooth,     ///< Gaussian tied to the typical object size
    Background, ///< subtraction of the uneven background (opening, both polarities)
    Threshold,  ///< noise floor and a share of the local peak instead of one Otsu level
    Holes,      ///< holes ringed by one object alone are filled after separation
};

/// Every preparation step, in order: the default.
inline QList<PrepStep> AllPrepSteps()
{
    QList<PrepStep> steps;
    steps << PrepStep::Smooth << PrepStep::Background << PrepStep::Threshold << PrepStep::Holes;
    return steps;
}

struct CountSettings
{
    QList<QRectF> rectangles; ///< x, y, width, height in pixels; none: whole image
    QList<QPolygonF> polygons;
    SegmentMode mode = SegmentMode::Auto;
    Channel channel = Channel::Grey;
    int low = 0;                  ///< manual band, inclusive
    int high = 255;               ///< manual band, inclusive
    QList<Morphology> morphology; ///< applied in order
    bool fillHoles = false;
    Separation cut = Separation::Distance;
    /// Of the distance-map separation: 1 by default, higher splits more.
    double sensitivity = 1.0;
    /// Objects smaller than this share of the image's typical object area
    /// are specks, not objects; 0 keeps everything.
    double speckFloor = 0.05;
    bool keepBorder = false;
    bool defaultFilters = true; ///< the catalogue's four default filters stay on
    QList<FilterSetting> filters;
    double scale = 1.0; ///< units per pixel
    QString unit = QStringLiteral("px");
    InputSettings input;
    // The engine's own steps beside the module's (keys "preparation",
    // "measureChannels", "stain"). Preparation: the steps that run before and after
    // the automatic threshold; empty gives the module's own segmentation.
    QList<PrepStep> preparation = AllPrepSteps();
    /// Intensities of every object in every plane of a multi-channel image.
    bool measureChannels = true;
    /// With the automatic modes: threshold this stain's optical density
    /// (stains.h: "hematoxylin", "eosin", "dab" or "R,G,B") instead of the
    /// grey image, objects being where the stain is dense; empty: grey.
    QString stain;
    /// Key "dish": with Auto the round dish is found and only its inside,
    /// within a margin for the rim, is counted (inside the regions too, when
    /// there are any); its glare and uneven light are taken away by the
    /// preparation's background step, which then always runs; its
    /// smoothing (for grainy objects) does not.
    DishMode dish = DishMode::None;

    bool Prepares(PrepStep step) const { return preparation.contains(step); }
    bool operator==(const CountSettings& o) const;
};

namespace countsettings {

/// The calibrations accepted, in units per pixel.
constexpr double kMinimumScale = 1e-12;
constexpr double kMaximumScale = 1e12;
/// The largest settings file read.
constexpr qint64 kMaximumSettingsBytes = 1 << 20;

/// The words of each choice, as options and settings files spell them, in
/// the order of its enum.
extern const QStringList kModes;      ///< dark, bright, manual, auto
extern const QStringList kChannels;   ///< grey, red, green, blue, hue, saturation, intensity
extern const QStringList kMorphology; ///< dilate, erode, open, close
extern const QStringList kCuts;       ///< auto, merge, none, distance
extern const QStringList kPrepSteps;  ///< smooth, background, threshold, holes
extern const QStringList kDishModes;  ///< none, auto

/// The word of a choice.
QString Name(SegmentMode mode);
QString Name(Channel channel);
QString Name(Morphology op);
QString Name(Separation cut);
QString Name(PrepStep step);
QString Name(DishMode dish);

/// Reads the word for a choice (case-insensitive); throws UsageError naming
/// @p option with the words allowed.
SegmentMode ParseMode(const QString& option, const QString& text);
Channel ParseChannel(const QString& option, const QString& text);
Morphology ParseMorphology(const QString& option, const QString& text);
Separation ParseSeparation(const QString& option, const QString& text);
DishMode ParseDish(const QString& option, const QString& text);
/// Reads "on" (every step), "off" (none) or a comma-separated list of steps.
QList<PrepStep> ParsePreparation(const QString& option, const QString& text);

/// Parses "x,y,w,h"; throws UsageError naming @p option.
QRectF ParseRect(const QString& option, const QString& text);
/// Parses "x1,y1,x2,y2,..." with at least three points.
QPolygonF ParsePolygon(const QString& option, const QString& text);
/// Parses "NAME", "NAME=MIN:MAX", "NAME=MIN:" or "NAME=:MAX". The name is
/// checked later against the catalogue.
FilterSetting ParseFilter(const QString& option, const QString& text);
/// Checks @p value against @p allowed (case-insensitive); returns its position.
int Choice(const QString& option, const QString& value, const QStringList& allowed);

/// Parses "N" (1-based) or "all" for --page.
int ParsePage(const QString& option, const QString& text);
/// Parses "LOW:HIGH" with LOW < HIGH for --range.
QPair<double, double> ParseRange(const QString& option, const QString& text);
/// Micrometres per @p unit (pm, Å, nm, µm/um/micron, mm, cm, m, in/inch);
/// 0 for anything that is not a length.
double MicrometresPer(const QString& unit);

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
