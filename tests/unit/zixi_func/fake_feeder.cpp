#include "fake_feeder.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/time.h>

fake_feeder_t *feeder_ = nullptr;

static int stream_;
void *fake_stream() { return &stream_; }

int fake_feeder_t::count(const std::string &event) const
{
    return static_cast<int>(std::count(events.begin(), events.end(), event));
}

static void happened(const std::string &event)
{
    feeder_->events.push_back(event);
    if (feeder_->on_event)
        feeder_->on_event(event);
}

template <typename Answer> static Answer next_of(std::deque<Answer> &answers)
{
    if (answers.empty())
        return {};
    const Answer answer = answers.front();
    answers.pop_front();
    return answer;
}

// Fills the stack of the caller's next frames, so that uninitialised bytes are seen.
__attribute__((noinline)) static void soil_the_stack()
{
    volatile uint8_t bytes[8192];
    for (volatile uint8_t &byte : bytes)
        byte = 0xee;
}

int zixi_version(int *major, int *minor, int *patch, int *build)
{
    happened("zixi_version");
    *major = 1;
    *minor = 22;
    *patch = 333;
    *build = 4444;
    return next_of(feeder_->version);
}

int zixi_configure_logging(int level, zixi_log_callback callback, void *user_data)
{
    happened("zixi_configure_logging");
    feeder_->log_level = level;
    feeder_->log = callback;
    feeder_->log_user_data = user_data;
    return next_of(feeder_->logging);
}

int zixi_configure_credentials(const char *user, int user_length, const char *password, int password_length)
{
    happened("zixi_configure_credentials");
    feeder_->user = user;
    feeder_->user_length = user_length;
    feeder_->password = password;
    feeder_->password_length = password_length;
    return next_of(feeder_->credentials);
}

// The words of the nth configuration are 2n - 1 and 2n.
int zixi_prepare_configuration(int first, int second, uintptr_t configuration[2])
{
    happened("zixi_prepare_configuration");
    feeder_->prepared.push_back({first, second});
    configuration[1] = 2 * feeder_->prepared.size();
    configuration[0] = configuration[1] - 1;
    soil_the_stack();
    return next_of(feeder_->prepare);
}

int zixi_upload_file(uintptr_t configuration0, uintptr_t configuration1, const char *local_path,
                     const char *host, zixi_upload_parameters parameters, void **stream)
{
    happened("zixi_upload_file");
    upload_call_t call = {
        {configuration0, configuration1}, local_path, host, parameters.remote_directory, {}};
    static_assert(sizeof parameters == BLOCK_BYTES);
    memcpy(call.block.data(), &parameters, BLOCK_BYTES);
    feeder_->uploads.push_back(call);
    const int code = next_of(feeder_->upload);
    if (code == 0)
        *stream = fake_stream();
    return code;
}

int zixi_get_upload_progress(void *stream, uint64_t *sent, uint64_t *total, int *state)
{
    happened("zixi_get_upload_progress");
    feeder_->streams.push_back(stream);
    const progress_step_t step = next_of(feeder_->progress);
    if (step.code == 0) {
        *sent = step.sent;
        *total = step.total;
        *state = step.state;
    }
    return step.code;
}

int zixi_close_stream(void *stream)
{
    happened("zixi_close_stream");
    feeder_->streams.push_back(stream);
    return next_of(feeder_->close);
}

extern "C" {
int __real_nanosleep(const timespec *pause, timespec *rest);

unsigned __wrap_sleep(unsigned seconds)
{
    feeder_->now_ms += feeder_->second_ms * seconds;
    happened("sleep(" + std::to_string(seconds) + ")");
    return 0;
}

// Whole seconds pass at once. Shorter pauses, the main thread's, are real.
int __wrap_nanosleep(const timespec *pause, timespec *rest)
{
    if (pause->tv_sec == 0)
        return __real_nanosleep(pause, rest);
    feeder_->now_ms += feeder_->second_ms * pause->tv_sec;
    char event[64];
    snprintf(event, sizeof event, "nanosleep(%lld.%09ld)", static_cast<long long>(pause->tv_sec),
             static_cast<long>(pause->tv_nsec));
    happened(event);
    return 0;
}

int __wrap_gettimeofday(timeval *now, void *)
{
    now->tv_sec = static_cast<time_t>(feeder_->now_ms / 1000);
    now->tv_usec = static_cast<suseconds_t>(feeder_->now_ms % 1000 * 1000);
    return 0;
}
}

transfer_request_t zixi_request()
{
    transfer_request_t request;
    const auto bytes = reinterpret_cast<char *>(&request);
    memset(bytes, 0xa5, sizeof request);
    strcpy(bytes, "in/box/film.ts");
    strcpy(bytes + 512, "/data/film.ts");
    strcpy(bytes + 768, "zixi.test");
    strcpy(bytes + 1092, "ann");
    strcpy(bytes + 1156, "open sesame");
    request.port = 2088;
    request.protocol = 4;
    request.resume = 0;
    return request;
}
