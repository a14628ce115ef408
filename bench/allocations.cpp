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

// Only one thread measures, so the costly increment of an atomic isn't needed.
void countOne()
{
    allocations.store(allocations.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}
}

size_t allocationCount() { return allocations; }

extern "C" {

__attribute__((visibility("default"))) void *malloc(size_t size)
{
    countOne();
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size)
{
    countOne();
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void *realloc(void *block, size_t size)
{
    countOne();
    return __libc_realloc(block, size);
}
}
