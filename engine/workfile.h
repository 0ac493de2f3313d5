#pragma once

// A whole piece of counting work in one file, for the lab's records: the
// image (path and SHA-256 of its bytes), the settings with the regions drawn,
// every operation on the binary image in order (the cuts and merges as the
// pixels they changed), the objects deleted (by outline) and the objects
// added by hand. JSON, written atomically; reopening it repeats the count.

#include "settings.h"

#include "autocount/alg/alg.h"

#include <QByteArray>
#include <QString>

#include <opencv2/core.hpp>

#include <vector>

namespace workfile {

/// One operation on the binary image after segmentation.
struct Operation
{
    /// "morphology", "fill_holes", "auto_cut", "distance_cut", "manual_cut" or "merge".
    QString kind;
    int morphology = 0; ///< for "morphology": the module's operation number
    QByteArray change;  ///< for the cuts and the merge: the packed change (maskchange)
};

struct Work
{
    QString image;       ///< absolute path of the image counted
    QString imageSha256; ///< hex SHA-256 of the image file's bytes
    CountSettings settings;
    std::vector<Operation> operations;
    std::vector<Contour> deleted;   ///< outlines of the objects deleted
    std::vector<cv::Point2d> added; ///< objects added by hand, in image pixels
};

/// The kinds an Operation may have, in the order of the list above.
const QStringList& Kinds();

/// Hex SHA-256 of the file at @p path; empty with @p error naming the file
/// when it cannot be read.
QString FileSha256(const QString& path, QString* error);

/// The work as the file holds it.
QByteArray ToBytes(const Work& work);

/// Writes @p work to @p path atomically (checkedfile).
bool Write(const QString& path, const Work& work, QString* error);

/// Reads a work file; false with @p error naming the file and what is wrong.
bool Read(const QString& path, Work& work, QString* error);

} // namespace workfile
