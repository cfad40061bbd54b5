#include "scene.h"

#include "../curl_func/fake_wrapper.h"
#include "ftp_clientd/daemonise.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/run_flag.h"
#include "support/logged.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

int ftp_clientd_main();

scene_t *scene_;

job_slot_t &slot_of(size_t engine)
{
    return *reinterpret_cast<job_slot_t *>(reinterpret_cast<char *>(scheduler_mutex(engine)) -
                                           offsetof(job_slot_t, mutex));
}

namespace
{

// Clears what an earlier run has left.
void clear_records()
{
    if (scheduler_mutex(0) == nullptr)
        return;
    slot_of(0).record = {};
    slot_of(1).record = {};
}

bool is_among(char letter, std::string_view letters)
{
    return letters.find(letter) != std::string_view::npos;
}

uint32_t command_of(char letter)
{
    switch (letter) {
    case 'd':
    case 'D':
    case 'f':
        return COMMAND_DOWNLOAD;
    case 'u':
    case 'z':
    case 'Z':
        return COMMAND_UPLOAD;
    case 'i':
    case 'y':
        return COMMAND_DL_FILE_INFO;
    case 's':
        return COMMAND_GET_STATE;
    default:
        return COMMAND_CANCEL;
    }
}

uint32_t kind_of(char letter)
{
    const uint32_t command = command_of(letter);
    return command == COMMAND_DL_FILE_INFO ? uint32_t{JOB_DL_FILE_INFO} : command;
}

const job_record_t &record_of(size_t engine) { return slot_of(engine).record; }

size_t hash_of(const job_record_t &record)
{
    return std::hash<std::string_view>{}({reinterpret_cast<const char *>(&record), sizeof record});
}

size_t memory() { return hash_of(record_of(0)) * 31 + hash_of(record_of(1)); }

// The expectation takes its step in the first critical section of a request or check.
void entered(int thread)
{
    if (thread != 0)
        return;
    if (scene_->phase == phase_t::request_read) {
        const char letter = scene_->request;
        if (is_among(letter, "duifzyDZ")) {
            scene_->zixi_active = is_among(letter, "zyZ");
            scene_->expected_detail = scene_->active().starts(kind_of(letter), letter == 'f');
            if (scene_->expected_detail == 0)
                scene_->engine_of_worker.push_back(scene_->zixi_active ? 1 : 0);
        } else if (letter == 'c') {
            scene_->expected_detail = scene_->active().cancels();
        }
        scene_->phase = phase_t::request_served;
    } else if (scene_->phase == phase_t::check_due) {
        scene_->joined_before = scheduler_joined_count();
        scene_->expected_notice = scene_->active().is_asked_for_finished_job(&scene_->joins);
        scene_->phase = phase_t::checked;
    }
}

// A worker ends its job in the critical section that clears `running`.
size_t leaving(int thread)
{
    if (thread == 0)
        return hash_of(record_of(scene_->zixi_active ? 1 : 0));
    const size_t engine = scene_->engine_of_worker.at(static_cast<size_t>(thread) - 1);
    const job_record_t &record = record_of(engine);
    if (record.module_info.running == 0)
        scene_->engines[engine].ends(record.module_info.result);
    return hash_of(record);
}

// libcurl's part: calls the engine's progress callback until the job ends.
void transfer(curl_e_handle_t *handle)
{
    const transfer_request_t &request = record_of(0).request;
    const bool endless = strcmp(request.host, ENDLESS_HOST) == 0;
    const bool upload = record_of(0).module_info.exec == JOB_UPLOAD;
    if (upload) // the sample's unit is the byte: an upload must have moved the whole file
        scene_->claim(truncate(request.local_path, SAMPLES) == 0, "the local file is there");
    for (int sample = 1; (endless && !scene_->abandoned) || sample <= SAMPLES; sample++) {
        scheduler_at(endless ? "transfer" : "transfer " + std::to_string(sample));
        const double now = endless ? 1 : sample;
        if (wrapper_.progress(wrapper_.progress_data, upload ? 0 : SAMPLES, upload ? 0 : now,
                              upload ? SAMPLES : 0, upload ? now : 0) != 0) {
            handle->curl_code = CURLE_ABORTED_BY_CALLBACK;
            return;
        }
    }
}

void begin_run()
{
    wrapper_ = {};
    wrapper_.total_time_s = 1;
    wrapper_.size_download = wrapper_.size_upload = SAMPLES;
    wrapper_.tries.assign(scene_->script.size(), transfer);
    clear_records();
    engine_select(PROTOCOL_FTP);
    seen_t seen = std::move(scene_->seen);
    *scene_ = {.script = scene_->script, .local_path = scene_->local_path, .seen = std::move(seen)};
    scene_->engines[1].is_zixi = true;
}

// Checks that every worker of an engine that was asked was joined or detached.
void end_run()
{
    scene_->seen.stories.insert(scene_->story);
    const int known = scheduler_joined_count() + scheduler_detached_count();
    const int unasked = scene_->engines[scene_->zixi_active ? 0 : 1].unjoined ? 1 : 0;
    if (scheduler_all_workers_ended() && scheduler_started_count() != known + unasked &&
        !is_among('q', scene_->script))
        scene_->seen.workers_left = true;
}

void run()
{
    begin_run();
    const int status = ftp_clientd_main();
    scene_->claim(status == 0, "the daemon ends with status 0");
    end_run();
    logged();
}

} // namespace

