#include "job.h"

#include "imageinput.h"

namespace job {

ImageResult Run(const QString& file, const CountSettings& settings, const ImageOutputs& outputs,
                const countrun::Hooks& hooks)
{
    const InputImage input = ReadImage(file);
    if (!input.ok()) {
        ImageResult failed;
        failed.file = file;
        failed.error = input.error;
        return failed;
    }
    const countrun::CountResult counted = countrun::Count(input.image, settings, hooks);
    if (!counted.error.isEmpty()) {
        ImageResult failed;
        failed.file = file;
        failed.error = counted.error;
        return failed;
    }
    if (counted.core.cancelled) {
        ImageResult stopped;
        stopped.file = file;
        stopped.error = QStringLiteral("stopped before it was counted");
        return stopped;
    }
    ImageResult result = countrun::Summarise(file, counted);
    imageoutputs::Write(settings, outputs, counted, result);
    return result;
}

} // namespace job
