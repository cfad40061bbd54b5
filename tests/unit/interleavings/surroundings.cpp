// Fakes of the feeder library, the sleeps, and calls that must not reach this machine.
#include "platform/zixiFeeder.h"
#include "scene.h"

#include <cstring>
#include <ctime>
#include <curl/curl.h>
#include <sys/time.h>
#include <unistd.h>

// --- The feeder library

static int stream_;

int zixi_version(int *, int *, int *, int *) { return 0; }
int zixi_configure_logging(int, zixi_log_callback, void *) { return 0; }
int zixi_configure_credentials(const char *, int, const char *, int) { return 0; }
int zixi_prepare_configuration(int, int, uintptr_t *) { return 0; }

int zixi_upload_file(uintptr_t, uintptr_t, const char *, const char *, zixi_upload_parameters, void **stream)
{
    stream_ = 0;
    *stream = &stream_;
    return 0;
}

int zixi_get_upload_progress(void *, uint64_t *sent, uint64_t *total, int *state)
{
    const bool endless = strcmp(slot_of(1).record.request.host, ENDLESS_HOST) == 0;
    *sent = static_cast<uint64_t>(stream_);
    *total = SAMPLES;
    *state = stream_ == SAMPLES && (!endless || scene_->abandoned) ? 3 : ZIXI_STATE_UPLOADING;
    return 0;
}

int zixi_close_stream(void *) { return 0; }

// --- Sleeps and other system calls

extern "C" {
int __wrap_usleep(useconds_t)
{
    if (scene_->phase == phase_t::checked) { // the pause between two passes
        scene_->claim(scene_->notice == scene_->expected_notice, "the notice is the expected one");
        scene_->claim(scheduler_joined_count() - scene_->joined_before == (scene_->joins ? 1 : 0),
                      "a worker is joined when it has ended, and then only");
    }
    const bool between_passes = scene_->phase == phase_t::checked;
    if (!between_passes && scene_->naps < NAPS_MAX)
        scene_->naps++;
    scheduler_at(between_passes ? "pause" + scene_->position()
                                : "cancel" + scene_->position() + ' ' + std::to_string(scene_->naps));
    scheduler_yield();
    return 0;
}

// The Zixi worker's second, and the pause of its cancel.
int __wrap_nanosleep(const timespec *pause, timespec *)
{
    if (pause->tv_sec == 1 && stream_ < SAMPLES)
        stream_++;
    scheduler_at(pause->tv_sec == 1 ? "upload " + std::to_string(stream_) : "cancel" + scene_->position());
    scheduler_yield();
    return 0;
}

int __wrap_gettimeofday(timeval *now, void *)
{
    *now = {1700000000, 0};
    return 0;
}

int __wrap_remove(const char *) { return 0; }
void *__wrap_signal(int, void *) { return nullptr; }
CURLcode __wrap_curl_global_init(long) { return CURLE_OK; }
void __wrap_curl_global_cleanup() {}
}