seen_t run_in_every_order(const std::string &script)
{
    scene_t scene = {.script = script, .local_path = "/tmp/interleavings-" + std::to_string(getpid())};
    fclose(fopen(scene.local_path.c_str(), "w"));
    scene_ = &scene;
    const program_t program = {run,     [] { scene_->abandoned = true; }, memory, entered,
                               leaving, [] { return scene_->story; }};
    scene.seen.explored = explore(program, [] { return !scene_->seen.fault.empty(); });
    unlink(scene.local_path.c_str());
    scene_ = nullptr;
    return scene.seen;
}

// --- The control channel: one request a pass

void daemonise() {}
int ftp_clientd_if_init() { return 0; }
void ftp_clientd_if_destory() {}

int ftp_clientd_if_open_received_channel()
{
    scene_->request = '.';
    scene_->notice.clear();
    scene_->phase = phase_t::check_due;
    if (scene_->next < scene_->script.size())
        scene_->request = scene_->script[scene_->next++];
    else if (scheduler_all_workers_ended())
        scene_->passes_without_workers++;
    scheduler_at("pass" + scene_->position());
    if (scene_->request == 'q' || scene_->passes_without_workers == 2)
        exec_ = 0;
    if (is_among(scene_->request, ".q"))
        return -1;
    scene_->phase = phase_t::request_read;
    return 1;
}

void *ftp_clientd_if_receive(int, message_header_t *header)
{
    const char letter = scene_->request;
    scene_->naps = 0;
    header->command = command_of(letter);
    header->length = 0;
    if (is_among(letter, "cs"))
        return nullptr;
    auto *request = static_cast<transfer_request_t *>(calloc(1, sizeof(transfer_request_t)));
    request->protocol = is_among(letter, "zyZ") ? PROTOCOL_ZIXI_4 : PROTOCOL_FTP;
    strcpy(request->remote_path, "file");
    strcpy(request->host, is_among(letter, "DZ") ? ENDLESS_HOST : "ends");
    scene_->local_path.copy(request->local_path, sizeof request->local_path - 1);
    header->length = sizeof *request;
    if (letter == 'f')
        scheduler_fail_next_start(EAGAIN);
    return request;
}

int ftp_clientd_if_send(int, const message_header_t *header, const void *body)
{
    const auto *reply = static_cast<const reply_t *>(body);
    scheduler_fail_next_start(0);
    if (scene_->request == 's') {
        const module_info_t &head = static_cast<const state_reply_t *>(body)->module_info;
        scene_->tell('s' + std::to_string(head.running) + std::to_string(head.exec) +
                     std::to_string(head.result));
        return static_cast<int>(header->length);
    }
    scene_->claim(reply->detail == scene_->expected_detail, "the answer is the expected one");
    if (scene_->request == 'c')
        scene_->claim(!scene_->active().running, "a cancel is answered when the job has ended");
    scene_->tell(scene_->request + std::to_string(reply->detail));
    return static_cast<int>(header->length);
}

void ftp_clientd_if_close_received_channel(int) { scene_->phase = phase_t::check_due; }

int ftp_clientd_if_notify(int code, const void *body, int length)
{
    const auto *reply = static_cast<const reply_t *>(body);
    if (code == NOTICE_STARTED)
        return length;
    scene_->claim(scene_->notice.empty(), "one notice a pass");
    scene_->notice = std::string("!") + "dui"[code] + std::to_string(reply->detail);
    scene_->tell(scene_->notice);
    return length;
}
