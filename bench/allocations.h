#pragma once

#include <cstddef>

/// Counts the blocks that the whole process has taken from malloc, calloc and realloc so far. Only
/// where bench/allocations.cpp is linked into the program, which puts itself before the C library's
/// functions.
size_t allocationCount();
