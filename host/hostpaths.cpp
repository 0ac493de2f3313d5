#include "host/hostpaths.h"

#include <QDir>
#include <QTemporaryDir>

#include <memory>
#include <mutex>

namespace {

std::mutex pathMutex;
QString chosenDirectory;

QString TemporaryDirectory()
{
    // Created on first use and removed when the process ends.
    static std::unique_ptr<QTemporaryDir> directory;
    if (!directory)
        directory = std::make_unique<QTemporaryDir>(QDir::tempPath() + "/autocount-XXXXXX");
    return directory->path();
}

} // namespace

namespace HostPaths {

QString SettingsDirectory()
{
    std::lock_guard<std::mutex> lock(pathMutex);
    return chosenDirectory.isEmpty() ? TemporaryDirectory() : chosenDirectory;
}

QString SettingsPath(const QString& name)
{
    return QDir(SettingsDirectory()).filePath(name);
}

void SetSettingsDirectory(const QString& directory)
{
    std::lock_guard<std::mutex> lock(pathMutex);
    chosenDirectory = directory;
}

} // namespace HostPaths
