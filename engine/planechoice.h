#pragma once

// Which plane of an image is thresholded, and which way round.
//
// The words of the channels mean the planes they name: "red" is the red
// plane. The module's manual band reads its own plane codes, under which the
// red and blue codes select the blue and the red plane; the engine hands it
// the code that reads the plane the user named.
//
// The automatic choice: every candidate plane (grey; for colour images also
// the red, green and blue planes and the haematoxylin, eosin and DAB
// densities) is split in two by Otsu on a copy reduced to about kChoiceArea
// pixels. The separation of a split is the between-class variance over the
// total variance (1 for two clean levels, near 0 for a plane with one
// mode). Grey is kept unless another plane separates by at least
// kColourMargin more. The polarity is judged on a copy of about kShapeArea
// pixels.
//
// Polarity: objects are compact, the background fills the space around
// them. The object-sized parts of each class (separate pieces of
// kMinPartArea pixels up to kMaxPartShare of the image) are convex when they
// are objects, and concave when they are the gaps between touching objects,
// as in a dense field where the objects cover most of the image. Solidity
// is the median over the parts of their area over their convex hull's area.
// When both classes have parts, the more solid by kSolidityMargin or more
// holds the objects; when one class alone has parts, it holds the objects if
// they are convex (solidity at least kConvexParts), else the other class
// does. Otherwise the larger class is the background: when most pixels lie
// at or below the threshold the objects are bright, else dark. A stain's
// density is high on its objects: a stain is always counted as bright
// objects.

#include "settings.h"

#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

namespace planechoice {

/// Pixels of the reduced copy the plane is chosen on, and of the one whose
/// shapes give the polarity.
constexpr double kChoiceArea = 500000.0;
constexpr double kShapeArea = 4000000.0;
/// How much more separation a colour plane or a stain needs than grey.
constexpr double kColourMargin = 0.05;
/// The parts of a class that count for its shape, and the solidity from
/// which they are convex.
constexpr double kMinPartArea = 16.0;
constexpr double kMaxPartShare = 0.1;
constexpr double kConvexParts = 0.85;
constexpr double kSolidityMargin = 0.03;
/// A colour image whose planes differ by no more than this (mean absolute
/// difference, grey levels) is treated as grey.
constexpr double kGreyTolerance = 1.0;

/// The module's band channel code that reads the plane @p channel names.
int ModuleBandChannel(Channel channel);
/// The channel the module's band code @p code reads (the inverse).
Channel BandChannelOfModuleCode(int code);

/// The 8-bit plane of @p bgr (8-bit BGR or one channel) that the band on
/// @p channel thresholds.
cv::Mat BandPlane(const cv::Mat& bgr, Channel channel);

/// Counts of each level of @p plane (8-bit) inside @p mask (empty: all).
std::array<double, 256> Histogram(const cv::Mat& plane, const cv::Mat& mask = cv::Mat());

/// The candidates of the automatic choice, by name: "grey", and for colour
/// images "red", "green", "blue", "hematoxylin", "eosin", "dab".
QStringList Candidates(const cv::Mat& bgr);

/// The 8-bit plane named @p name (a candidate's name, or a stain as
/// stains::Parse reads it) of @p bgr; empty for an unknown name.
cv::Mat NamedPlane(const cv::Mat& bgr, const QString& name);

/// Otsu's split of one histogram.
struct Split
{
    int threshold = 0;     ///< the dark class is 0..threshold
    double separation = 0; ///< between-class over total variance, 0..1
    double darkShare = 0;  ///< share of the pixels in the dark class
    bool brightObjects() const { return darkShare >= 0.5; }
};
Split OtsuSplit(const std::array<double, 256>& histogram);

/// What the automatic choice took.
struct Choice
{
    QString plane = QStringLiteral("grey");
    bool bright = false;
    double separation = 0;
};

/// Chooses the plane and the polarity of @p bgr inside @p regionMask
/// (empty or 8-bit, nonzero counted). With @p stain given (not empty) the
/// plane is that stain and the objects are bright.
Choice Choose(const cv::Mat& bgr, const cv::Mat& regionMask, const QString& stain = QString());

/// Whether the objects of the 8-bit @p plane inside @p regionMask are bright,
/// by the rule above (Studio's suggestion for its automatic modes, which
/// threshold the grey plane).
bool BrightObjects(const cv::Mat& plane, const cv::Mat& regionMask);

/// "dark" or "bright".
QString PolarityName(bool bright);

} // namespace planechoice
