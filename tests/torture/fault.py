"""The page shared with fail_nth.c: which call fails, and the counts."""

import errno
import mmap
import os
import struct

NAMES_MAX, NAME_SIZE, COUNTED_SIZE = 80, 28, 40
HEAD = struct.Struct("<4IiIII")  # on, role, nth, onward, error, hits, hit_caller, names
LIVE_AT, NAME_AT, FROM_AT, COUNTED_AT = 32, 40, 72, 80
PAGE_SIZE = COUNTED_AT + NAMES_MAX * COUNTED_SIZE
ROLES = ("main", "worker")
CALLERS = ("other", "daemon", "libcurl", "libssh2")

# The errors of each call; the short form tries only the first. A CURLcode for calls of libcurl, otherwise an
# errno.
OUT_OF_MEMORY, RECV_ERROR, FAILED_INIT, BAD_FUNCTION_ARGUMENT = 27, 56, 2, 43
ERRORS = {
    "socket": (errno.EMFILE, errno.ENOBUFS),
    "bind": (errno.EADDRINUSE, errno.ENOMEM),
    "connect": (errno.ECONNREFUSED, errno.EINTR, errno.ETIMEDOUT),
    "accept": (errno.EMFILE, errno.ECONNABORTED, errno.EINTR),
    "poll": (errno.ENOMEM, errno.EINTR),
    "recv": (errno.ECONNRESET, errno.EINTR, errno.EAGAIN, errno.ENOMEM),
    "send": (errno.EPIPE, errno.EINTR, errno.EAGAIN, errno.ECONNRESET),
    "open": (errno.EMFILE, errno.EACCES, errno.EIO, errno.ENOSPC),
    "fopen": (errno.EMFILE, errno.ENOMEM),
    "read": (errno.EIO, errno.EINTR),
    "write": (errno.ENOSPC, errno.EIO, errno.EINTR),
    "fclose": (errno.EIO, errno.ENOSPC),
    "close": (errno.EIO, errno.EINTR),
    "stat": (errno.EACCES, errno.ENOENT),
    "fork": (errno.EAGAIN, errno.ENOMEM),
    "listen": (errno.EADDRINUSE,),
    "rename": (errno.ENOSPC,),
    "pthread_join": (errno.EDEADLK,),
    "pthread_mutexattr_settype": (errno.EINVAL,),
    "curl_global_init": (FAILED_INIT,),
    "curl_easy_getinfo": (BAD_FUNCTION_ARGUMENT,),
    "curl_easy_perform": (OUT_OF_MEMORY, RECV_ERROR),
    **dict.fromkeys(("fwrite", "fflush"), (errno.ENOSPC, errno.EIO)),
    **dict.fromkeys(("malloc", "fdopen", "pthread_mutexattr_init", "pthread_mutex_init"), (errno.ENOMEM,)),
    **dict.fromkeys(("socketpair", "dup2"), (errno.EMFILE,)),
    **dict.fromkeys(("shutdown", "getpeername"), (errno.ENOTCONN,)),
    **dict.fromkeys(("setsockopt", "getsockopt", "getsockname"), (errno.ENOBUFS,)),
    **dict.fromkeys(("fread", "fseek", "ftruncate", "fsync"), (errno.EIO,)),
    **dict.fromkeys(("remove", "chdir"), (errno.EACCES,)),
    **dict.fromkeys(("setsid", "pthread_mutex_unlock"), (errno.EPERM,)),
    **dict.fromkeys(("pthread_create", "pthread_mutex_lock"), (errno.EAGAIN,)),
    **dict.fromkeys(("curl_easy_init", "curl_easy_setopt", "curl_easy_escape", "curl_easy_unescape"), (OUT_OF_MEMORY,)),
}


class Page:
    """path: a file in memory, created here. The daemon finds it by FAIL_NTH_PAGE."""

    def __init__(self, path):
        self.path = path
        fd = os.open(path, os.O_RDWR | os.O_CREAT, 0o666)
        os.ftruncate(fd, PAGE_SIZE)
        self._map = mmap.mmap(fd, PAGE_SIZE)
        os.close(fd)

    def arm(self, name="", role=0, nth=0, error=0, onward=False):
        """Starts counting from 0; nth = 0: no call fails."""
        self.disarm()
        for number in range(self._head()[7]):
            struct.pack_into("<2I", self._map, COUNTED_AT + number * COUNTED_SIZE + NAME_SIZE, 0, 0)
        struct.pack_into(f"<{NAME_SIZE}s", self._map, NAME_AT, name.encode())
        struct.pack_into("<Q", self._map, FROM_AT, 0)
        struct.pack_into("<3IiII", self._map, 4, role, nth, int(onward), error, 0, 0)
        struct.pack_into("<I", self._map, 0, 1)

    def disarm(self):
        struct.pack_into("<I", self._map, 0, 0)

    def _head(self):
        return HEAD.unpack_from(self._map)

    @property
    def hits(self):
        return self._head()[5]

    @property
    def hit_by(self):
        """The caller of the failed call, and the place."""
        offset = struct.unpack_from("<Q", self._map, FROM_AT)[0]
        return f"{CALLERS[self._head()[6]]}+{offset:#x}"

    @property
    def live_blocks(self):
        return struct.unpack_from("<q", self._map, LIVE_AT)[0]

    @property
    def counts(self):
        """{(name, role): calls}"""
        counted = {}
        for number in range(self._head()[7]):
            at = COUNTED_AT + number * COUNTED_SIZE
            name = self._map[at : at + NAME_SIZE].rstrip(b"\0").decode()
            for role, count in enumerate(struct.unpack_from("<2I", self._map, at + NAME_SIZE)):
                if count:
                    counted[name, role] = counted.get((name, role), 0) + count
        return counted
