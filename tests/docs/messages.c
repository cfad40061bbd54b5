/* Prints the messages in docs/protocol.md byte for byte, built from the records of wire/. hex_dumps.py writes
 * its output into the page and compares the page with it. */
#include "wire/wire.h"

#include <inttypes.h>
#include <stdio.h>

enum { BYTES_A_LINE = 16, ZEROS_SHOWN = 16 };

static size_t offset_; /* of the next byte of the message */

static void begin(const char *name)
{
    printf("== %s\n", name);
    offset_ = 0;
}

static void print_line(const char *text, const char *note, size_t count)
{
    if (note[0] != '\0')
        printf("%04zx  %-*s %s\n", offset_, BYTES_A_LINE * 3, text, note);
    else
        printf("%04zx  %s\n", offset_, text);
    offset_ += count;
}

static void print_bytes(const uint8_t *bytes, size_t count, const char *note)
{
    char hex[BYTES_A_LINE * 3 + 1];
    size_t length = 0;
    for (size_t i = 0; i < count; i++)
        length += (size_t)snprintf(hex + length, sizeof hex - length, i == 0 ? "%02x" : " %02x", bytes[i]);
    print_line(hex, note, count);
}

static void print_zeros(size_t count, const char *note)
{
    char text[BYTES_A_LINE * 3 + 1];
    snprintf(text, sizeof text, "00 (%zu times)", count);
    print_line(text, note, count);
}

/* One field. Many zeros at its end are only counted, all but the first `kept` of them. */
static void show(const char *name, const void *at, size_t size, size_t kept, const char *meaning)
{
    const uint8_t *bytes = (const uint8_t *)at;
    size_t end = size;
    while (end > 0 && bytes[end - 1] == 0)
        end--;
    end = end == 0 ? 0 : end + kept;
    if (size - end <= ZEROS_SHOWN)
        end = size;

    char note[160];
    snprintf(note, sizeof note, "%-18s %s", name, meaning);
    for (size_t done = 0; done < end; done += BYTES_A_LINE)
        print_bytes(bytes + done, end - done < BYTES_A_LINE ? end - done : BYTES_A_LINE,
                    done == 0 ? note : "");
    if (end < size)
        print_zeros(size - end, end == 0 ? note : "");
}

static void show_number(const char *name, const void *at, size_t size, int64_t value, const char *meaning)
{
    char text[80];
    snprintf(text, sizeof text, meaning[0] != '\0' ? "%" PRId64 ": %s" : "%" PRId64, value, meaning);
    show(name, at, size, 0, text);
}

static void word(const char *name, const uint32_t *at, const char *meaning)
{
    show_number(name, at, sizeof *at, *at, meaning);
}

static void number(const char *name, const int32_t *at, const char *meaning)
{
    show_number(name, at, sizeof *at, *at, meaning);
}

static void real(const char *name, const double *at, const char *unit)
{
    char text[80];
    snprintf(text, sizeof text, "%g %s", *at, unit);
    show(name, at, sizeof *at, 0, text);
}

static void string(const char *name, const char *at, size_t size)
{
    char text[80];
    snprintf(text, sizeof text, "\"%s\"", at);
    show(name, at, size, 1, text);
}

static void ignored(const void *at, size_t size) { show("-", at, size, 0, "ignore"); }

#define STRING(record, member) string(#member, (record)->member, sizeof(record)->member)

/* --- The parts of messages ---------------------------------------------------------------------------------
 */

/* `message`: its name in the page. */
static void show_head(const char *message, uint32_t command, uint32_t length, const char *name)
{
    begin(message);
    const message_header_t head = {command, length};
    word("command", &head.command, name);
    word("length", &head.length, length == 0 ? "no body" : "bytes of body");
}

static void show_reply(uint32_t detail, const char *result_meaning, const char *detail_meaning)
{
    const reply_t reply = {detail != FTPCD_ERR_NONE, detail};
    word("result", &reply.result, result_meaning);
    word("detail", &reply.detail, detail_meaning);
}

static void show_request(const transfer_request_t *request, const char *protocol, const char *auth,
                         const char *digest)
{
    STRING(request, remote_path);
    STRING(request, local_path);
    STRING(request, host);
    word("port", &request->port, "");
    STRING(request, username);
    STRING(request, password);
    word("passive_mode", &request->passive_mode, "");
    word("protocol", &request->protocol, protocol);
    STRING(request, proxy_host);
    word("proxy_port", &request->proxy_port, "");
    word("proxy_type", &request->proxy_type, "none");
    const server_auth_t *server_auth = &request->server_auth;
    word("auth_type", &server_auth->auth_type, auth);
    show_number("digest_length", &server_auth->digest_length, 1, server_auth->digest_length, "");
    show("digest", server_auth->digest, sizeof server_auth->digest, 0, digest);
    STRING(server_auth, save_path);
    word("resume", &request->resume, "");
}

/* The progress block after a download of 27 bytes. */
static void show_exec_info(void)
{
    const exec_info_t info = {.total_size = 27,
                              .transferred_size = 27,
                              .elapsed_time = 0.125,
                              .response_code_type = RESPONSE_CODE_FTP,
                              .response_code = 226};
    real("total size", &info.total_size, "bytes");
    real("transferred", &info.transferred_size, "bytes");
    real("elapsed", &info.elapsed_time, "seconds");
    word("CURLcode", &info.curl_code, "CURLE_OK");
    word("Zixi error", &info.zixi_error, "");
    word("response code is", &info.response_code_type, "an FTP reply code");
    word("response code", &info.response_code, "");
    word("retries", &info.retry_count, "");
    ignored(&info.unused, sizeof info.unused);
}

