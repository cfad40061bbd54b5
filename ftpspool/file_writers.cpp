#include "ftpspool/file_writers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <sys/vfs.h>

constexpr int64_t SETTLED_S = 5;

// These refuse every lease as if the file had a writer: NFS, SMB, CIFS, SMB2.
constexpr uint32_t WITHOUT_LEASES[] = {0x6969, 0x517b, 0xff534d42, 0xfe534d42};

static bool has_leases(int fd)
{
    struct statfs system = {};
    return fstatfs(fd, &system) == 0 &&
           std::ranges::find(WITHOUT_LEASES, static_cast<uint32_t>(system.f_type)) ==
               std::end(WITHOUT_LEASES);
}

// When somebody opens a leased file, the kernel signals its holder, by default with SIGIO, which would end
// the process. SIGURG is ignored.
writers_t writers_hold_off(int fd)
{
    if (fcntl(fd, F_SETSIG, SIGURG) == 0 && fcntl(fd, F_SETLEASE, F_RDLCK) == 0)
        return writers_t::NONE;
    return errno == EAGAIN && has_leases(fd) ? writers_t::SOME : writers_t::UNKNOWN;
}

bool has_settled(const struct stat &status, int64_t now_s)
{
    return std::abs(now_s - int64_t{status.st_mtim.tv_sec}) >= SETTLED_S;
}
