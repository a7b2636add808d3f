#include "simulator/journal/file_claim.h"

#include <cerrno>
#include <sys/file.h>
#include <sys/stat.h>

bool sim::Claim(int fd, Use use)
{
    struct stat found {};
    const int lock = (use == Use::Reads ? LOCK_SH : LOCK_EX) | LOCK_NB;
    // Some file systems have no locks: their files are used all the same.
    return fstat(fd, &found) != 0 || !S_ISREG(found.st_mode) || flock(fd, lock) == 0 ||
           errno != EWOULDBLOCK;
}
