// A libzixiFeeder.so for development, demos and tests. It uploads for real, at a given rate and on a thread
// of its own, but into a directory instead of over a network, and it fails on demand. It is never installed:
// devices get the stub of platform/, or their own.
//
// Environment variables of the program that loads it (the daemon, not ftpctl) control it:
//
// ZIXI_FEEDER_DIR: directory that stands for the server; created if missing, but not its parent. Without it
//     every upload fails with -4.
// ZIXI_FEEDER_RATE: bytes per second; 0, or none = no limit.
// ZIXI_FEEDER_USER, ZIXI_FEEDER_PASSWORD: the only accepted credentials; with others uploads fail with -7.
//     Without them all are accepted.
// ZIXI_FEEDER_TOTAL: size in bytes to report instead of the file's, also above 4 GiB; sent bytes are scaled
//     to it. With 0 the reported size is 0 and the sent bytes are not scaled.
// ZIXI_FEEDER_FAIL: calls that fail, see plan.h.
//
// A file goes to $ZIXI_FEEDER_DIR/<directory part of remote_path>/<name of the local file>. Missing
// directories are created; ".." is refused with -19. An existing file is replaced only if the request allows
// it, else the upload fails with -22. The file gets its name when it is complete, so a cancelled upload
// leaves nothing. A local file that cannot be read gives -20; a directory that is not writable or full gives
// -21. The log callback receives lines of level 1 (errors) and 3, each with its newline. The state is 2 while
// the copy runs, and 3 when it is complete.
#include "platform/zixiFeeder.h"

#include "tests/standin/plan.h"
#include "tests/standin/upload.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>

