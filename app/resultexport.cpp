#include "resultexport.h"

#include "checkedfile.h"
#include "picture.h"
#include "report.h"
#include "tablewriters.h"

#include "autocount/autocountmanager.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QImage>

namespace {

QString Tr(const char* text)
{
    return QCoreApplication::translate("ResultExport", text);
}

/// The results' picture in the look the user chose for the targets.
QImage Picture(const countrun::CountResult& result,
               const picture::Options& options = picture::Options())
{
    return picture::Render(
        result, AutoCountManager::targetDrawPropertyManager.GetTargetDrawProperty(), options);
}

bool FolderExists(const QString& path, QString* error)
{
    if (QFileInfo(path).absoluteDir().exists())
        return true;
    if (error)
        *error = Tr("%1: the folder does not exist").arg(path);
    return false;
}

} // namespace

namespace ResultExport {

bool WriteReport(const countrun::CountResult& result, const QString& path, QString* error)
{
    if (!FolderExists(path, error))
        return false;
    if (report::Write(path, result, picture::Png(Picture(result)), error))
        return true;
    return false;
}

bool WriteSettings(const QString& path, const CountSettings& settings, const QString& image,
                   QString* error)
{
    if (!FolderExists(path, error))
        return false;
    return checkedfile::Write(path, outputs::SettingsFile(settings, image), error);
}

bool WriteSettingsBeside(const QString& path, const CountSettings& settings, const QString& image,
                         QString* error)
{
    if (!outputs::SettingsBesideAllowed(path))
        return true;
    return checkedfile::Write(outputs::SettingsPathBeside(path),
                              outputs::SettingsFile(settings, image), error);
}

bool WriteTable(const countrun::CountResult& result, const QString& path,
                const CountSettings& settings, const QString& image, QString* error)
{
    if (!FolderExists(path, error))
        return false;
    return checkedfile::Write(path, outputs::TableCsv(countrun::Summarise(image, result)), error) &&
           WriteSettingsBeside(path, settings, image, error);
}

bool WriteAnnotatedImage(const countrun::CountResult& result, const QString& path, QString* error,
                         const picture::Options& options)
{
    if (!FolderExists(path, error))
        return false;
    const QImage image = Picture(result, options);
    if (image.isNull()) {
        if (error)
            *error = Tr("%1: there is no image to save").arg(path);
        return false;
    }
    return checkedfile::Write(path, picture::Png(image), error);
}

} // namespace ResultExport
