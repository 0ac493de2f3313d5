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

/// A counted image whose files are still to be written: Run in two halves,
/// so that a batch can write one image's files while it counts the next.
struct Counted
{
    ImageResult result;            ///< the summary; its error when not counted
    countrun::CountResult counted; ///< what the writers need
    CountSettings used;            ///< the settings as used (calibration of the file)
};

/// Reads and counts @p file: the first half of Run.
Counted Count(const QString& file, const CountSettings& settings,
              const countrun::Hooks& hooks = countrun::Hooks());

/// Writes @p outputs of @p image and returns its result: the second half.
ImageResult Write(Counted image, const ImageOutputs& outputs);

/// How many threads the image library may use inside one count. A batch that
/// runs one image per core sets 1, so that N images at a time use N cores.
void SetThreadsPerCount(int threads);

/// Hands the memory the last image freed back to the system, so that a long
/// batch's footprint follows what it holds, not what it once held.
void ReleaseFreedMemory();

/// Maps every large buffer (4 MB and more) on its own, so that a long batch
/// keeps a flat footprint.
void KeepLargeBuffersApart();

} // namespace job