namespace
{

constexpr int LEVEL_ERROR = 1;
constexpr int LEVEL_INFO = 3;
constexpr uintptr_t CONFIGURATION_MARK = 0x5a495849; // first word of every configuration
constexpr size_t CREDENTIAL_SIZE = 256;

struct credential_t {
    char text[CREDENTIAL_SIZE];
    size_t length;
};

struct settings_t {
    int log_level;
    zixi_log_callback log;
    void *log_user_data;
    credential_t user;
    credential_t password;
    uintptr_t configurations; // prepared so far; the second word of each is its number
};

pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
settings_t settings_;

struct settings_lock {
    settings_lock() { pthread_mutex_lock(&mutex_); }
    ~settings_lock() { pthread_mutex_unlock(&mutex_); }
    settings_lock(const settings_lock &) = delete;
    settings_lock &operator=(const settings_lock &) = delete;
};

settings_t settings_now()
{
    const settings_lock held;
    return settings_;
}

struct stream_t {
    upload_t *upload;
    bool total_is_set;
    uint64_t total_bytes;
};

// Called without the lock, because the callback may call the library.
void log_line(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

void log_line(int level, const char *format, ...)
{
    const settings_t settings = settings_now();
    if (settings.log == nullptr || level > settings.log_level)
        return;
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    settings.log(settings.log_user_data, level, line);
}

int failed(const char *what, int code)
{
    log_line(LEVEL_ERROR, "zixi feeder: %s: error %d\n", what, code);
    return code;
}

// False if the variable is not set or not a number.
bool environment_number(const char *name, uint64_t *number)
{
    const char *text = getenv(name);
    if (text == nullptr)
        return false;
    char *end = nullptr;
    errno = 0;
    const unsigned long long value = strtoull(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || *text == '-') {
        fprintf(stderr, "%s: not understood: '%s'\n", name, text);
        return false;
    }
    *number = value;
    return true;
}

bool keep(credential_t *credential, const char *text, int length)
{
    if (text == nullptr || length < 0 || static_cast<size_t>(length) > CREDENTIAL_SIZE)
        return false;
    credential->length = static_cast<size_t>(length);
    memcpy(credential->text, text, credential->length);
    return true;
}

// True if the text equals the variable or the variable is not set.
bool is_right(const credential_t &credential, const char *variable)
{
    const char *wanted = getenv(variable);
    return wanted == nullptr ||
           (strlen(wanted) == credential.length && memcmp(wanted, credential.text, credential.length) == 0);
}

int check_upload(const settings_t &settings, uintptr_t configuration0, uintptr_t configuration1,
                 const char *root)
{
    if (configuration0 != CONFIGURATION_MARK || configuration1 == 0 ||
        configuration1 > settings.configurations)
        return ZIXI_ERROR_INVALID_PARAMETER;
    if (root == nullptr || root[0] == '\0')
        return ZIXI_ERROR_NOT_CONNECTED;
    if (!is_right(settings.user, "ZIXI_FEEDER_USER") || !is_right(settings.password, "ZIXI_FEEDER_PASSWORD"))
        return ZIXI_ERROR_AUTHORIZATION_FAILED;
    return ZIXI_ERROR_OK;
}

int start_stream(const char *root, const char *local_path, const zixi_upload_parameters &parameters,
                 stream_t **started)
{
    auto stream = static_cast<stream_t *>(calloc(1, sizeof(stream_t)));
    if (stream == nullptr)
        return ZIXI_ERROR_FAILED;
    upload_job_t job = {local_path, root, parameters.remote_directory, parameters.overwrite == 1, 0};
    environment_number("ZIXI_FEEDER_RATE", &job.rate_bytes_s);
    stream->total_is_set = environment_number("ZIXI_FEEDER_TOTAL", &stream->total_bytes);
    const int error = upload_start(job, &stream->upload);
    if (error == ZIXI_ERROR_OK)
        *started = stream;
    else
        free(stream);
    return error;
}

// The sent bytes of a pretended total: the same fraction as was copied of the file.
uint64_t part_of(uint64_t total, const upload_progress_t &progress)
{
    if (progress.copied_bytes >= progress.size_bytes)
        return total;
    return static_cast<uint64_t>(static_cast<double>(progress.copied_bytes) /
                                 static_cast<double>(progress.size_bytes) * static_cast<double>(total));
}

} // namespace

int zixi_version(int *major, int *minor, int *patch, int *build)
{
    if (const int planned = plan_next("zixi_version"))
        return planned;
    if (major == nullptr || minor == nullptr || patch == nullptr || build == nullptr)
        return ZIXI_ERROR_INVALID_PARAMETER;
    *major = 0;
    *minor = 1;
    *patch = 0;
    *build = 0;
    return ZIXI_ERROR_OK;
}

int zixi_configure_logging(int level, zixi_log_callback callback, void *user_data)
{
    if (const int planned = plan_next("zixi_configure_logging"))
        return planned;
    const settings_lock held;
    settings_.log_level = level;
    settings_.log = callback;
    settings_.log_user_data = user_data;
    return ZIXI_ERROR_OK;
}

int zixi_configure_credentials(const char *user, int user_length, const char *password, int password_length)
{
    if (const int planned = plan_next("zixi_configure_credentials"))
        return failed("credentials", planned);
    credential_t new_user;
    credential_t new_password;
    if (!keep(&new_user, user, user_length) || !keep(&new_password, password, password_length))
        return failed("credentials", ZIXI_ERROR_INVALID_PARAMETER);
    const settings_lock held;
    settings_.user = new_user;
    settings_.password = new_password;
    return ZIXI_ERROR_OK;
}

int zixi_prepare_configuration(int, int, uintptr_t configuration[2])
{
    if (const int planned = plan_next("zixi_prepare_configuration"))
        return failed("configuration", planned);
    if (configuration == nullptr)
        return failed("configuration", ZIXI_ERROR_INVALID_PARAMETER);
    const settings_lock held;
    configuration[0] = CONFIGURATION_MARK;
    configuration[1] = ++settings_.configurations;
    return ZIXI_ERROR_OK;
}

int zixi_upload_file(uintptr_t configuration0, uintptr_t configuration1, const char *local_path,
                     const char *host, zixi_upload_parameters parameters, void **stream)
{
    if (const int planned = plan_next("zixi_upload_file"))
        return failed("upload", planned);
    if (local_path == nullptr || host == nullptr || parameters.remote_directory == nullptr ||
        stream == nullptr)
        return failed("upload", ZIXI_ERROR_INVALID_PARAMETER);
    const char *root = getenv("ZIXI_FEEDER_DIR");
    stream_t *started = nullptr;
    int error = check_upload(settings_now(), configuration0, configuration1, root);
    if (error == ZIXI_ERROR_OK)
        error = start_stream(root, local_path, parameters, &started);
    if (error != ZIXI_ERROR_OK)
        return failed("upload", error);
    log_line(LEVEL_INFO, "zixi feeder: %s for %s:%u goes to %s in %s\n", local_path, host,
             static_cast<unsigned>(parameters.port), parameters.remote_directory, root);
    *stream = started;
    return ZIXI_ERROR_OK;
}

int zixi_get_upload_progress(void *stream, uint64_t *sent, uint64_t *total, int *state)
{
    if (const int planned = plan_next("zixi_get_upload_progress"))
        return failed("progress", planned);
    if (stream == nullptr || sent == nullptr || total == nullptr || state == nullptr)
        return failed("progress", ZIXI_ERROR_INVALID_PARAMETER);
    const stream_t &asked = *static_cast<stream_t *>(stream);
    const upload_progress_t progress = upload_progress(asked.upload);
    if (progress.error != ZIXI_ERROR_OK)
        return failed("progress", progress.error);
    *total = asked.total_is_set ? asked.total_bytes : progress.size_bytes;
    *sent = asked.total_is_set && asked.total_bytes != 0 ? part_of(*total, progress) : progress.copied_bytes;
    *state = progress.state;
    return ZIXI_ERROR_OK;
}

int zixi_close_stream(void *stream)
{
    const int planned = plan_next("zixi_close_stream");
    if (stream == nullptr)
        return failed("close", ZIXI_ERROR_INVALID_PARAMETER);
    auto closed = static_cast<stream_t *>(stream);
    upload_end(closed->upload);
    free(closed);
    if (planned != ZIXI_ERROR_OK)
        return failed("close", planned);
    log_line(LEVEL_INFO, "zixi feeder: closed\n");
    return ZIXI_ERROR_OK;
}
