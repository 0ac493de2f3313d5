#pragma once

// Where checked output goes: the file a path names once links are followed,
// whether it is replaced (a regular or missing file) or written in place (a
// device, FIFO, socket or /dev path), and the registered temporary file that
// replaces it.

#include "fileops.h"

#include <QByteArray>
#include <QString>

#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace checkedfile::fileops {

// ---------------------------------------------------------------------------
// Where the data goes

struct Target
{
    std::string path;     ///< The file written: links resolved.
    bool inPlace = false; ///< A device, FIFO, socket or /dev path: opened, not replaced.
    bool exists = false;
    mode_t mode = 0;
};

/// Follows @p given to the file that is to be written and decides how.
bool ResolveTarget(const std::string& given, Target* target, QString* error);
/// Opens an existing device, FIFO or /dev path for writing, never creating it.
int OpenInPlace(const std::string& path, int* fd);
/// Writes @p data to the device or pipe at @p path, every step checked.
bool WriteInPlace(const std::string& path, const QByteArray& data, QString* error);

/// A temporary file beside the target, open for writing and registered for
/// the signal handler until it is renamed or removed.
class Temporary
{
public:
    ~Temporary() { Discard(); }

    bool Create(const Target& target, QString* error)
    {
        const std::string folder = DirName(target.path);
        const int folderErr = MakeFolders(folder);
        if (folderErr != 0)
            return Fail(error, folder, "cannot create the folder", folderErr);
        // Long names are cut, so that the temporary name still fits NAME_MAX.
        const std::string prefix =
            folder + "/." + BaseName(target.path).substr(0, kTemporaryNameMax) + kTemporaryMarker;
        for (int attempt = 0; attempt < 100; ++attempt) {
            const std::string candidate = prefix + RandomSuffix();
            fd_ =
                ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOCTTY | O_CLOEXEC, 0666);
            if (fd_ >= 0) {
                path_ = candidate;
                slot_ = RegisterTemporary(path_);
                break;
            }
            if (errno != EEXIST && errno != EINTR)
                return Fail(error, target.path, "cannot create a temporary file beside it", errno);
        }
        if (fd_ < 0)
            return Fail(error, target.path, "cannot create a temporary file beside it", EEXIST);
        // A replaced file keeps its permissions, as with any editor's save.
        if (target.exists && ::fchmod(fd_, target.mode & 0777) != 0)
            return Fail(error, path_, "cannot set the permissions", errno);
        return true;
    }

    int fd() const { return fd_; }
    const std::string& path() const { return path_; }

    /// Closes the descriptor, so that another writer can create the file by
    /// name; the temporary stays registered until committed or discarded.
    bool Seal(QString* error)
    {
        const int err = CloseFd(fd_);
        fd_ = -1;
        if (err != 0)
            return Fail(error, path_, "cannot close", err);
        return true;
    }

    /// Syncs the file that another writer made under the temporary name and
    /// renames it over @p target; an empty or missing file is an error.
    bool CommitByName(const std::string& target, const QString& what, QString* error)
    {
        int fd = -1;
        do {
            fd = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        } while (fd < 0 && errno == EINTR);
        if (fd < 0)
            return FailText(error, target, QStringLiteral("%1 was not written").arg(what));
        struct stat info;
        if (::fstat(fd, &info) != 0 || info.st_size == 0) {
            ::close(fd);
            return FailText(error, target, QStringLiteral("%1 was not written").arg(what));
        }
        const int syncErr = SyncFd(fd, false);
        const int closeErr = CloseFd(fd);
        if (syncErr != 0)
            return Fail(error, target, "cannot sync", syncErr);
        if (closeErr != 0)
            return Fail(error, target, "cannot close", closeErr);
        if (::rename(path_.c_str(), target.c_str()) != 0)
            return Fail(error, target, "cannot replace", errno);
        UnregisterTemporary(slot_);
        slot_ = -1;
        path_.clear();
        return true;
    }

    /// fsync, close and rename over @p target; the temporary is gone after.
    bool Commit(const std::string& target, QString* error)
    {
        int err = SyncFd(fd_, false);
        if (err != 0)
            return Fail(error, target, "cannot sync", err);
        err = CloseFd(fd_);
        fd_ = -1;
        if (err != 0)
            return Fail(error, target, "cannot close", err);
        if (::rename(path_.c_str(), target.c_str()) != 0)
            return Fail(error, target, "cannot replace", errno);
        UnregisterTemporary(slot_);
        slot_ = -1;
        path_.clear();
        return true;
    }

    /// The renamed file, still open for appending: the descriptor is handed over.
    bool CommitKeepingOpen(const std::string& target, int* fd, QString* error)
    {
        int err = SyncFd(fd_, false);
        if (err != 0)
            return Fail(error, target, "cannot sync", err);
        if (::rename(path_.c_str(), target.c_str()) != 0)
            return Fail(error, target, "cannot replace", errno);
        UnregisterTemporary(slot_);
        slot_ = -1;
        path_.clear();
        *fd = fd_;
        fd_ = -1;
        return true;
    }

private:
    void Discard()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
        if (!path_.empty())
            ::unlink(path_.c_str());
        path_.clear();
        UnregisterTemporary(slot_);
        slot_ = -1;
    }

    int fd_ = -1;
    int slot_ = -1;
    std::string path_;
};

} // namespace checkedfile::fileops
