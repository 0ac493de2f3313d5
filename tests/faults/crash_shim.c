/* A decoder that crashes or hangs on one file, for tests: loaded with
 * LD_PRELOAD, it aborts the process that opens a file whose path contains
 * CRASH_SHIM_PATTERN, as a decoder that meets a poisonous image would die;
 * with CRASH_SHIM_HANG set it stops there forever instead.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static void crash_on(const char* path)
{
    const char* pattern = getenv("CRASH_SHIM_PATTERN");
    if (path == NULL || pattern == NULL || pattern[0] == '\0' || strstr(path, pattern) == NULL)
        return;
    const char* hang = getenv("CRASH_SHIM_HANG");
    while (hang != NULL && hang[0] != '\0')
        pause();
    abort();
}

FILE* fopen(const char* path, const char* mode)
{
    static FILE* (*real_fopen)(const char*, const char*);
    if (real_fopen == NULL)
        real_fopen = (FILE * (*)(const char*, const char*)) dlsym(RTLD_NEXT, "fopen");
    crash_on(path);
    return real_fopen(path, mode);
}

FILE* fopen64(const char* path, const char* mode)
{
    static FILE* (*real_fopen64)(const char*, const char*);
    if (real_fopen64 == NULL)
        real_fopen64 = (FILE * (*)(const char*, const char*)) dlsym(RTLD_NEXT, "fopen64");
    crash_on(path);
    return real_fopen64(path, mode);
}

int open(const char* path, int flags, ...)
{
    static int (*real_open)(const char*, int, ...);
    if (real_open == NULL)
        real_open = (int (*)(const char*, int, ...))dlsym(RTLD_NEXT, "open");
    crash_on(path);
    mode_t mode = 0;
    if (flags & (O_CREAT | O_TMPFILE)) {
        va_list arguments;
        va_start(arguments, flags);
        mode = (mode_t)va_arg(arguments, int);
        va_end(arguments);
    }
    return real_open(path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    static int (*real_open64)(const char*, int, ...);
    if (real_open64 == NULL)
        real_open64 = (int (*)(const char*, int, ...))dlsym(RTLD_NEXT, "open64");
    crash_on(path);
    mode_t mode = 0;
    if (flags & (O_CREAT | O_TMPFILE)) {
        va_list arguments;
        va_start(arguments, flags);
        mode = (mode_t)va_arg(arguments, int);
        va_end(arguments);
    }
    return real_open64(path, flags, mode);
}
