#pragma once

// The files written for one counted image: the report, the annotated
// picture and the object table, each with the settings beside it.

#include "countrun.h"
#include "imageresult.h"
#include "settings.h"

#include <QString>

/// The per-image files to write; an empty path writes nothing.
struct ImageOutputs
{
    QString report;         ///< spreadsheet report (.xlsx)
    QString annotated;      ///< the picture (.png)
    QString table;          ///< the object table (.csv); "-" for standard output
    QString labels;         ///< the 16-bit label image (.png)
    QString geojson;        ///< the outlines as GeoJSON; "-" for standard output
    bool thumbnail = false; ///< a small picture in the result, for the batch overview
    bool any() const
    {
        return !report.isEmpty() || !annotated.isEmpty() || !table.isEmpty() || !labels.isEmpty() ||
               !geojson.isEmpty();
    }
    bool pictures() const { return !report.isEmpty() || !annotated.isEmpty() || thumbnail; }
};

namespace imageoutputs {

/**
 * @brief Writes @p outputs for @p counted and records in @p result which
 * files were written (outputs) and which were not, with the reason
 * (outputErrors). The picture is rendered once for the report and the
 * annotated file; a settings file goes beside the report and the table,
 * unless the table goes to standard output ("-") or a device.
 */
void Write(const CountSettings& settings, const ImageOutputs& outputs,
           const countrun::CountResult& counted, ImageResult& result);

} // namespace imageoutputs
