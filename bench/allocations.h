#pragma once

#include <cstddef>

/// How many blocks the whole process has taken from malloc, calloc and realloc so far. The program
/// must contain bench/allocations.cpp, which replaces these functions of the C library.
size_t allocationCount();
