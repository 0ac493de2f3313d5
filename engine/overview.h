#pragma once

// The batch overview: one self-contained HTML page (no server, no network)
// with a thumbnail of each image's picture, the count per image as a plot,
// the size distribution of the batch's objects, and a flag on the images
// whose count or mean area lies far from the batch's median.

#include "imageresult.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <vector>

namespace overview {

/// An image far from the batch: more than this many scaled median absolute
/// deviations (1.4826 × MAD, the standard deviation of normal data) from
/// the median of the batch's counts or mean areas.
constexpr double kFlagDeviations = 3.0;

/// What the page keeps of one image.
struct Entry
{
    QString file;
    int index = 0;
    QString error;
    int count = 0;
    double meanArea = 0;  ///< calibrated; 0 without objects
    QString picture;      ///< the full picture's path (the --annotated file), if any
    QByteArray thumbnail; ///< JPEG of the picture, at most 240 pixels wide
};

/// The page as it grows during a batch.
class Page
{
public:
    explicit Page(const QString& unit) : unit_(unit) {}
    /// Adds one image: its entry and the areas of its objects.
    void Add(const Entry& entry, const std::vector<double>& areas);
    /// The whole page; @p incomplete is shown at the top when not empty.
    QByteArray Html(const QString& incomplete = QString()) const;

private:
    QString unit_;
    QList<Entry> entries_;
    std::vector<double> areas_;
};

/// How far @p value lies from the median of @p values in scaled median
/// absolute deviations; 0 when they do not vary.
double Deviations(double value, std::vector<double> values);

} // namespace overview
