#include "job.h"

#include "bitdepth.h"
#include "filenames.h"
#include "imageinput.h"

#include <new>

namespace job {

namespace {

ImageResult Failed(const QString& file, const QString& error)
{
    ImageResult failed;
    failed.file = filenames::Display(file);
    failed.error = error;
    return failed;
}

/// Each counted object's intensities in the input's own units: the inverse
/// of the conversion to 8 bits applied to the mean, smallest and largest
/// grey value, and to the integral (the sum over the object's pixels).
QList<QList<double>> OriginalIntensities(const countrun::CountResult& counted,
                                         const ImageSource& source)
{
    QList<QList<double>> rows;
    bitdepth::Mapping mapping;
    mapping.applied = true;
    mapping.low = source.low;
    mapping.high = source.high;
    const double step = (source.high - source.low) / 255.0;
    for (const parResult& r : counted.core.validRecords) {
        // The pixel count behind the integral; the outline's area where every
        // grey value is 0.
        const double pixels = r.meanGray > 0 ? double(r.integral) / r.meanGray : r.area;
        rows << QList<double>{bitdepth::ToOriginal(r.meanGray, mapping),
                              bitdepth::ToOriginal(r.minGray, mapping),
                              bitdepth::ToOriginal(r.maxGray, mapping),
                              double(r.integral) * step + source.low * pixels};
    }
    return rows;
}

ImageResult Count(const QString& file, const CountSettings& settings, const ImageOutputs& outputs,
                  const countrun::Hooks& hooks)
{
    const InputImage input = ReadImage(file, settings.input);
    if (!input.ok())
        return Failed(file, input.error);

    // The calibration of this image: the option's, or the pixel size the file
    // declares; the settings written beside its outputs say which.
    ImageSource source = input.source;
    Calibrate(settings, input.pixelSize, source);
    CountSettings used = settings;
    used.scale = source.scale;
    used.unit = source.unit;
    used.input.calibrationSource = source.calibrationSource;

    const countrun::CountResult counted = countrun::Count(input.image, used, hooks);
    if (!counted.error.isEmpty())
        return Failed(file, counted.error);
    if (counted.core.cancelled)
        return Failed(file, QStringLiteral("stopped before it was counted"));
    ImageResult result = countrun::Summarise(filenames::Display(file), counted);
    if (source.converted)
        source.original = OriginalIntensities(counted, source);
    result.source = source;
    imageoutputs::Write(used, outputs, counted, result);
    return result;
}

} // namespace

ImageResult Run(const QString& file, const CountSettings& settings, const ImageOutputs& outputs,
                const countrun::Hooks& hooks)
{
    // Running out of memory costs this image only; the batch goes on.
    try {
        return Count(file, settings, outputs, hooks);
    } catch (const std::bad_alloc&) {
        return Failed(file, QStringLiteral("out of memory while reading or counting this image"));
    } catch (const cv::Exception& e) {
        if (e.code == cv::Error::StsNoMem)
            return Failed(file, QStringLiteral("out of memory while reading or counting this image "
                                               "(%1)")
                                    .arg(QString::fromStdString(e.err).simplified()));
        return Failed(file, QStringLiteral("cannot be counted: %1")
                                .arg(QString::fromStdString(e.err).simplified()));
    }
}

} // namespace job
