// Preloaded into a program to simulate a disk that accepts everything and reports only on sync that
// there was no room, as a network home over quota does.
#include <cerrno>

extern "C" {

__attribute__((visibility("default"))) int fsync(int)
{
    errno = EDQUOT;
    return -1;
}

__attribute__((visibility("default"))) int fdatasync(int file) { return fsync(file); }
}
