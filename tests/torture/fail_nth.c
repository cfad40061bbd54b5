// Preloaded into the daemon: counts its calls by name and makes the nth call of one name fail.
//
// A page of memory shared with the driver (the file named by FAIL_NTH_PAGE) says which call fails and
// receives the counts, so one daemon goes through many faults. Calls by the daemon, its two device libraries,
// libcurl and libssh2 count; "malloc" means every allocating function. Main thread and worker threads are
// counted separately, because the main thread's idle passes never end.
//
// A releasing call (close, unlock, join) still does its work and only reports a failure, as the kernel does.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#define NAMES_MAX 80
#define NAME_SIZE 28

enum { ROLE_MAIN, ROLE_WORKER, ROLES };
enum { CALLER_OTHER, CALLER_OWN, CALLER_CURL, CALLER_SSH2 };

/* tests/torture/fault.py has the same layout. */
struct counted {
    char name[NAME_SIZE];
    _Atomic uint32_t counts[ROLES]; /* calls since the driver cleared them */
    uint32_t unused;
};
struct page {
    _Atomic uint32_t on; /* calls count, and fail, while it is not 0 */
    uint32_t role;       /* whose call fails */
    uint32_t nth;        /* the first that fails, from 1; 0 = none */
    uint32_t onward;     /* not 0: all later calls fail too */
    int32_t error;       /* errno, or the return value of functions that return their error */
    _Atomic uint32_t hits;
    _Atomic uint32_t hit_caller;
    uint32_t names;
    _Atomic int64_t live_blocks; /* allocated and not yet freed, by anybody */
    char name[NAME_SIZE];        /* of the function that fails */
    uint32_t unused;
    _Atomic uint64_t hit_from; /* the caller, as an offset in its library */
    struct counted counted[NAMES_MAX];
};
_Static_assert(offsetof(struct page, live_blocks) == 32 && offsetof(struct page, hit_from) == 72 &&
                   offsetof(struct page, counted) == 80 && sizeof(struct counted) == 40,
               "fault.py reads the page by these offsets");

static struct page *page;
static struct page no_page;

static struct {
    uintptr_t begin, end, base;
    int caller;
} code[16];
static size_t code_count;

// --- The caller

static int caller_of_library(const char *path)
{
    const char *slash = strrchr(path, '/');
    const char *name = slash != NULL ? slash + 1 : path;
    if (*name == '\0' || strncmp(name, "libsecure.", 10) == 0 || strncmp(name, "libzixiFeeder.", 14) == 0)
        return CALLER_OWN; /* the program itself comes without a name */
    if (strncmp(name, "libcurl", 7) == 0)
        return CALLER_CURL;
    return strncmp(name, "libssh2.", 8) == 0 ? CALLER_SSH2 : CALLER_OTHER;
}

static int note_code(struct dl_phdr_info *info, size_t size, void *first)
{
    (void)size;
    const bool is_program = *(bool *)first;
    *(bool *)first = false;
    if (!is_program && info->dlpi_name[0] == '\0') /* the kernel's */
        return 0;
    const int caller = caller_of_library(info->dlpi_name);
    for (int i = 0; caller != CALLER_OTHER && i < info->dlpi_phnum; i++) {
        const ElfW(Phdr) *part = &info->dlpi_phdr[i];
        if (part->p_type != PT_LOAD || (part->p_flags & PF_X) == 0 ||
            code_count == sizeof code / sizeof *code)
            continue;
        code[code_count].begin = info->dlpi_addr + part->p_vaddr;
        code[code_count].end = code[code_count].begin + part->p_memsz;
        code[code_count].base = info->dlpi_addr;
        code[code_count++].caller = caller;
    }
    return 0;
}

static int caller_at(const void *from, uint64_t *offset)
{
    const uintptr_t at = (uintptr_t)from;
    for (size_t i = 0; i < code_count; i++) {
        if (at >= code[i].begin && at < code[i].end) {
            *offset = at - code[i].base;
            return code[i].caller;
        }
    }
    return CALLER_OTHER;
}

__attribute__((constructor)) static void open_page(void)
{
    const char *path = getenv("FAIL_NTH_PAGE");
    if (path == NULL)
        return;
    bool first = true;
    dl_iterate_phdr(note_code, &first);
    int (*open_file)(const char *, int, ...) = (int (*)(const char *, int, ...))dlsym(RTLD_NEXT, "open");
    int (*close_file)(int) = (int (*)(int))dlsym(RTLD_NEXT, "close");
    const int fd = open_file(path, O_RDWR | O_CLOEXEC);
    void *mapped =
        fd == -1 ? MAP_FAILED : mmap(NULL, sizeof *page, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED) {
        fprintf(stderr, "fail_nth: %s: cannot be mapped\n", path);
        _exit(99);
    }
    close_file(fd);
    page = mapped;
}

