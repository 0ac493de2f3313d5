#pragma once

#include "filterdialog.h"

#include "autocount/autocountmanager.h"

#include <vector>

/**
 * @brief What a set of filter ranges would do to the objects measured:
 * each measurement's real extent and the number of objects that pass,
 * computed with the module's own validity rule.
 */
namespace filterpreview {

/// The smallest and largest value of one measurement; empty without objects.
struct Extent
{
    bool empty = true;
    double lowest = 0.0;
    double highest = 0.0;
};

/// The objects measured in the image, less those whose outline is in @p deleted.
std::vector<parResult> Candidates(const AutoCountManager& manager,
                                  const std::vector<Contour>& deleted);

/// The extent of measurement @p type over @p records, in calibrated units.
Extent ExtentOf(const std::vector<parResult>& records, AutoCountManager::OBJECT_DATA_TYPE type);

/// How many of @p records pass every enabled range of @p ranges (named as
/// in the module's catalogue; unknown names are left out).
int Passing(const std::vector<parResult>& records, const QVector<FilterRange>& ranges);

} // namespace filterpreview
