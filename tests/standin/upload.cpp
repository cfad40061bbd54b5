#include "tests/standin/upload.h"

#include "platform/write_all.h"
#include "platform/zixiFeeder.h"
#include "tests/standin/place.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr size_t BUFFER_BYTES = 65536;
constexpr uint64_t PIECES_A_SECOND = 20;
constexpr uint64_t NS_A_SECOND = 1000000000;
constexpr mode_t FILE_MODE = 0644;
constexpr int STATE_DONE = 3;
constexpr int STATE_FAILED = 4;

} // namespace

struct upload_t {
    int source;
    int place; // directory of the file
    int target;
    char name[256]; // in `place`, when complete
    char part[64];  // in `place`, until then; "" = does not exist
    uint64_t rate_bytes_s;
    pthread_t thread;
    pthread_mutex_t mutex; // guards what follows
    bool stop;
    upload_progress_t progress;
};

namespace
{

struct upload_lock {
    explicit upload_lock(upload_t *upload) : mutex(&upload->mutex) { pthread_mutex_lock(mutex); }
    ~upload_lock() { pthread_mutex_unlock(mutex); }
    upload_lock(const upload_lock &) = delete;
    upload_lock &operator=(const upload_lock &) = delete;
    pthread_mutex_t *mutex;
};

void close_if_open(int fd)
{
    if (fd != -1)
        close(fd);
}

void release(upload_t *upload)
{
    if (upload->part[0] != '\0')
        unlinkat(upload->place, upload->part, 0);
    close_if_open(upload->source);
    close_if_open(upload->target);
    close_if_open(upload->place);
    pthread_mutex_destroy(&upload->mutex);
    free(upload);
}

int open_source(upload_t *upload, const char *local_path)
{
    struct stat file;
    upload->source = open(local_path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (upload->source == -1 || fstat(upload->source, &file) == -1 || !S_ISREG(file.st_mode))
        return ZIXI_ERROR_FILE_LOCAL;
    upload->progress.size_bytes = static_cast<uint64_t>(file.st_size);
    const char *slash = strrchr(local_path, '/');
    const char *name = slash == nullptr ? local_path : slash + 1;
    snprintf(upload->name, sizeof upload->name, "%s", name); // at most 255: the file is open
    return ZIXI_ERROR_OK;
}

int open_target(upload_t *upload, const upload_job_t &job)
{
    upload->place = place_open(job.root, job.directory);
    if (upload->place < 0) {
        const int error = upload->place;
        upload->place = -1;
        return error;
    }
    if (!job.overwrite && faccessat(upload->place, upload->name, F_OK, AT_SYMLINK_NOFOLLOW) == 0)
        return ZIXI_WARNING_REMOTE_FILE_EXISTS;
    char part[sizeof upload->part];
    snprintf(part, sizeof part, ".part-%ld-%p", static_cast<long>(getpid()), static_cast<void *>(upload));
    upload->target =
        openat(upload->place, part, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, FILE_MODE);
    if (upload->target == -1)
        return ZIXI_ERROR_FILE_REMOTE;
    memcpy(upload->part, part, sizeof part);
    return ZIXI_ERROR_OK;
}

size_t piece_bytes(const upload_t *upload)
{
    const uint64_t piece = upload->rate_bytes_s / PIECES_A_SECOND;
    if (upload->rate_bytes_s == 0 || piece > BUFFER_BYTES)
        return BUFFER_BYTES;
    return piece == 0 ? 1 : static_cast<size_t>(piece);
}

void wait_for_rate(const upload_t *upload, uint64_t bytes)
{
    if (upload->rate_bytes_s == 0)
        return;
    const uint64_t pause_ns = bytes * NS_A_SECOND / upload->rate_bytes_s;
    const timespec pause = {static_cast<time_t>(pause_ns / NS_A_SECOND),
                            static_cast<long>(pause_ns % NS_A_SECOND)};
    nanosleep(&pause, nullptr);
}

// Adds copied bytes; true unless the upload must stop.
bool go_on(upload_t *upload, uint64_t bytes)
{
    const upload_lock held(upload);
    upload->progress.copied_bytes += bytes;
    return !upload->stop;
}

// 0 at the end of the file or when told to stop.
int copy(upload_t *upload, char *buffer)
{
    const size_t piece = piece_bytes(upload);
    for (uint64_t before = 0; go_on(upload, before);) {
        const ssize_t bytes = read(upload->source, buffer, piece);
        if (bytes == -1)
            return ZIXI_ERROR_FILE_LOCAL;
        if (bytes == 0)
            return renameat(upload->place, upload->part, upload->place, upload->name) == 0
                       ? ZIXI_ERROR_OK
                       : ZIXI_ERROR_FILE_REMOTE;
        before = static_cast<uint64_t>(bytes);
        if (!write_all(upload->target, buffer, static_cast<size_t>(bytes)))
            return ZIXI_ERROR_FILE_REMOTE;
        wait_for_rate(upload, before);
    }
    return ZIXI_ERROR_OK;
}

void *th_upload(void *context)
{
    auto upload = static_cast<upload_t *>(context);
    char buffer[BUFFER_BYTES];
    const int error = copy(upload, buffer);
    const upload_lock held(upload);
    upload->progress.error = error;
    upload->progress.state = error == ZIXI_ERROR_OK ? STATE_DONE : STATE_FAILED;
    return nullptr;
}

// Leaves all signals to the program's threads.
int start_thread(upload_t *upload)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    upload->progress.state = ZIXI_STATE_UPLOADING;
    const int rc = pthread_create(&upload->thread, nullptr, th_upload, upload);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return rc == 0 ? ZIXI_ERROR_OK : ZIXI_ERROR_FAILED;
}

} // namespace

int upload_start(const upload_job_t &job, upload_t **upload)
{
    auto started = static_cast<upload_t *>(calloc(1, sizeof(upload_t)));
    if (started == nullptr)
        return ZIXI_ERROR_FAILED;
    started->source = started->place = started->target = -1;
    started->rate_bytes_s = job.rate_bytes_s;
    pthread_mutex_init(&started->mutex, nullptr);
    int error = open_source(started, job.local_path);
    if (error == ZIXI_ERROR_OK)
        error = open_target(started, job);
    if (error == ZIXI_ERROR_OK)
        error = start_thread(started);
    if (error == ZIXI_ERROR_OK)
        *upload = started;
    else
        release(started);
    return error;
}

upload_progress_t upload_progress(upload_t *upload)
{
    const upload_lock held(upload);
    return upload->progress;
}

void upload_end(upload_t *upload)
{
    {
        const upload_lock held(upload);
        upload->stop = true;
    }
    pthread_join(upload->thread, nullptr);
    release(upload);
}
