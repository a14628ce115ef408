#include "bench/allocations.h"

#include <atomic>

// The C library's own functions behind the standard names.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
}

namespace {
std::atomic<size_t> allocations{0};
}

size_t allocationCount() { return allocations; }

extern "C" {

__attribute__((visibility("default"))) void *malloc(size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void *realloc(void *block, size_t size)
{
    ++allocations;
    return __libc_realloc(block, size);
}
}
