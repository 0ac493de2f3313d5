#pragma once

// From the command line's inputs to the list of images to count: folders
// expanded, a shard picked, and every image's output paths worked out and
// checked before any counting starts.

#include "imageoutputs.h"

#include <QList>
#include <QString>
#include <QStringList>

struct BatchItem
{
    QString file;  ///< as given, or folder path plus file name
    int index = 0; ///< 1-based position in the whole input list (before sharding)
    ImageOutputs outputs;
};

/// Output paths as given: per-image patterns and the batch-wide files.
struct OutputRequest
{
    QString report; ///< may hold {stem} and {index}
    QString annotated;
    QString table;
    QString labels;
    QString geojson;
    QString summary; ///< one file for the batch
    QString saveSettings;
    QString jsonl;    ///< one JSON object per image, as the batch goes
    QString objects;  ///< every object of the batch in one table
    QString sqlite;   ///< the results database
    QString overview; ///< the batch overview page (.html)
};

namespace batchplan {

/// Expands folders to their image files (png, jpg, jpeg, tif, tiff, bmp, any
/// case), in natural order (NaturalLess); with @p recursive their subfolders'
/// too. Other arguments are kept as files. A folder without images is
/// reported in @p problems as "FOLDER: no image files"; every other file of a
/// folder that is skipped goes to @p skipped with the reason.
QStringList ExpandInputs(const QStringList& arguments, QStringList* problems,
                         bool recursive = false, QStringList* skipped = nullptr);

/// Natural order of names: runs of digits compare by their value, the rest
/// by code point, so "img2" comes before "img10" on every machine.
bool NaturalLess(const QString& a, const QString& b);

/// True for outputs that are streams rather than files: "-" (standard
/// output), a device, a pipe or a socket, anything under /dev. Several images
/// may write to one stream.
bool IsStream(const QString& path);

/// With @p page InputSettings::kAllPages, each multi-page file of @p files
/// becomes its pages "FILE[1]", "FILE[2]", ...; otherwise @p files as they are.
QStringList ExpandPages(const QStringList& files, int page);

/// Parses "I/N" (1 ≤ I ≤ N); throws UsageError naming --shard.
QPair<int, int> ParseShard(const QString& text);

/// The path of @p pattern for one image: {stem} becomes the file name without
/// its last suffix (with "[N]" for page N), {index} the 1-based position in
/// the whole input list.
QString ExpandPattern(const QString& pattern, const QString& file, int index);

/**
 * @brief The items to count: shard @p shard (I, N) of @p files, with their
 * outputs.
 *
 * Throws UsageError (naming the option) when a per-image pattern lacks
 * {stem} or {index} while there are several inputs, when two images would
 * write the same file, or when an output would overwrite an input.
 */
QList<BatchItem> Plan(const QStringList& files, const OutputRequest& request,
                      QPair<int, int> shard);

} // namespace batchplan
