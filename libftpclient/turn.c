#include "libftpclient/turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

enum { TURN_FILE_MODE = 0666 }; /* less the umask: all users of the socket should be able to take turns */

/* First without O_CREAT, which in a sticky folder is refused for another user's file. Read access is enough
 * for the turn, but not for a place in the queue. */
static int open_file(const char *path)
{
    const int options = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    int fd = open(path, O_RDWR | options);
    if (fd == -1)
        fd = open(path, O_RDWR | O_CREAT | options, TURN_FILE_MODE);
    const int error = errno; /* why it cannot be opened for writing or created */
    if (fd == -1)
        fd = open(path, O_RDONLY | options);
    if (fd == -1)
        errno = error;
    return fd;
}

FTPC int ftpc_turn_open(ftpc_turn_t *turn, const char *path)
{
    memset(turn, 0, sizeof *turn);
    turn->fd = open_file(path);
    if (turn->fd == -1)
        return errno;
    struct stat status;
    if (fstat(turn->fd, &status) == -1 || !S_ISREG(status.st_mode)) {
        ftpc_close(&turn->fd);
        return EINVAL;
    }
    return 0;
}

/* `length` bytes of the queue starting at `from`; 0 means all. */
static struct flock part_of_line(short type, int64_t from, int64_t length)
{
    struct flock part;
    memset(&part, 0, sizeof part);
    part.l_type = type;
    part.l_whence = SEEK_SET;
    part.l_start = from;
    part.l_len = length;
    return part;
}

/* The first lock of another program at or after byte `from`, or F_UNLCK. */
static struct flock lock_at(int fd, int64_t from, int64_t length)
{
    struct flock lock = part_of_line(F_WRLCK, from, length);
    if (fcntl(fd, F_OFD_GETLK, &lock) == -1)
        lock.l_type = F_UNLCK;
    return lock;
}

static int set_lock(int fd, short type, int64_t at)
{
    struct flock lock = part_of_line(type, at, 1);
    return fcntl(fd, F_OFD_SETLK, &lock);
}

/* The first place after all waiting programs. */
static int64_t end_of_line(int fd)
{
    int64_t place = 0;
    for (;;) {
        const struct flock other = lock_at(fd, place, 0 /* to the end */);
        if (other.l_type == F_UNLCK)
            return place;
        place = other.l_start + 1;
    }
}

/* Takes the last place. If another program took the same place at the same moment, or later places are taken
 * meanwhile, tries again. */
static void take_place(ftpc_turn_t *turn)
{
    enum { TRIES = 1000 }; /* then continue without a place */
    for (int i = 0; i < TRIES; i++) {
        const int64_t place = end_of_line(turn->fd);
        if (set_lock(turn->fd, F_WRLCK, place) == -1) {
            if (errno != EAGAIN && errno != EACCES)
                return; /* the kernel or the file system has no such locks */
            continue;
        }
        if (lock_at(turn->fd, place + 1, 0).l_type == F_UNLCK) {
            turn->has_place = 1;
            turn->place = place;
            return;
        }
        set_lock(turn->fd, F_UNLCK, place);
    }
}

static int somebody_is_before(const ftpc_turn_t *turn)
{
    return turn->place > 0 && lock_at(turn->fd, 0, turn->place).l_type != F_UNLCK;
}

FTPC int ftpc_turn_try(ftpc_turn_t *turn)
{
    if (!turn->has_place)
        take_place(turn);
    if (turn->has_place && somebody_is_before(turn))
        return 0;
    if (flock(turn->fd, LOCK_EX | LOCK_NB) == -1)
        return 0;
    turn->is_held = 1;
    if (turn->has_place) /* lets the next in the queue try */
        set_lock(turn->fd, F_UNLCK, turn->place);
    turn->has_place = 0;
    return 1;
}

FTPC void ftpc_turn_give_back(ftpc_turn_t *turn)
{
    /* Closing alone is not enough if a child process still has a copy of the descriptor. */
    if (turn->has_place)
        set_lock(turn->fd, F_UNLCK, turn->place);
    if (turn->is_held)
        flock(turn->fd, LOCK_UN);
    turn->is_held = 0;
    turn->has_place = 0;
    ftpc_close(&turn->fd);
}
