#include "job.h"

#include "bitdepth.h"
#include "filenames.h"
#include "imageinput.h"

#include <opencv2/core/utility.hpp>

#include <malloc.h>
#include <new>

namespace job {
namespace {

/// Buffers of this size and more are mapped on their own (4 MB).
constexpr int kLargeBuffer = 4 << 20;

} // namespace

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

Counted CountFile(const QString& file, const CountSettings& settings, const countrun::Hooks& hooks)
{
    Counted image;
    const InputImage input = ReadImage(file, settings.input);
    if (!input.ok()) {
        image.result = Failed(file, input.error);
        return image;
    }

    // The calibration of this image: the option's, or the pixel size the file
    // declares; the settings written beside its outputs say which.
    ImageSource source = input.source;
    Calibrate(settings, input.pixelSize, source);
    image.used = settings;
    image.used.scale = source.scale;
    image.used.unit = source.unit;
    image.used.input.calibrationSource = source.calibrationSource;

    image.counted = countrun::Count(input.image, image.used, hooks);
    if (!image.counted.error.isEmpty()) {
        image.result = Failed(file, image.counted.error);
        return image;
    }
    if (image.counted.core.cancelled) {
        image.result = Failed(file, QStringLiteral("stopped before it was counted"));
        return image;
    }
    image.result = countrun::Summarise(filenames::Display(file), image.counted);
    if (source.converted)
        source.original = OriginalIntensities(image.counted, source);
    image.result.source = source;
    return image;
}

/// Runs @p work; running out of memory costs this image only, and the batch
/// goes on.
template <class Work> ImageResult Guarded(const QString& file, Work work)
{
    try {
        return work();
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

} // namespace

Counted Count(const QString& file, const CountSettings& settings, const countrun::Hooks& hooks)
{
    Counted image;
    image.result = Guarded(file, [&] {
        image = CountFile(file, settings, hooks);
        return image.result;
    });
    return image;
}

ImageResult Write(Counted image, const ImageOutputs& outputs)
{
    if (!image.result.ok())
        return image.result;
    return Guarded(image.result.file, [&] {
        imageoutputs::Write(image.used, outputs, image.counted, image.result);
        return image.result;
    });
}

ImageResult Run(const QString& file, const CountSettings& settings, const ImageOutputs& outputs,
                const countrun::Hooks& hooks)
{
    return Write(Count(file, settings, hooks), outputs);
}

void ReleaseFreedMemory()
{
    malloc_trim(0);
}

void KeepLargeBuffersApart()
{
    // Left to itself, the allocator raises its threshold for mapping a
    // buffer of its own each time such a buffer is freed, and then serves
    // the next image's planes from heaps that two images at a time leave
    // fragmented: the footprint creeps up over a long batch. A fixed
    // threshold gives every buffer of 4 MB or more (a grey plane of four
    // megapixels, a colour one of under two) its own mapping,
    // returned whole when it is freed.
    mallopt(M_MMAP_THRESHOLD, kLargeBuffer);
}

void SetThreadsPerCount(int threads)
{
    cv::setNumThreads(threads);
}

} // namespace job
