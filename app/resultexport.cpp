#include "resultexport.h"

#include "checkedfile.h"
#include "controllerresult.h"
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
QImage Picture(const countrun::CountResult& result)
{
    return picture::Render(result,
                           AutoCountManager::targetDrawPropertyManager.GetTargetDrawProperty());
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

bool WriteReport(const AutoCountManager* manager, const QString& path, QString* error)
{
    if (!FolderExists(path, error))
        return false;
    const countrun::CountResult result = countrun::FromController(*manager);
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

bool WriteTable(const AutoCountManager* manager, const QString& path, const CountSettings& settings,
                const QString& image, QString* error)
{
    if (!FolderExists(path, error))
        return false;
    const ImageResult result = countrun::Summarise(image, countrun::FromController(*manager));
    return checkedfile::Write(path, outputs::TableCsv(result), error) &&
           WriteSettingsBeside(path, settings, image, error);
}

bool WriteAnnotatedImage(const AutoCountManager* manager, const QString& path, QString* error)
{
    if (!FolderExists(path, error))
        return false;
    const QImage image = Picture(countrun::FromController(*manager));
    if (image.isNull()) {
        if (error)
            *error = Tr("%1: there is no image to save").arg(path);
        return false;
    }
    return checkedfile::Write(path, picture::Png(image), error);
}

} // namespace ResultExport
