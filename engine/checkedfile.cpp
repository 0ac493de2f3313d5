#include "checkedfile.h"

#include "fileops.h"
#include "filetarget.h"

#include <QFile>

#include <cerrno>
#include <ctime>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace checkedfile {

using namespace fileops;

bool Write(const QString& path, const QByteArray& data, QString* error)
{
    Target target;
    if (!ResolveTarget(QFile::encodeName(path).toStdString(), &target, error))
        return false;
    if (target.inPlace)
        return WriteInPlace(target.path, data, error);
    Temporary temporary;
    if (!temporary.Create(target, error))
        return false;
    const int err = WriteAll(temporary.fd(), data.constData(), static_cast<size_t>(data.size()));
    if (err != 0)
        return Fail(error, target.path, "cannot write", err);
    if (!temporary.Commit(target.path, error))
        return false;
    const std::string folder = DirName(target.path);
    const int folderErr = SyncFolder(folder);
    if (folderErr != 0)
        return Fail(error, folder, "cannot sync the folder", folderErr);
    return true;
}

bool Place(const QString& path, const QString& what,
           const std::function<void(const QString& temporary)>& make, QString* error)
{
    Target target;
    if (!ResolveTarget(QFile::encodeName(path).toStdString(), &target, error))
        return false;
    if (target.inPlace)
        return FailText(error, target.path,
                        QStringLiteral("%1 needs a regular file, not a device or pipe").arg(what));
    Temporary temporary;
    if (!temporary.Create(target, error) || !temporary.Seal(error))
        return false;
    make(Native(temporary.path()));
    if (!temporary.CommitByName(target.path, what, error))
        return false;
    const std::string folder = DirName(target.path);
    const int folderErr = SyncFolder(folder);
    if (folderErr != 0)
        return Fail(error, folder, "cannot sync the folder", folderErr);
    return true;
}

// ---------------------------------------------------------------------------

AppendFile::~AppendFile()
{
    if (fd_ >= 0)
        ::close(fd_);
}

bool AppendFile::Open(const QString& path, const QByteArray& header, QString* error)
{
    if (fd_ >= 0)
        return FailText(error, QFile::encodeName(path_).toStdString(),
                        QStringLiteral("is open already"));
    Target target;
    if (!ResolveTarget(QFile::encodeName(path).toStdString(), &target, error))
        return false;
    if (target.inPlace) {
        int fd = -1;
        int err = OpenInPlace(target.path, &fd);
        if (err != 0)
            return Fail(error, target.path, "cannot open", err);
        err = WriteAll(fd, header.constData(), static_cast<size_t>(header.size()));
        if (err != 0) {
            ::close(fd);
            return Fail(error, target.path, "cannot write", err);
        }
        fd_ = fd;
        inPlace_ = true;
        path_ = Native(target.path);
        return true;
    }
    Temporary temporary;
    if (!temporary.Create(target, error))
        return false;
    const int err =
        WriteAll(temporary.fd(), header.constData(), static_cast<size_t>(header.size()));
    if (err != 0)
        return Fail(error, target.path, "cannot write", err);
    int fd = -1;
    if (!temporary.CommitKeepingOpen(target.path, &fd, error))
        return false;
    fd_ = fd;
    inPlace_ = false;
    path_ = Native(target.path);
    const std::string folder = DirName(target.path);
    const int folderErr = SyncFolder(folder);
    if (folderErr != 0)
        return Fail(error, folder, "cannot sync the folder", folderErr);
    return true;
}

bool AppendFile::Append(const QByteArray& data, QString* error)
{
    const std::string path = QFile::encodeName(path_).toStdString();
    if (fd_ < 0)
        return FailText(error, path, QStringLiteral("is not open"));
    const int err = WriteAll(fd_, data.constData(), static_cast<size_t>(data.size()));
    if (err != 0)
        return Fail(error, path, "cannot write", err);
    return true;
}

bool AppendFile::Sync(QString* error)
{
    const std::string path = QFile::encodeName(path_).toStdString();
    if (fd_ < 0)
        return FailText(error, path, QStringLiteral("is not open"));
    const int err = SyncFd(fd_, inPlace_);
    if (err != 0)
        return Fail(error, path, "cannot sync", err);
    return true;
}

bool AppendFile::Close(QString* error)
{
    const std::string path = QFile::encodeName(path_).toStdString();
    if (fd_ < 0)
        return FailText(error, path, QStringLiteral("is not open"));
    const int syncErr = SyncFd(fd_, inPlace_);
    const int closeErr = CloseFd(fd_);
    fd_ = -1;
    if (syncErr != 0)
        return Fail(error, path, "cannot sync", syncErr);
    if (closeErr != 0)
        return Fail(error, path, "cannot close", closeErr);
    return true;
}

// ---------------------------------------------------------------------------

bool WriteStdout(const QByteArray& data, QString* error)
{
    const int err = WriteAll(STDOUT_FILENO, data.constData(), static_cast<size_t>(data.size()));
    if (err != 0)
        return FailText(error, "standard output",
                        QStringLiteral("cannot write: %1").arg(ReasonFor(err)));
    return true;
}

bool CloseStdout(QString* error)
{
    const std::string name = "standard output";
    if (std::fflush(stdout) != 0 || std::ferror(stdout))
        return FailText(error, name,
                        QStringLiteral("cannot write: %1").arg(ReasonFor(errno ? errno : EIO)));
    const int syncErr = SyncFd(STDOUT_FILENO, true);
    const int closeErr = CloseFd(STDOUT_FILENO);
    // Keep fd 1 taken, so that no file opened later receives stray output.
    const int null = ::open("/dev/null", O_WRONLY);
    if (null >= 0 && null != STDOUT_FILENO) {
        ::dup2(null, STDOUT_FILENO);
        ::close(null);
    }
    if (syncErr != 0)
        return FailText(error, name, QStringLiteral("cannot sync: %1").arg(ReasonFor(syncErr)));
    if (closeErr != 0)
        return FailText(error, name, QStringLiteral("cannot close: %1").arg(ReasonFor(closeErr)));
    return true;
}

int RemoveStaleTemporaries(const QString& folder, qint64 olderThanSeconds, QString* error)
{
    const std::string path = QFile::encodeName(folder).toStdString();
    DIR* dir = ::opendir(path.c_str());
    if (dir == nullptr) {
        Fail(error, path, "cannot read the folder", errno);
        return -1;
    }
    const int dirFd = ::dirfd(dir);
    const time_t limit = ::time(nullptr) - static_cast<time_t>(olderThanSeconds);
    int removed = 0;
    errno = 0;
    while (const dirent* entry = ::readdir(dir)) {
        if (!IsTemporaryName(entry->d_name))
            continue;
        struct stat info;
        if (::fstatat(dirFd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISREG(info.st_mode) && info.st_mtime < limit &&
            ::unlinkat(dirFd, entry->d_name, 0) == 0)
            ++removed;
        errno = 0;
    }
    const int readErr = errno;
    ::closedir(dir);
    if (readErr != 0) {
        Fail(error, path, "cannot read the folder", readErr);
        return -1;
    }
    return removed;
}

void RemoveTemporariesForSignal()
{
    RemoveRegistered();
}

} // namespace checkedfile
