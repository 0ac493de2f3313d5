/* LD_PRELOAD shim: every allocation of AUTOCOUNT_TEST_ALLOC_LIMIT bytes or
 * more fails, as it does when memory runs out; smaller ones go through. */
#define _GNU_SOURCE
#include <errno.h>
#include <stdlib.h>

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* pointer, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);

static size_t Limit(void)
{
    static size_t limit = 0;
    if (limit == 0) {
        const char* text = getenv("AUTOCOUNT_TEST_ALLOC_LIMIT");
        limit = text ? strtoull(text, NULL, 10) : 0;
        if (limit == 0)
            limit = (size_t)-1;
    }
    return limit;
}

void* malloc(size_t size)
{
    if (size >= Limit())
        return NULL;
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size)
{
    if (size != 0 && count >= Limit() / size)
        return NULL;
    return __libc_calloc(count, size);
}

void* realloc(void* pointer, size_t size)
{
    if (size >= Limit())
        return NULL;
    return __libc_realloc(pointer, size);
}

int posix_memalign(void** out, size_t alignment, size_t size)
{
    if (size >= Limit())
        return ENOMEM;
    void* p = __libc_memalign(alignment, size);
    if (!p)
        return ENOMEM;
    *out = p;
    return 0;
}

void* aligned_alloc(size_t alignment, size_t size)
{
    if (size >= Limit())
        return NULL;
    return __libc_memalign(alignment, size);
}

void* memalign(size_t alignment, size_t size)
{
    if (size >= Limit())
        return NULL;
    return __libc_memalign(alignment, size);
}
