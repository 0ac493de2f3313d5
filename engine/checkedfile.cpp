#include "checkedfile.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace checkedfile {
namespace {

constexpr const char kTemporaryMarker[] = ".autocount-";
constexpr int kTemporarySuffixLength = 6;
constexpr size_t kTemporaryNameMax = 200;

// ---------------------------------------------------------------------------
// Temporary files currently open, for a signal handler. Slots are claimed
// with a compare-and-swap and published with a release store; the handler
// reads only published slots and calls nothing but unlink(2).

constexpr int kRegistrySlots = 32;
enum SlotState : int
{
    kFree = 0,
    kFilling = 1,
    kPublished = 2
};
static_assert(std::atomic<int>::is_always_lock_free, "the signal registry needs lock-free atomics");

struct RegistrySlot
{
    std::atomic<int> state{kFree};
    char path[PATH_MAX];
};
RegistrySlot registry[kRegistrySlots];

/// Records @p path; returns the slot, or -1 when the table is full or the
/// path too long (the file is then still removed on every error path, only
/// not by a signal handler).
int RegisterTemporary(const std::string& path)
{
    if (path.size() >= PATH_MAX)
        return -1;
    for (int i = 0; i < kRegistrySlots; ++i) {
        int expected = kFree;
        if (registry[i].state.compare_exchange_strong(expected, kFilling)) {
            std::memcpy(registry[i].path, path.c_str(), path.size() + 1);
            registry[i].state.store(kPublished, std::memory_order_release);
            return i;
        }
    }
    return -1;
}

void UnregisterTemporary(int slot)
{
    if (slot >= 0)
        registry[slot].state.store(kFree, std::memory_order_release);
}

// ---------------------------------------------------------------------------
// Errors

QString Native(const std::string& path)
{
    return QFile::decodeName(QByteArray::fromStdString(path));
}

QString ReasonFor(int err)
{
    if (err == 0)
        return QStringLiteral("the system reported no progress and no error");
    char buffer[256];
    // GNU strerror_r: returns the text, which may or may not be in buffer.
    const char* text = strerror_r(err, buffer, sizeof buffer);
    if (text == nullptr || std::strncmp(text, "Unknown error", 13) == 0)
        return QStringLiteral("system error %1").arg(err);
    return QString::fromLocal8Bit(text);
}

/// "<path>: <what>: <strerror(err)>", into @p error when given. Returns false.
bool Fail(QString* error, const std::string& path, const char* what, int err)
{
    if (error)
        *error =
            QStringLiteral("%1: %2: %3").arg(Native(path), QLatin1String(what), ReasonFor(err));
    return false;
}

bool FailText(QString* error, const std::string& path, const QString& text)
{
    if (error)
        *error = QStringLiteral("%1: %2").arg(Native(path), text);
    return false;
}

// ---------------------------------------------------------------------------
// System calls, checked

/// Writes all of @p size bytes, retrying after EINTR and short writes.
/// Returns 0 or the errno value.
int WriteAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        if (written == 0)
            return ENOSPC; // write(2) of a regular file makes progress or fails
        data += written;
        size -= static_cast<size_t>(written);
    }
    return 0;
}

/// fsync(2); on devices, FIFOs and sockets EINVAL (nothing to sync) is success.
int SyncFd(int fd, bool inPlace)
{
    while (::fsync(fd) != 0) {
        if (errno == EINTR)
            continue;
        if (inPlace && (errno == EINVAL || errno == EROFS || errno == ENOTSUP))
            return 0;
        return errno;
    }
    return 0;
}

/// close(2). On Linux the descriptor is gone even after EINTR, and the data
/// was synced before, so EINTR is not a loss.
int CloseFd(int fd)
{
    if (::close(fd) != 0 && errno != EINTR)
        return errno;
    return 0;
}

std::string DirName(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

std::string BaseName(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool StartsWithDev(const std::string& path)
{
    return path.compare(0, 5, "/dev/") == 0;
}

/// Creates @p folder and its missing parents (mode 0777 & ~umask).
int MakeFolders(const std::string& folder)
{
    struct stat info;
    if (::stat(folder.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
    size_t at = 0;
    while (at != std::string::npos) {
        at = folder.find('/', at + 1);
        const std::string prefix = folder.substr(0, at);
        if (prefix.empty() || prefix == "." || prefix == "..")
            continue;
        if (::mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST)
            return errno;
    }
    if (::stat(folder.c_str(), &info) != 0)
        return errno;
    return S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
}

/// fsync(2) of a folder, so that a rename in it survives a crash. File
/// systems that cannot sync folders answer EINVAL; that is not an error.
int SyncFolder(const std::string& folder)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    int err = SyncFd(fd, false);
    if (err == EINVAL)
        err = 0;
    const int closeErr = CloseFd(fd);
    return err != 0 ? err : closeErr;
}

/// Six random letters and digits for a temporary name.
std::string RandomSuffix()
{
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    static std::atomic<unsigned> counter{0};
    unsigned char bytes[kTemporarySuffixLength];
    if (::getrandom(bytes, sizeof bytes, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof bytes)) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        unsigned long long mix = static_cast<unsigned long long>(now.tv_nsec) ^
                                 (static_cast<unsigned long long>(::getpid()) << 20) ^
                                 (static_cast<unsigned long long>(counter++) << 40);
        for (unsigned char& byte : bytes) {
            mix = mix * 6364136223846793005ULL + 1442695040888963407ULL;
            byte = static_cast<unsigned char>(mix >> 56);
        }
    }
    std::string suffix;
    for (unsigned char byte : bytes)
        suffix += alphabet[byte % (sizeof alphabet - 1)];
    return suffix;
}

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

bool IsTemporaryName(const char* name)
{
    if (name[0] != '.')
        return false;
    const char* marker = std::strstr(name + 1, kTemporaryMarker);
    if (marker == nullptr || marker == name + 1)
        return false;
    // The last marker is the one: the file's own name may contain it.
    const char* next;
    while ((next = std::strstr(marker + 1, kTemporaryMarker)) != nullptr)
        marker = next;
    const char* suffix = marker + sizeof kTemporaryMarker - 1;
    if (std::strlen(suffix) != kTemporarySuffixLength)
        return false;
    for (const char* c = suffix; *c; ++c) {
        const bool alnum =
            (*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z') || (*c >= '0' && *c <= '9');
        if (!alnum)
            return false;
    }
    return true;
}

} // namespace

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
    for (RegistrySlot& slot : registry) {
        if (slot.state.load(std::memory_order_acquire) == kPublished)
            ::unlink(slot.path);
    }
}

} // namespace checkedfile
