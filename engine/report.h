#pragma once

// The spreadsheet report of a count: the picture, the module's object table
// and its statistics table, written in one piece.

#include "countrun.h"

#include <QImage>
#include <QString>

namespace report {

/// Writes the report of @p result with @p png (the picture's PNG bytes, see
/// picture::Png) to @p path, atomically. On failure returns false with the
/// reason in @p error.
bool Write(const QString& path, const countrun::CountResult& result, const QByteArray& png,
           QString* error);

} // namespace report
