// Its own file, because the caller's record has the caller's widths.
#include <sys/stat.h>

#include <sprig/files.h>

int stat_ex(const char *path, struct stat *statbuf) { return stat(path, statbuf); }