// --- What fails

static struct counted *counted_by(const char *name)
{
    for (struct counted *each = page->counted; each != page->counted + NAMES_MAX; each++) {
        if (each->name[0] ==
            '\0') { /* two threads meeting here write the same name into two places at worst */
            strncpy(each->name, name, NAME_SIZE - 1);
            page->names = (uint32_t)(each - page->counted) + 1;
        }
        if (strncmp(each->name, name, NAME_SIZE) == 0)
            return each;
    }
    abort();
}

/* True with errno set if this call must fail. `scope` is a mask of the callers that count. */
static bool is_due(const char *name, const void *from, unsigned scope)
{
    if (page == NULL || page->on == 0)
        return false;
    uint64_t offset = 0;
    const int caller = caller_at(from, &offset);
    if ((scope & 1U << caller) == 0)
        return false;
    const uint32_t role = gettid() == getpid() ? ROLE_MAIN : ROLE_WORKER;
    const uint32_t number = ++counted_by(name)->counts[role];
    if (page->nth == 0 || role != page->role || strncmp(page->name, name, NAME_SIZE) != 0)
        return false;
    if (number != page->nth && (page->onward == 0 || number < page->nth))
        return false;
    if (page->hits++ == 0) {
        page->hit_caller = (uint32_t)caller;
        page->hit_from = offset;
    }
    errno = page->error;
    return true;
}

#define OWN (1U << CALLER_OWN)
#define ALL (OWN | 1U << CALLER_CURL | 1U << CALLER_SSH2)
#define DUE(name, scope) is_due(name, __builtin_return_address(0), scope)

static void *next(void **known, const char *name)
{
    if (*known == NULL)
        *known = dlsym(RTLD_NEXT, name);
    return *known;
}

