#include "fake_wrapper.h"

#include "wire/result_codes.h"

#include <gtest/gtest.h>

fake_wrapper wrapper_;

static constexpr int32_t REFUSED = 43; // CURLE_BAD_FUNCTION_ARGUMENT

calls fake_wrapper::asked_of(const std::string &name) const
{
    calls found;
    for (const auto &call : asked)
        if (call.substr(0, call.find('(')) == name)
            found.push_back(call);
    return found;
}

std::function<void(curl_e_handle_t *)> ends_with(int32_t error, int32_t curl_code, int32_t response_code)
{
    return [=](curl_e_handle_t *handle) {
        handle->error = error;
        handle->curl_code = curl_code;
        handle->response_code = response_code;
    };
}

static std::string text(const char *s) { return s == nullptr ? "NULL" : '"' + std::string(s) + '"'; }
static std::string text(long number) { return std::to_string(number); }
static std::string text(int number) { return std::to_string(number); }

template <typename... Arguments>
static void ask(curl_e_handle_t *rec, const char *name, const Arguments &...arguments)
{
    const std::string full = (rec->list_borrowed != 0 ? "copy." : "") + std::string(name);
    std::string list;
    ((list += (list.empty() ? "" : ", ") + text(arguments)), ...);
    wrapper_.asked.push_back(full + '(' + list + ')');
    rec->curl_code = wrapper_.refused == full ? REFUSED : 0;
    if (rec->curl_code != 0)
        rec->error = FTPCD_ERR_INTERNAL;
}

// --- Handle

int curl_e_init(curl_e_handle_t *rec)
{
    wrapper_.asked.push_back("init()");
    EXPECT_EQ(rec->resume, 0) << "the record is not clear";
    EXPECT_EQ(rec->callback_aborted_logged, 0u) << "the record is not clear";
    curl_e_clear_result(rec);
    rec->list_borrowed = 0;
    return wrapper_.no_handle ? 1 : 0;
}

void curl_e_clear_result(curl_e_handle_t *rec)
{
    rec->curl_code = 0;
    rec->error = 0;
    rec->response_code_type = 0;
    rec->response_code = 0;
}

int is_curl_error(const curl_e_handle_t *rec) { return rec->curl_code != 0 || rec->error != 0 ? 1 : 0; }

void curl_e_copy_handle(curl_e_handle_t *dst, const curl_e_handle_t *src)
{
    *dst = *src;
    dst->list_borrowed = 1;
    curl_e_clear_result(dst);
}

void curl_e_limit_farewell(curl_e_handle_t *) { wrapper_.asked.push_back("limit_farewell()"); }
void curl_e_cleanup(curl_e_handle_t *) { wrapper_.asked.push_back("cleanup()"); }

// --- Options

#define NUMBER(name)                                                                                         \
    void curl_e_setopt_##name(curl_e_handle_t *rec, long value) { ask(rec, #name, value); }

NUMBER(verbose)
NUMBER(port)
NUMBER(append)
NUMBER(upload_buffersize)
NUMBER(quick_exit)
NUMBER(nosignal)
NUMBER(path_as_is)
NUMBER(failonerror)
NUMBER(http_version)
NUMBER(operation_timeout)
NUMBER(connect_timeout)
NUMBER(ssh_auth_types)

void curl_e_setopt_curlopt_fresh_connect(curl_e_handle_t *rec, long on) { ask(rec, "fresh_connect", on); }
void curl_e_setopt_curlopt_maxconnects(curl_e_handle_t *rec, long n) { ask(rec, "maxconnects", n); }

void curl_e_setopt_curlopt_ftp_use_eprt_epsv(curl_e_handle_t *rec, long on)
{
    ask(rec, "ftp_use_eprt_epsv", on);
}

void curl_e_setopt_url_ex(curl_e_handle_t *rec, int kind, const char *host, const char *path)
{
    ask(rec, "url_ex", kind, host, path);
}

void curl_e_setopt_username_password(curl_e_handle_t *rec, const char *user, const char *password)
{
    ask(rec, "username_password", user, password);
}

