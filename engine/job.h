#pragma once

// One image file from start to end: read, counted and its files written.
// The command-line tool's batches, its worker processes and the Python
// module run images this way.

#include "countrun.h"
#include "imageoutputs.h"
#include "imageresult.h"
#include "settings.h"

#include <QString>

namespace job {

/// Reads @p file, counts it with @p settings and writes @p outputs. A file
/// that cannot be read gives a result that carries the reason.
ImageResult Run(const QString& file, const CountSettings& settings, const ImageOutputs& outputs,
                const countrun::Hooks& hooks = countrun::Hooks());

} // namespace job