/* --- The messages ------------------------------------------------------------------------------------------
 */

static void requests(void)
{
    const transfer_request_t download = {.remote_path = "settings/camera1.json",
                                         .local_path = "/run/settings.json",
                                         .host = "192.0.2.10",
                                         .port = 21,
                                         .username = "alice",
                                         .password = "secret",
                                         .passive_mode = 1,
                                         .protocol = PROTOCOL_FTP};
    show_head("request-download", COMMAND_DOWNLOAD, sizeof download, "download");
    show_request(&download, "FTP", "any server will do", "none");

    const transfer_request_t upload = {
        .remote_path = "archive/recording.ts",
        .local_path = "/run/recording.ts",
        .host = "192.0.2.10",
        .port = 22,
        .username = "alice",
        .password = "secret",
        .passive_mode = 1,
        .protocol = PROTOCOL_SFTP,
        .server_auth = {.auth_type = SERVER_AUTH_MD5,
                        .digest_length = 16,
                        .digest = {0x3b, 0x5a, 0x0c, 0x91, 0x7e, 0xd2, 0x44, 0x18, 0xa6, 0xf0, 0x2d, 0x63,
                                   0xc9, 0x57, 0xbe, 0x84},
                        .save_path = "/run/host_key.pub"},
    };
    show_head("request-upload", COMMAND_UPLOAD, sizeof upload, "upload");
    show_request(&upload, "SFTP", "MD5 of the host key", "3b:5a:0c:91:...:be:84");

    show_head("request-state", COMMAND_GET_STATE, 0, "get state");
}

static void replies(void)
{
    show_head("reply-started", COMMAND_DOWNLOAD, sizeof(reply_t), "download");
    show_reply(FTPCD_ERR_NONE, "success", "the job runs");

    show_head("reply-busy", COMMAND_UPLOAD, sizeof(reply_t), "upload");
    show_reply(FTPCD_ERR_BUSY, "failure", "FTPCD_ERR_BUSY");

    const module_info_t head = {.exec = JOB_DOWNLOAD};
    show_head("reply-state", COMMAND_GET_STATE, sizeof(state_reply_t), "get state");
    show_reply(FTPCD_ERR_NONE, "success", "");
    word("running", &head.running, "no job runs");
    word("exec", &head.exec, "the last one was a download");
    word("result", &head.result, "FTPCD_ERR_NONE");
    word("cancel", &head.cancel, "");
    show_exec_info();

    const uint32_t exec = JOB_DOWNLOAD;
    show_head("reply-cancel", COMMAND_CANCEL, sizeof(cancel_reply_t), "cancel");
    show_reply(FTPCD_ERR_NOT_RUNNING, "failure", "FTPCD_ERR_NOT_RUNNING");
    word("exec", &exec, "the last job was a download");
}

static void file_information(void)
{
    const remote_file_t file = {.looked_up = 1,
                                .exists = 1,
                                .size = 27,
                                .year = 2012,
                                .month = 1,
                                .day = 15,
                                .hour = 255,
                                .minute = 255,
                                .attributes = 0x644};
    show_head("reply-file-information", COMMAND_GET_FILE_INFO, sizeof(file_info_reply_t),
              "get file information");
    show_reply(FTPCD_ERR_NONE, "success", "");
    word("looked_up", &file.looked_up, "");
    word("exists", &file.exists, "");
    char size[40];
    snprintf(size, sizeof size, "%d bytes", (int)file.size);
    show("size", &file.size, sizeof file.size, 0, size);
    number("year", &file.year, "");
    number("month", &file.month, "");
    number("day", &file.day, "");
    number("hour", &file.hour, "not in the listing");
    number("minute", &file.minute, "not in the listing");
    number("attributes", &file.attributes, "0x644, rw-r--r--");
    number("is_link", &file.is_link, "");
    ignored(&file.unused, sizeof file.unused);
}

static void show_notice_head(const char *message, uint8_t code, uint16_t length, const char *meaning)
{
    begin(message);
    const notice_header_t head = {
        .sender = NOTICE_SENDER, .code = code, .kind = NOTICE_KIND, .length = length};
    show_number("sender", &head.sender, sizeof head.sender, head.sender, "");
    show_number("code", &head.code, sizeof head.code, head.code, meaning);
    show_number("kind", &head.kind, sizeof head.kind, head.kind, "");
    ignored(&head.unused1, sizeof head.unused1);
    show_number("length", &head.length, sizeof head.length, head.length, "bytes of body");
    ignored(&head.unused2, sizeof head.unused2);
    word("-", &head.zero, "");
}

static void notices(void)
{
    show_notice_head("notice-started", NOTICE_STARTED, sizeof(reply_t), "the daemon has started");
    show_reply(FTPCD_ERR_NONE, "success", "");

    show_notice_head("notice-download", NOTICE_DOWNLOAD_DONE, sizeof(completion_notice_t), "download done");
    show_reply(FTPCD_ERR_NONE, "success", "FTPCD_ERR_NONE");
    show_exec_info();
}

int main(void)
{
    requests();
    replies();
    file_information();
    notices();
    return 0;
}
