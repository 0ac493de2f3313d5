#include "imageoutputs.h"

#include "checkedfile.h"
#include "picture.h"
#include "report.h"
#include "shapeoutputs.h"
#include "tablewriters.h"

#include <QFileInfo>
#include <QImage>

#include <QStringList>
#include <algorithm>

namespace imageoutputs {

void Write(const CountSettings& settings, const ImageOutputs& outputs,
           const countrun::CountResult& counted, ImageResult& result)
{
    QStringList settingsFiles;
    // The writers' reasons name the file already.
    auto written = [&](const QString& path, bool ok, const QString& error) {
        if (ok)
            result.outputs << path;
        else
            result.outputErrors << (error.startsWith(path)
                                        ? error
                                        : QStringLiteral("%1: %2").arg(path, error));
        return ok;
    };
    auto writeSettingsBeside = [&](const QString& path) {
        // Nothing goes beside a device, a pipe or standard output.
        if (!outputs::SettingsBesideAllowed(path))
            return;
        const QString sidecar = outputs::SettingsPathBeside(path);
        if (settingsFiles.contains(sidecar))
            return;
        settingsFiles << sidecar;
        QString error;
        written(sidecar,
                checkedfile::Write(
                    sidecar,
                    outputs::SettingsFile(settings, result.file, result.dish, &result.preparation),
                    &error),
                error);
    };

    // One picture for the report and the annotated file.
    QImage image;
    QByteArray png; // encoded once, for the report and the annotated file
    QString pictureError;
    if (outputs.pictures() && picture::EnsureGui(&pictureError)) {
        image = picture::Render(counted, picture::CurrentLook());
        if (!outputs.report.isEmpty() || !outputs.annotated.isEmpty())
            png = picture::Png(image);
        if (outputs.thumbnail && !image.isNull())
            result.thumbnail = picture::Jpeg(
                image.scaledToWidth(std::min(240, image.width()), Qt::SmoothTransformation));
        if (image.isNull())
            pictureError = QStringLiteral("there is no image to picture");
    }
    // The annotated file in the format its name asks for: JPEG for .jpg and
    // .jpeg, PNG otherwise.
    auto AnnotatedBytes = [&] {
        const QString suffix = QFileInfo(outputs.annotated).suffix().toLower();
        if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg"))
            return picture::Jpeg(image);
        return png;
    };
    if (!outputs.report.isEmpty()) {
        QString error = pictureError;
        const bool ok = error.isEmpty() && report::Write(outputs.report, counted, png, &error);
        if (written(outputs.report, ok, error))
            writeSettingsBeside(outputs.report);
    }
    if (!outputs.annotated.isEmpty()) {
        QString error = pictureError;
        const bool ok =
            error.isEmpty() && checkedfile::Write(outputs.annotated, AnnotatedBytes(), &error);
        written(outputs.annotated, ok, error);
    }
    // The data files: "-" is standard output.
    auto writeData = [&](const QString& path, const QByteArray& data) {
        QString error;
        const bool ok = path == QLatin1String("-") ? checkedfile::WriteStdout(data, &error)
                                                   : checkedfile::Write(path, data, &error);
        return written(path, ok, error);
    };
    const bool tabs =
        QFileInfo(outputs.table).suffix().compare(QLatin1String("tsv"), Qt::CaseInsensitive) == 0;
    if (!outputs.table.isEmpty() &&
        writeData(outputs.table, tabs ? outputs::TableTsv(result) : outputs::TableCsv(result)))
        writeSettingsBeside(outputs.table);
    if (!outputs.labels.isEmpty()) {
        QByteArray png;
        QString error;
        if (shapeoutputs::LabelPng(counted, &png, &error))
            writeData(outputs.labels, png);
        else
            written(outputs.labels, false, error);
    }
    if (!outputs.geojson.isEmpty())
        writeData(outputs.geojson, shapeoutputs::GeoJson(counted, result));
}

} // namespace imageoutputs
