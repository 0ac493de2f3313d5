#include "filetarget.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace checkedfile::fileops {

/// Follows @p given to the file that is to be written and decides how.
bool ResolveTarget(const std::string& given, Target* target, QString* error)
{
    if (given.empty())
        return FailText(error, given, QStringLiteral("no file name given"));
    target->path = given;
    if (StartsWithDev(given)) {
        target->inPlace = true;
        return true;
    }
    struct stat info;
    if (::stat(given.c_str(), &info) == 0) {
        char resolved[PATH_MAX];
        if (::realpath(given.c_str(), resolved) == nullptr)
            return Fail(error, given, "cannot resolve the path", errno);
        target->path = resolved;
        target->exists = true;
        target->mode = info.st_mode;
        if (S_ISDIR(info.st_mode))
            return FailText(error, given, QStringLiteral("is a folder, not a file"));
        target->inPlace = !S_ISREG(info.st_mode) || StartsWithDev(target->path);
        return true;
    }
    if (errno != ENOENT)
        return Fail(error, given, "cannot look up the file", errno);
    // Missing, or a link that dangles: follow the links to the file to create.
    std::string current = given;
    for (int hop = 0; hop < 40; ++hop) {
        struct stat linkInfo;
        if (::lstat(current.c_str(), &linkInfo) != 0) {
            if (errno != ENOENT)
                return Fail(error, current, "cannot look up the file", errno);
            target->path = current;
            target->inPlace = StartsWithDev(current);
            return true;
        }
        if (!S_ISLNK(linkInfo.st_mode))
            return Fail(error, given, "cannot look up the file", ENOENT);
        char link[PATH_MAX];
        const ssize_t length = ::readlink(current.c_str(), link, sizeof link - 1);
        if (length < 0)
            return Fail(error, current, "cannot read the link", errno);
        link[length] = '\0';
        if (link[0] == '/')
            current = link;
        else
            current = DirName(current) + "/" + link;
    }
    return Fail(error, given, "cannot follow the link", ELOOP);
}

/// Opens an existing device, FIFO or /dev path for writing, never creating it.
int OpenInPlace(const std::string& path, int* fd)
{
    do {
        *fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC);
    } while (*fd < 0 && errno == EINTR);
    return *fd < 0 ? errno : 0;
}

bool WriteInPlace(const std::string& path, const QByteArray& data, QString* error)
{
    int fd = -1;
    int err = OpenInPlace(path, &fd);
    if (err != 0)
        return Fail(error, path, "cannot open", err);
    err = WriteAll(fd, data.constData(), static_cast<size_t>(data.size()));
    if (err != 0) {
        ::close(fd);
        return Fail(error, path, "cannot write", err);
    }
    err = SyncFd(fd, true);
    if (err != 0) {
        ::close(fd);
        return Fail(error, path, "cannot sync", err);
    }
    err = CloseFd(fd);
    if (err != 0)
        return Fail(error, path, "cannot close", err);
    return true;
}

} // namespace checkedfile::fileops