void curl_e_setopt_proxy(curl_e_handle_t *rec, int kind, const char *host, long port)
{
    ask(rec, "proxy", kind, host, port);
}

void curl_e_setopt_ftpport(curl_e_handle_t *rec) { ask(rec, "ftpport"); }

void curl_e_setopt_upload(curl_e_handle_t *rec, const char *file)
{
    ask(rec, "upload", file, static_cast<long>(rec->resume), static_cast<long>(rec->resume_offset));
}

void curl_e_setopt_tcp_keepalive(curl_e_handle_t *rec, long on, long idle, long interval)
{
    ask(rec, "tcp_keepalive", on, idle, interval);
}

void curl_e_setopt_ssh_knownhosts(curl_e_handle_t *rec, const char *path)
{
    ask(rec, "ssh_knownhosts", path);
}

void curl_e_setopt_use_ssl(curl_e_handle_t *rec, long level, long auth) { ask(rec, "use_ssl", level, auth); }
void curl_e_setopt_cainfo(curl_e_handle_t *rec, const char *file) { ask(rec, "cainfo", file); }
void curl_e_setopt_capath(curl_e_handle_t *rec, const char *directory) { ask(rec, "capath", directory); }

void curl_e_setopt_ssl_verify(curl_e_handle_t *rec, long peer, long host)
{
    ask(rec, "ssl_verify", peer, host);
}

void curl_e_setopt_closesocketfunc_data(curl_e_handle_t *rec, curl_closesocket_callback, void *)
{
    ask(rec, "closesocketfunc_data");
}

// A callback and its context are kept in these members of the fake.
#define CALLBACK(name, type, kept, context)                                                                  \
    void curl_e_setopt_##name(curl_e_handle_t *rec, type function, void *data)                               \
    {                                                                                                        \
        ask(rec, #name);                                                                                     \
        wrapper_.kept = function;                                                                            \
        wrapper_.context = data;                                                                             \
    }

CALLBACK(sockoptfunc_data, curl_sockopt_callback, note_socket, socket_data)
CALLBACK(writefunc_data, curl_write_callback, write, write_data)
CALLBACK(readfunc_data, curl_read_callback, read, read_data)
CALLBACK(progressfunc_data, curl_progress_callback, progress, progress_data)
CALLBACK(listfunc_data, list_callback_fn, list, list_context)
CALLBACK(ssh_keyfunc_data, curl_sshkeycallback, sshkey, auth)
CALLBACK(ssl_ctxfunc_data, curl_ssl_ctx_callback, ssl_ctx, auth)

// --- Infos

// A getter overwrites the CURLcode, so the engine must call it with a copy of the handle.
static double give(curl_e_handle_t *rec, double value)
{
    EXPECT_EQ(rec->list_borrowed, 1) << "called with the handle itself";
    rec->curl_code = value < 0 ? REFUSED : 0;
    return value < 0 ? -1 : value;
}

double curl_e_getinfo_size_download(curl_e_handle_t *rec) { return give(rec, wrapper_.size_download); }
double curl_e_getinfo_size_upload(curl_e_handle_t *rec) { return give(rec, wrapper_.size_upload); }
double curl_e_getinfo_total_time(curl_e_handle_t *rec) { return give(rec, wrapper_.total_time_s); }

// --- Perform

void curl_e_perform(curl_e_handle_t *rec)
{
    wrapper_.asked.push_back("perform()");
    wrapper_.performed++;
    EXPECT_EQ(is_curl_error(rec), 0) << "the result block was not clear";
    if (wrapper_.tries.empty()) {
        ADD_FAILURE() << "try " << wrapper_.performed << " was not expected";
        rec->error = FTPCD_ERR_INTERNAL;
        return;
    }
    const auto play = wrapper_.tries.front();
    wrapper_.tries.pop_front();
    play(rec);
    if (wrapper_.explains && rec->error == 0 && rec->curl_code != 0)
        rec->error = FTPCD_ERR_NETWORK;
}