#define NEXT(name)                                                                                           \
    __extension__({                                                                                          \
        static void *known;                                                                                  \
        (__typeof__(&(name)))next(&known, #name);                                                            \
    })

/* A call that fails without doing anything. */
#define FAILS(type, failure, counted_as, scope, name, parameters, arguments)                                 \
    type name parameters                                                                                     \
    {                                                                                                        \
        if (DUE(counted_as, scope))                                                                          \
            return failure;                                                                                  \
        return NEXT(name) arguments;                                                                         \
    }

/* A call that does its work and then reports a failure. */
#define SAYS_FAILED(type, failure, scope, name, parameters, arguments)                                       \
    type name parameters                                                                                     \
    {                                                                                                        \
        const bool due = DUE(#name, scope);                                                                  \
        const type really = NEXT(name) arguments;                                                            \
        if (!due)                                                                                            \
            return really;                                                                                   \
        errno = page->error;                                                                                 \
        return failure;                                                                                      \
    }

// --- Memory

/* dlsym itself allocates while it looks for the allocator. */
static char early[1 << 16];
static _Atomic size_t early_used;

static bool is_early(const void *block)
{
    return (const char *)block >= early && (const char *)block < early + sizeof early;
}

static void *early_block(size_t size)
{
    const size_t at = atomic_fetch_add(&early_used, (size + 15) & ~(size_t)15);
    return at + size <= sizeof early ? early + at : NULL;
}

static struct {
    void *(*malloc)(size_t);
    void *(*calloc)(size_t, size_t);
    void *(*realloc)(void *, size_t);
    void (*free)(void *);
} heap;

static bool heap_found(void)
{
    static _Thread_local bool looking __attribute__((tls_model("initial-exec")));
    if (heap.free != NULL)
        return true;
    if (looking)
        return false;
    looking = true;
    heap.malloc = (void *(*)(size_t))dlsym(RTLD_NEXT, "malloc");
    heap.calloc = (void *(*)(size_t, size_t))dlsym(RTLD_NEXT, "calloc");
    heap.realloc = (void *(*)(void *, size_t))dlsym(RTLD_NEXT, "realloc");
    heap.free = (void (*)(void *))dlsym(RTLD_NEXT, "free");
    looking = false;
    return true;
}

static void *lives(void *block)
{
    if (block != NULL)
        (page != NULL ? page : &no_page)->live_blocks++;
    return block;
}

void *malloc(size_t size)
{
    if (!heap_found())
        return early_block(size);
    return DUE("malloc", ALL) ? NULL : lives(heap.malloc(size));
}

void *calloc(size_t count, size_t size)
{
    if (!heap_found())
        return early_block(count * size); /* static, so all zero */
    return DUE("malloc", ALL) ? NULL : lives(heap.calloc(count, size));
}

void *realloc(void *block, size_t size)
{
    if (DUE("malloc", ALL))
        return NULL;
    if (is_early(block)) {
        void *moved = malloc(size);
        const size_t left = (size_t)(early + sizeof early - (char *)block);
        return moved == NULL ? NULL : memcpy(moved, block, size < left ? size : left);
    }
    if (!heap_found())
        return early_block(size);
    void *grown = heap.realloc(block, size);
    if (block == NULL)
        return lives(grown);
    if (size == 0)
        (page != NULL ? page : &no_page)->live_blocks--;
    return grown;
}

void free(void *block)
{
    if (block == NULL || is_early(block) || !heap_found())
        return;
    (page != NULL ? page : &no_page)->live_blocks--;
    heap.free(block);
}

char *strdup(const char *text)
{
    if (DUE("malloc", ALL))
        return NULL;
    const size_t size = strlen(text) + 1;
    char *copy = malloc(size); /* from here, so not counted again */
    return copy == NULL ? NULL : memcpy(copy, text, size);
}

void *aligned_alloc(size_t alignment, size_t size) { return lives(NEXT(aligned_alloc)(alignment, size)); }

int posix_memalign(void **block, size_t alignment, size_t size)
{
    const int error = NEXT(posix_memalign)(block, alignment, size);
    if (error == 0)
        lives(*block);
    return error;
}

// --- Sockets

FAILS(int, -1, "socket", ALL, socket, (int domain, int type, int protocol), (domain, type, protocol))
FAILS(int, -1, "socketpair", ALL, socketpair, (int domain, int type, int protocol, int pair[2]),
      (domain, type, protocol, pair))
FAILS(int, -1, "bind", ALL, bind, (int fd, const struct sockaddr *address, socklen_t length),
      (fd, address, length))
FAILS(int, -1, "listen", ALL, listen, (int fd, int backlog), (fd, backlog))
FAILS(int, -1, "connect", ALL, connect, (int fd, const struct sockaddr *address, socklen_t length),
      (fd, address, length))
FAILS(int, -1, "accept", ALL, accept, (int fd, struct sockaddr *address, socklen_t *length),
      (fd, address, length))
FAILS(int, -1, "poll", ALL, poll, (struct pollfd * fds, nfds_t count, int timeout_ms),
      (fds, count, timeout_ms))
FAILS(ssize_t, -1, "recv", ALL, recv, (int fd, void *data, size_t size, int flags), (fd, data, size, flags))
FAILS(ssize_t, -1, "send", ALL, send, (int fd, const void *data, size_t size, int flags),
      (fd, data, size, flags))
FAILS(int, -1, "shutdown", ALL, shutdown, (int fd, int how), (fd, how))
FAILS(int, -1, "setsockopt", ALL, setsockopt,
      (int fd, int level, int option, const void *value, socklen_t length),
      (fd, level, option, value, length))
FAILS(int, -1, "getsockopt", ALL, getsockopt, (int fd, int level, int option, void *value, socklen_t *length),
      (fd, level, option, value, length))
FAILS(int, -1, "getsockname", ALL, getsockname, (int fd, struct sockaddr *address, socklen_t *length),
      (fd, address, length))
FAILS(int, -1, "getpeername", ALL, getpeername, (int fd, struct sockaddr *address, socklen_t *length),
      (fd, address, length))

// --- Files

static mode_t mode_of(int flags, va_list rest)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
}

#define OPENS(name)                                                                                          \
    int name(const char *path, int flags, ...)                                                               \
    {                                                                                                        \
        if (DUE("open", ALL))                                                                                \
            return -1;                                                                                       \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = mode_of(flags, rest);                                                            \
        va_end(rest);                                                                                        \
        return NEXT(name)(path, flags, mode);                                                                \
    }
OPENS(open)
OPENS(open64)

FAILS(FILE *, NULL, "fopen", ALL, fopen, (const char *path, const char *mode), (path, mode))
FAILS(FILE *, NULL, "fopen", ALL, fopen64, (const char *path, const char *mode), (path, mode))
FAILS(FILE *, NULL, "fdopen", ALL, fdopen, (int fd, const char *mode), (fd, mode))
FAILS(ssize_t, -1, "read", ALL, read, (int fd, void *data, size_t size), (fd, data, size))
FAILS(ssize_t, -1, "write", ALL, write, (int fd, const void *data, size_t size), (fd, data, size))
FAILS(size_t, 0, "fwrite", OWN, fwrite, (const void *data, size_t size, size_t count, FILE *file),
      (data, size, count, file))
FAILS(int, -1, "fseek", OWN, fseeko64, (FILE * file, off64_t offset, int whence), (file, offset, whence))
FAILS(int, -1, "ftruncate", OWN, ftruncate64, (int fd, off64_t length), (fd, length))
FAILS(int, -1, "stat", OWN, stat64, (const char *path, struct stat64 *found), (path, found))
FAILS(int, -1, "stat", OWN, lstat64, (const char *path, struct stat64 *found), (path, found))
FAILS(int, -1, "stat", OWN, fstat64, (int fd, struct stat64 *found), (fd, found))
FAILS(int, -1, "remove", OWN, remove, (const char *path), (path))
FAILS(int, -1, "rename", OWN, rename, (const char *from, const char *to), (from, to))
FAILS(int, -1, "rename", OWN, renameat, (int from_fd, const char *from, int to_fd, const char *to),
      (from_fd, from, to_fd, to))
FAILS(int, -1, "fsync", OWN, fsync, (int fd), (fd))
FAILS(int, -1, "dup2", ALL, dup2, (int from, int to), (from, to))
FAILS(int, -1, "chdir", OWN, chdir, (const char *path), (path))
SAYS_FAILED(int, -1, ALL, close, (int fd), (fd))
SAYS_FAILED(int, EOF, OWN, fclose, (FILE * file), (file))
SAYS_FAILED(int, EOF, OWN, fflush, (FILE * file), (file))

size_t fread(void *data, size_t size, size_t count, FILE *file)
{
    if (!DUE("fread", OWN))
        return NEXT(fread)(data, size, count, file);
    file->_flags |= 0x20; /* glibc's mark of an error, which ferror reads */
    return 0;
}

// --- Processes and threads

FAILS(pid_t, -1, "fork", ALL, fork, (void), ())
FAILS(pid_t, -1, "setsid", OWN, setsid, (void), ())
FAILS(int, page->error, "pthread_create", ALL, pthread_create,
      (pthread_t * thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument),
      (thread, attributes, start, argument))
SAYS_FAILED(int, page->error, ALL, pthread_join, (pthread_t thread, void **result), (thread, result))
FAILS(int, page->error, "pthread_mutexattr_init", OWN, pthread_mutexattr_init,
      (pthread_mutexattr_t * attributes), (attributes))
FAILS(int, page->error, "pthread_mutexattr_settype", OWN, pthread_mutexattr_settype,
      (pthread_mutexattr_t * attributes, int type), (attributes, type))
FAILS(int, page->error, "pthread_mutex_init", OWN, pthread_mutex_init,
      (pthread_mutex_t * mutex, const pthread_mutexattr_t *attributes), (mutex, attributes))
FAILS(int, page->error, "pthread_mutex_lock", OWN, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
SAYS_FAILED(int, page->error, OWN, pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))

// --- libcurl's easy interface, declared without its header, whose macros would check the types

int curl_global_init(long flags);
void *curl_easy_init(void);
int curl_easy_setopt(void *curl, int option, ...);
int curl_easy_getinfo(void *curl, int info, ...);
int curl_easy_perform(void *curl);
char *curl_easy_escape(void *curl, const char *text, int length);
char *curl_easy_unescape(void *curl, const char *text, int length, int *plain_length);

FAILS(int, page->error, "curl_global_init", OWN, curl_global_init, (long flags), (flags))
FAILS(void *, NULL, "curl_easy_init", OWN, curl_easy_init, (void), ())
FAILS(int, page->error, "curl_easy_perform", OWN, curl_easy_perform, (void *curl), (curl))
FAILS(char *, NULL, "curl_easy_escape", OWN, curl_easy_escape, (void *curl, const char *text, int length),
      (curl, text, length))
FAILS(char *, NULL, "curl_easy_unescape", OWN, curl_easy_unescape,
      (void *curl, const char *text, int length, int *plain_length), (curl, text, length, plain_length))

/* An option's number gives the type of its value: long, pointer, function or curl_off_t. */
int curl_easy_setopt(void *curl, int option, ...)
{
    if (DUE("curl_easy_setopt", OWN))
        return page->error;
    va_list rest;
    va_start(rest, option);
    int result;
    if (option < 10000)
        result = NEXT(curl_easy_setopt)(curl, option, va_arg(rest, long));
    else if (option >= 30000 && option < 40000)
        result = NEXT(curl_easy_setopt)(curl, option, va_arg(rest, int64_t));
    else
        result = NEXT(curl_easy_setopt)(curl, option, va_arg(rest, void *));
    va_end(rest);
    return result;
}

int curl_easy_getinfo(void *curl, int info, ...)
{
    if (DUE("curl_easy_getinfo", OWN))
        return page->error;
    va_list rest;
    va_start(rest, info);
    void *value = va_arg(rest, void *);
    va_end(rest);
    return NEXT(curl_easy_getinfo)(curl, info, value);
}
