#pragma once

// The data types a count measures, by the names users give them, and the
// filter ranges a settings record asks for.

#include "settings.h"

#include "autocount/core/countcore.h"

#include <QString>
#include <QStringList>

namespace catalogue {

/// The 15 plain data-type names, in type order ("Area", ..., "Min Gray Value").
QStringList Names();

/// The type that @p name means (case-insensitive, spaces around ignored), or -1.
int TypeOf(const QString& name);

/// Replaces every filter name by its catalogue spelling; throws UsageError
/// naming --filter for a name the catalogue does not hold.
void ResolveFilterNames(CountSettings& settings);

/// The filter ranges of @p settings: the defaults (or none, without default
/// filters), then each filter switched on with the bounds it gives.
countcore::DataRanges Ranges(const CountSettings& settings);

/// The display names (with units) of the data types that @p settings enables,
/// in type order: the table's columns and the statistics' rows.
QStringList EnabledTypeNames(const CountSettings& settings);

} // namespace catalogue
