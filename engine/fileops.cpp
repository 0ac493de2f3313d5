#include "fileops.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace checkedfile::fileops {
namespace {

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

} // namespace

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

void RemoveRegistered()
{
    for (RegistrySlot& slot : registry) {
        if (slot.state.load(std::memory_order_acquire) == kPublished)
            ::unlink(slot.path);
    }
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

} // namespace checkedfile::fileops
