#include "setter.h"
#include "support/failing_heap.h"
#include "wire/result_codes.h"

#include <gtest/gtest.h>

namespace
{

int data_;

size_t cb_write(char *, size_t, size_t, void *) { return 0; }
size_t cb_read(char *, size_t, size_t, void *) { return 0; }
int cb_progress(void *, double, double, double, double) { return 0; }
long cb_begin(const void *, void *, int) { return 0; }
long cb_end(void *) { return 0; }
int cb_sockopt(void *, curl_socket_t, curlsocktype) { return 0; }
int cb_close(void *, curl_socket_t) { return 0; }
int cb_key(CURL *, const curl_khkey *, const curl_khkey *, curl_khmatch, void *) { return 0; }
CURLcode cb_context(CURL *, void *, void *) { return CURLE_OK; }
int cb_entry(list_info_t *, void *, int) { return 0; }

void name_all(fake_curl &curl)
{
    curl.name(&data_, "data");
    curl.name(cb_write, "cb_write");
    curl.name(cb_read, "cb_read");
    curl.name(cb_progress, "cb_progress");
    curl.name(cb_begin, "cb_begin");
    curl.name(cb_end, "cb_end");
    curl.name(cb_sockopt, "cb_sockopt");
    curl.name(cb_close, "cb_close");
    curl.name(cb_key, "cb_key");
    curl.name(cb_context, "cb_context");
    curl.name(cb_list_write, "cb_list_write");
}

} // namespace

TEST(SetoptCallback, SetsFunctionThenContextAndEndsAtTheFirstRefusal)
{
    using rec_t = curl_e_handle_t;
    const setter_t setters[] = {
        {[](rec_t *r) { curl_e_setopt_writefunc_data(r, cb_write, &data_); },
         {{"WRITEFUNCTION", "cb_write", 1480}, {"WRITEDATA", "data", 1486}}},
        {[](rec_t *r) { curl_e_setopt_readfunc_data(r, cb_read, &data_); },
         {{"READFUNCTION", "cb_read", 1504}, {"READDATA", "data", 1510}}},
        {[](rec_t *r) { curl_e_setopt_progressfunc_data(r, cb_progress, &data_); },
         {{"PROGRESSFUNCTION", "cb_progress", 1528},
          {"PROGRESSDATA", "data", 1534},
          {"NOPROGRESS", "0", 1540}}},
        {[](rec_t *r) { curl_e_setopt_chunkfunc_data(r, cb_begin, cb_end, &data_); },
         {{"CHUNK_BGN_FUNCTION", "cb_begin", 1561},
          {"CHUNK_END_FUNCTION", "cb_end", 1567},
          {"CHUNK_DATA", "data", 1573}}},
        {[](rec_t *r) { curl_e_setopt_sockoptfunc_data(r, cb_sockopt, &data_); },
         {{"SOCKOPTFUNCTION", "cb_sockopt", 1592}, {"SOCKOPTDATA", "data", 1598}}},
        {[](rec_t *r) { curl_e_setopt_closesocketfunc_data(r, cb_close, &data_); },
         {{"CLOSESOCKETDATA", "data", 1611}, {"CLOSESOCKETFUNCTION", "cb_close", 1605}}},
        {[](rec_t *r) { curl_e_setopt_ssh_keyfunc_data(r, cb_key, &data_); },
         {{"SSH_KEYFUNCTION", "cb_key", 1654}, {"SSH_KEYDATA", "data", 1660}}},
        {[](rec_t *r) { curl_e_setopt_ssl_ctxfunc_data(r, cb_context, &data_); },
         {{"SSL_CTX_FUNCTION", "cb_context", 1680}, {"SSL_CTX_DATA", "data", 1686}}},
        {[](rec_t *r) { curl_e_setopt_writefunc_data(r, nullptr, nullptr); },
         {{"WRITEFUNCTION", "NULL", 1480}, {"WRITEDATA", "NULL", 1486}}},
    };
    for (const setter_t &setter : setters)
        check_setter(setter, name_all);
}

