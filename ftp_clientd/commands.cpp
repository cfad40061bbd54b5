#include "ftp_clientd/commands.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/request_check.h"
#include "strutil/guards.h"
#include "strutil/log.h"

namespace
{

using accepted_connection = closing_owner<int, -1, ftp_clientd_if_close_received_channel>;

// A reply's body. The largest comes first, so that {} clears all of it.
union reply_body_t {
    state_reply_t state;
    cancel_reply_t cancel;
    file_info_reply_t file_info;
    reply_t reply;
};
static_assert(sizeof(reply_body_t) == sizeof(state_reply_t));

struct command_t;

// The state of one request.
struct exchange_t {
    const command_t &command;
    const void *body;    // NULL when there is none
    uint32_t length;     // bytes of body
    reply_t *last_job;   // see serve_request
    reply_body_t answer; // all 0 at first, which is success
};

struct command_t {
    uint32_t number;
    void (*handle)(exchange_t *exchange);
    const char *unsent_id; // log id of a reply that could not be sent
    // Commands that start a job: the engine's call, their name in the log, the log id of a failed call.
    start_call engine_t::*start = nullptr;
    const char *name = nullptr;
    const char *failed_id = nullptr;
};

} // namespace

static void no_operation(exchange_t *exchange)
{
    exchange->last_job->result = 0;
    exchange->answer.reply = *exchange->last_job;
}

// A request that is refused never selects its engine.
static uint32_t start_checked(const exchange_t &exchange)
{
    const command_t &command = exchange.command;
    const transfer_request_t *request = request_check(command.number, exchange.body, exchange.length);
    if (request == nullptr)
        return FTPCD_ERR_INTERNAL;
    return (engine_select(request->protocol).*command.start)(request);
}

static void start_job(exchange_t *exchange)
{
    const uint32_t code = start_checked(*exchange);
    if (code != FTPCD_ERR_NONE)
        log_error(exchange->command.failed_id, "%s(): Failed(%d)", exchange->command.name,
                  static_cast<int>(code));
    *exchange->last_job = reply_for(code);
    exchange->answer.reply = *exchange->last_job;
}

static void command_get_state(exchange_t *exchange)
{
    const job_record_t job = engine_state(engine_active());
    state_reply_t &answer = exchange->answer.state;
    answer.module_info = job.module_info;
    if (job.module_info.exec != JOB_NONE)
        answer.exec_info = job.exec_info;
    else
        ftp_clientd_if_exec_info_init(&answer.exec_info);
}

static void command_cancel(exchange_t *exchange)
{
    const engine_t &engine = engine_active();
    const int rc = engine.cancel();
    if (rc != 0)
        log_error("ftp_clientd(515)", "curlf_cancel(): Failed(%d)", rc); // one text for both engines
    cancel_reply_t &answer = exchange->answer.cancel;
    answer.reply = reply_for(static_cast<uint32_t>(rc));
    answer.exec = engine_state(engine).module_info.exec;
}

static void command_get_file_info(exchange_t *exchange)
{
    const engine_t &engine = engine_active();
    exchange->answer.file_info.remote_file =
        engine.fixed_file != nullptr ? *engine.fixed_file : engine_state(engine).remote_file;
}

constexpr command_t COMMANDS[] = {
    {COMMAND_NONE, no_operation, "ftp_clientd(361)"},
    {COMMAND_DOWNLOAD, start_job, "ftp_clientd(401)", &engine_t::download, "command_download",
     "ftp_clientd(393)"},
    {COMMAND_UPLOAD, start_job, "ftp_clientd(441)", &engine_t::upload, "command_upload", "ftp_clientd(433)"},
    {COMMAND_GET_STATE, command_get_state, "ftp_clientd(486)"},
    {COMMAND_CANCEL, command_cancel, "ftp_clientd(539)"},
    {COMMAND_DL_FILE_INFO, start_job, "ftp_clientd(578)", &engine_t::dl_file_info, "command_dl_file_info",
     "ftp_clientd(570)"},
    {COMMAND_GET_FILE_INFO, command_get_file_info, "ftp_clientd(621)"},
};

static const command_t *find_command(uint32_t number)
{
    for (const command_t &command : COMMANDS)
        if (command.number == number)
            return &command;
    return nullptr;
}

void serve_request(int connection, reply_t *last_job)
{
    message_header_t header;
    const heap_block body(ftp_clientd_if_receive(connection, &header));
    const command_t *command = find_command(header.command);
    if (command == nullptr) // an unknown number gets no reply
        return;

    exchange_t exchange = {*command, body.get(), header.length, last_job, {}};
    command->handle(&exchange);

    header.length = control_reply_size(command->number);
    const int sent_bytes = ftp_clientd_if_send(connection, &header, &exchange.answer);
    if (sent_bytes != static_cast<int>(header.length))
        log_error(command->unsent_id, "Could not send return data.");
}

void serve_waiting_client(reply_t *last_job)
{
    const accepted_connection connection(ftp_clientd_if_open_received_channel());
    if (connection)
        serve_request(connection.get(), last_job);
}
