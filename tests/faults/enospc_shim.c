/* A full disk for one file, for tests: loaded with LD_PRELOAD, it makes
 * write(2), writev(2) and, if asked, fsync(2) fail with ENOSPC on files whose
 * path contains a pattern, as a file system that has run out of space would.
 *
 *   ENOSPC_SHIM_PATTERN  part of the path of the files to fail (required)
 *   ENOSPC_SHIM_AFTER    bytes to those files that still succeed (default 0);
 *                        the write that crosses the limit is cut short
 *   ENOSPC_SHIM_FSYNC    if set, fsync(2) and fdatasync(2) of those files fail too
 *   ENOSPC_SHIM_SIGNAL   if set to a signal number, the first write to such a
 *                        file, or the first fsync(2) of one (a file that a
 *                        library writes through stdio is caught when it is
 *                        synced), raises that signal, once per process
 *   ENOSPC_SHIM_SHORT    if set to n, each write to those files moves at most n
 *                        bytes (short writes, as on a pipe or a slow device)
 *   ENOSPC_SHIM_EINTR    if set, every other write to those files fails with
 *                        EINTR first, as when a signal arrives during it
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

static long long written_so_far;

static int matches(int fd)
{
    const char* pattern = getenv("ENOSPC_SHIM_PATTERN");
    if (pattern == NULL || pattern[0] == '\0')
        return 0;
    char link[64];
    char path[4096];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const int saved = errno;
    const ssize_t length = readlink(link, path, sizeof path - 1);
    errno = saved;
    if (length < 0)
        return 0;
    path[length] = '\0';
    return strstr(path, pattern) != NULL;
}

/* Raises ENOSPC_SHIM_SIGNAL, the first time only. */
static void raise_once(void)
{
    static int raised;
    const char* signal_number = getenv("ENOSPC_SHIM_SIGNAL");
    if (raised || signal_number == NULL || signal_number[0] == '\0')
        return;
    raised = 1;
    raise(atoi(signal_number));
}

static long long limit(void)
{
    const char* after = getenv("ENOSPC_SHIM_AFTER");
    return after ? atoll(after) : 0;
}

/* How many of @p size bytes may go through; -1 with errno set if none. */
static ssize_t allowance(int fd, size_t size)
{
    if (!matches(fd))
        return (ssize_t)size;
    raise_once();
    const char* interrupt = getenv("ENOSPC_SHIM_EINTR");
    static int interrupted;
    if (interrupt != NULL && interrupt[0] != '\0' && (interrupted = !interrupted)) {
        errno = EINTR;
        return -1;
    }
    const long long left = limit() - written_so_far;
    if (left <= 0) {
        errno = ENOSPC;
        return -1;
    }
    size_t allowed = (size_t)left < size ? (size_t)left : size;
    const char* shortest = getenv("ENOSPC_SHIM_SHORT");
    if (shortest != NULL && atoll(shortest) > 0 && (size_t)atoll(shortest) < allowed)
        allowed = (size_t)atoll(shortest);
    return (ssize_t)allowed;
}

ssize_t write(int fd, const void* data, size_t size)
{
    static ssize_t (*real_write)(int, const void*, size_t);
    if (real_write == NULL)
        real_write = (ssize_t(*)(int, const void*, size_t))dlsym(RTLD_NEXT, "write");
    if (size == 0)
        return real_write(fd, data, size);
    const ssize_t allowed = allowance(fd, size);
    if (allowed < 0)
        return -1;
    const ssize_t written = real_write(fd, data, (size_t)allowed);
    if (written > 0 && matches(fd))
        written_so_far += written;
    return written;
}

ssize_t writev(int fd, const struct iovec* vectors, int count)
{
    static ssize_t (*real_writev)(int, const struct iovec*, int);
    if (real_writev == NULL)
        real_writev = (ssize_t(*)(int, const struct iovec*, int))dlsym(RTLD_NEXT, "writev");
    if (!matches(fd))
        return real_writev(fd, vectors, count);
    /* Matching files get at most their first buffer's allowance, one write. */
    for (int i = 0; i < count; ++i) {
        if (vectors[i].iov_len > 0)
            return write(fd, vectors[i].iov_base, vectors[i].iov_len);
    }
    return 0;
}

static int fail_sync(int fd)
{
    if (matches(fd))
        raise_once();
    const char* sync = getenv("ENOSPC_SHIM_FSYNC");
    return sync != NULL && sync[0] != '\0' && matches(fd);
}

int fsync(int fd)
{
    static int (*real_fsync)(int);
    if (real_fsync == NULL)
        real_fsync = (int (*)(int))dlsym(RTLD_NEXT, "fsync");
    if (fail_sync(fd)) {
        errno = ENOSPC;
        return -1;
    }
    return real_fsync(fd);
}

int fdatasync(int fd)
{
    static int (*real_fdatasync)(int);
    if (real_fdatasync == NULL)
        real_fdatasync = (int (*)(int))dlsym(RTLD_NEXT, "fdatasync");
    if (fail_sync(fd)) {
        errno = ENOSPC;
        return -1;
    }
    return real_fdatasync(fd);
}
