#include "fake_engines.h"
#include "curl_func/curl_func.h"
#include "fake_system.h"
#include "ftp_clientd/engines.h"
#include "zixi_func/zixi_func.h"

#include <cstring>

static fake_engines *engines_;

fake_engines::fake_engines()
{
    engines_ = this;
    engine_select(PROTOCOL_FTP); // as at start
}

fake_engines::~fake_engines() { engines_ = nullptr; }

static uint32_t start(const char *name, fake_engine *engine, const transfer_request_t *request)
{
    note_call(name);
    engine->request = *request;
    return engine->start_result;
}

static int finished(const char *name, fake_engine *engine)
{
    note_call(name);
    if (engine->finished_results.empty())
        return -1;
    const int result = engine->finished_results.front();
    engine->finished_results.pop_front();
    return result;
}

static int cancel(const char *name, fake_engine *engine)
{
    note_call(name);
    if (engine->on_cancel)
        engine->on_cancel();
    return engine->cancel_result;
}

static int init(const char *name, const fake_engine &engine)
{
    note_call(name);
    return engine.init_result;
}

static void get_state(const char *name, const fake_engine &engine, void *out)
{
    note_call(name);
    memcpy(out, &engine.record, sizeof engine.record);
}

int curlf_init() { return init("curlf_init()", engines_->curl); }
uint32_t curlf_download(const transfer_request_t *req)
{
    return start("curlf_download()", &engines_->curl, req);
}
uint32_t curlf_upload(const transfer_request_t *req) { return start("curlf_upload()", &engines_->curl, req); }
uint32_t curlf_dl_file_info(const transfer_request_t *req)
{
    return start("curlf_dl_file_info()", &engines_->curl, req);
}
int curlf_finished() { return finished("curlf_finished()", &engines_->curl); }
void curlf_get_state(void *out) { get_state("curlf_get_state()", engines_->curl, out); }
int curlf_cancel() { return cancel("curlf_cancel()", &engines_->curl); }

int zixif_init() { return init("zixif_init()", engines_->zixi); }
uint32_t zixif_download(const transfer_request_t *req)
{
    return start("zixif_download()", &engines_->zixi, req);
}
uint32_t zixif_ftp_upload(const transfer_request_t *req)
{
    return start("zixif_ftp_upload()", &engines_->zixi, req);
}
uint32_t zixif_dl_file_info(const transfer_request_t *req)
{
    return start("zixif_dl_file_info()", &engines_->zixi, req);
}
int zixif_finished() { return finished("zixif_finished()", &engines_->zixi); }
void zixif_get_state(void *out) { get_state("zixif_get_state()", engines_->zixi, out); }
int zixif_cancel() { return cancel("zixif_cancel()", &engines_->zixi); }
