// Loaded before a program: a disk that takes everything and then says that it is too much, as a
// home over quota on a network does.
#include <cerrno>

extern "C" {

__attribute__((visibility("default"))) int fsync(int)
{
    errno = EDQUOT;
    return -1;
}

__attribute__((visibility("default"))) int fdatasync(int file) { return fsync(file); }
}