TEST(SetoptListfunc, InstallsTheCaptureWithNewSettings)
{
    record_t rec;
    name_all(rec.fake);
    curl_e_setopt_listfunc_data(&rec, cb_entry, &data_);
    EXPECT_EQ(rec.fake.calls(), (lines{"WRITEFUNCTION cb_list_write", "WRITEDATA pointer"}));
    EXPECT_EQ(is_curl_error(&rec), 0);
    ASSERT_NE(rec.list_info, nullptr);
    EXPECT_EQ(rec.fake.data(CURLOPT_WRITEDATA), rec.list_info);
    EXPECT_EQ(rec.list_info->pattern, nullptr);
    EXPECT_EQ(rec.list_info->callback, cb_entry);
    EXPECT_EQ(rec.list_info->context, &data_);
    EXPECT_EQ(rec.list_info->tmp, nullptr);
    EXPECT_EQ(rec.list_borrowed, 0);
    curl_e_cleanup(&rec);
}

TEST(SetoptListfunc, FreesItsOwnSettingsAndLeavesBorrowedOnesToTheirOwner)
{
    record_t rec; // the leak check sees what is not freed
    curl_e_setopt_listfunc_data(&rec, cb_entry, nullptr);
    curl_e_setopt_listfunc_data(&rec, cb_entry, &data_);
    EXPECT_EQ(rec.list_info->context, &data_);
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, &rec);
    curl_e_setopt_listfunc_data(&copy, nullptr, nullptr);
    EXPECT_EQ(copy.list_info, nullptr);
    EXPECT_EQ(copy.list_borrowed, 0);
    ASSERT_NE(rec.list_info, nullptr);
    EXPECT_EQ(rec.list_info->callback, cb_entry);
    rec.fake.calls();
    curl_e_setopt_listfunc_data(&rec, nullptr, &data_); // ends the listing
    EXPECT_EQ(rec.list_info, nullptr);
    EXPECT_EQ(rec.fake.calls(), lines{}); // the write callback stays set
}

TEST(SetoptListfunc, FailsWithoutMemory)
{
    record_t rec;
    const failing_heap heap(1);
    curl_e_setopt_listfunc_data(&rec, cb_entry, &data_);
    EXPECT_EQ(rec.fake.calls(), lines{});
    EXPECT_EQ(rec.list_info, nullptr);
    EXPECT_EQ(rec.error, FTPCD_ERR_NO_MEMORY);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(1626): list_setting_info_alloc(): NULL\n"});
}

TEST(SetoptListfunc, KeepsTheSettingsForCleanupAfterARefusalOrAnEarlierError)
{
    const std::string lines_of_refusals[] = {failed(1480, "curl_easy_setopt", "CURLOPT_WRITEFUNCTION", 48),
                                             failed(1486, "curl_easy_setopt", "CURLOPT_WRITEDATA", 48)};
    for (int nth = 1; nth <= 2; ++nth) {
        record_t rec;
        rec.fake.refuse(nth, CURLE_UNKNOWN_OPTION);
        curl_e_setopt_listfunc_data(&rec, cb_entry, &data_);
        EXPECT_NE(rec.list_info, nullptr);
        EXPECT_EQ(rec.error, FTPCD_ERR_INTERNAL);
        EXPECT_EQ(logged(),
                  (lines{lines_of_refusals[nth - 1],
                         "error: curl_wrapper(1635): curl_e_setopt_listfunc_data(): Failed(48, 5)\n"}));
        curl_e_cleanup(&rec);
    }
    record_t rec;
    rec.error = FTPCD_ERR_NO_MEMORY;
    curl_e_setopt_listfunc_data(&rec, cb_entry, &data_);
    EXPECT_NE(rec.list_info, nullptr);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(1635): curl_e_setopt_listfunc_data(): Failed(0, 11)\n"});
    curl_e_cleanup(&rec);
}
