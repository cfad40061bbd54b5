#include "record.h"
#include "wire/result_codes.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

static int cb_entry(list_info_t *, void *, int) { return 0; }

// A record with every field set.
static curl_e_handle_t full_record(fake_curl &curl)
{
    return {.curl = curl.handle(),
            .proxy_type = 1,
            .connect_only = 2,
            .resume = 3,
            .resume_offset = 4,
            .total_time = 5,
            .list_borrowed = 6,
            .list_info = nullptr,
            .callback_aborted_logged = 8,
            .operation_timed_out = 14,
            .on_close = [](void *) { FAIL() << "called though nothing is closed"; },
            .close_context = &curl,
            .curl_code = 9,
            .error = 10,
            .response_code_type = 11,
            .response_code = 12,
            .spare = 13};
}

static void expect_clear_result(const curl_e_handle_t &rec)
{
    EXPECT_EQ(rec.curl_code, 0);
    EXPECT_EQ(rec.error, 0);
    EXPECT_EQ(rec.response_code_type, 0);
    EXPECT_EQ(rec.response_code, 0);
}

static void expect_callers_fields(const curl_e_handle_t &rec)
{
    EXPECT_EQ(rec.resume, 3);
    EXPECT_EQ(rec.resume_offset, 4);
    EXPECT_EQ(rec.callback_aborted_logged, 8u);
    EXPECT_EQ(rec.spare, 13);
}

TEST(Init, GivesAnEasyHandleAndClearsAllButTheCallersFields)
{
    fake_curl curl;
    curl_e_handle_t rec = full_record(curl);
    rec.curl = nullptr;
    rec.list_info = reinterpret_cast<list_setting_info_t *>(&rec); // never looked at
    EXPECT_EQ(curl_e_init(&rec), 0);
    EXPECT_EQ(rec.curl, curl.handle());
    EXPECT_EQ(rec.proxy_type, 0);
    EXPECT_EQ(rec.connect_only, 0);
    EXPECT_EQ(rec.total_time, 0);
    EXPECT_EQ(rec.list_borrowed, 0);
    EXPECT_EQ(rec.list_info, nullptr);
    EXPECT_EQ(rec.operation_timed_out, 0u);
    EXPECT_EQ(rec.on_close, nullptr);
    EXPECT_EQ(rec.close_context, nullptr);
    expect_clear_result(rec);
    expect_callers_fields(rec);
    EXPECT_EQ(curl.calls(), lines{"init"});
    EXPECT_EQ(logged(), lines{});
}

TEST(Init, FailsWithoutAHandle)
{
    fake_curl curl;
    curl.have_no_handle();
    curl_e_handle_t rec = full_record(curl);
    EXPECT_EQ(curl_e_init(&rec), 1);
    EXPECT_EQ(rec.curl, nullptr);
    expect_clear_result(rec);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(140): curl_easy_init(): NULL\n"});
}

TEST(ClearResult, ClearsTheResultBlockAlone)
{
    fake_curl curl;
    curl_e_handle_t rec = full_record(curl);
    curl_e_clear_result(&rec);
    expect_clear_result(rec);
    expect_callers_fields(rec);
    EXPECT_EQ(rec.curl, curl.handle());
    EXPECT_EQ(rec.proxy_type, 1);
    EXPECT_EQ(rec.connect_only, 2);
    EXPECT_EQ(rec.total_time, 5);
    EXPECT_EQ(rec.list_borrowed, 6);
}

TEST(IsCurlError, IsSetByACurlCodeOrAnError)
{
    const struct {
        int32_t curl_code;
        int32_t error;
        int expected;
    } cases[] = {{0, 0, 0}, {0, 11, 1}, {78, 0, 1}, {28, 16, 1}, {-1, 0, 1}};
    for (const auto &c : cases) {
        curl_e_handle_t rec{};
        rec.response_code = 550; // no error by itself
        rec.curl_code = c.curl_code;
        rec.error = c.error;
        EXPECT_EQ(is_curl_error(&rec), c.expected);
    }
}

TEST(CopyHandle, BorrowsEverythingAndStartsWithAClearResult)
{
    fake_curl curl;
    curl_e_handle_t rec = full_record(curl);
    list_setting_info_t settings{};
    rec.list_borrowed = 0;
    rec.list_info = &settings;
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, &rec);
    EXPECT_EQ(copy.curl, curl.handle());
    EXPECT_EQ(copy.proxy_type, 1);
    EXPECT_EQ(copy.connect_only, 2);
    EXPECT_EQ(copy.total_time, 5);
    EXPECT_EQ(copy.list_borrowed, 1);
    EXPECT_EQ(copy.list_info, &settings);
    expect_callers_fields(copy);
    expect_clear_result(copy);
    EXPECT_EQ(rec.list_borrowed, 0);
    EXPECT_EQ(rec.error, 10);
}

TEST(MoveHandle, HandsEverythingOverAndLeavesTheSourceEmpty)
{
    fake_curl curl;
    curl_e_handle_t src = full_record(curl);
    src.list_borrowed = 0;
    curl_e_setopt_listfunc_data(&src, cb_entry, nullptr);
    src.curl_code = 9;
    src.error = 10;
    list_setting_info_t *settings = src.list_info;
    curl_e_handle_t dst{};
    curl_e_setopt_listfunc_data(&(dst.curl = curl.handle(), dst), cb_entry, &dst); // freed by the move
    curl_e_move_handle(&dst, &src);
    EXPECT_EQ(dst.curl, curl.handle());
    EXPECT_EQ(dst.list_info, settings);
    EXPECT_EQ(dst.list_borrowed, 0);
    EXPECT_EQ(dst.curl_code, 9);
    EXPECT_EQ(dst.error, 10);
    EXPECT_EQ(dst.response_code_type, 11);
    EXPECT_EQ(dst.response_code, 12);
    expect_callers_fields(dst);
    EXPECT_EQ(src.curl, nullptr);
    EXPECT_EQ(src.list_info, nullptr);
    EXPECT_EQ(src.list_borrowed, 0);
    curl_e_cleanup(&dst);
    logged();
}

TEST(MoveHandle, FreesTheDestinationsSettingsEvenWhenTheyAreMarkedBorrowed)
{
    fake_curl curl;
    record_t dst(curl);
    record_t src(curl);
    curl_e_setopt_listfunc_data(&dst, cb_entry, nullptr);
    dst.list_borrowed = 1;
    curl_e_move_handle(&dst, &src); // the leak check would tell
    EXPECT_EQ(dst.list_info, nullptr);
    EXPECT_EQ(dst.list_borrowed, 0);
}

TEST(MoveHandle, KeepsSettingsThatBothHoldAndOwnsThemThen)
{
    fake_curl curl;
    record_t rec(curl);
    curl_e_setopt_listfunc_data(&rec, cb_entry, &curl);
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, &rec);
    curl_e_move_handle(&rec, &copy);
    ASSERT_NE(rec.list_info, nullptr);
    EXPECT_EQ(rec.list_info->context, &curl);
    EXPECT_EQ(rec.list_borrowed, 0);
    EXPECT_EQ(copy.list_info, nullptr);
    curl_e_cleanup(&rec);
}

TEST(MoveHandle, KeepsTheBorrowedMarkOfASourceWithOtherSettings)
{
    fake_curl curl;
    record_t owner(curl);
    curl_e_setopt_listfunc_data(&owner, cb_entry, nullptr);
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, &owner);
    record_t dst(curl);
    curl_e_move_handle(&dst, &copy);
    EXPECT_EQ(dst.list_info, owner.list_info);
    EXPECT_EQ(dst.list_borrowed, 1);
    curl_e_cleanup(&owner);
}

// Settings with a running capture that holds data.
static void give_listing(curl_e_handle_t &rec)
{
    curl_e_setopt_listfunc_data(&rec, cb_entry, nullptr);
    rec.list_info->tmp = static_cast<list_tmp_t *>(calloc(1, sizeof(list_tmp_t)));
    list_data_add(rec.list_info->tmp, "line", 4);
}

TEST(Reset, GoesBackToTheDefaultsAndKeepsTheHandle)
{
    fake_curl curl;
    record_t rec(curl);
    give_listing(rec);
    rec.list_borrowed = 1; // freed all the same: the leak check would tell
    rec.error = 5;
    rec.total_time = 2;
    curl.calls();
    curl_e_reset(&rec);
    EXPECT_EQ(curl.calls(), lines{"reset"});
    EXPECT_EQ(rec.curl, curl.handle());
    EXPECT_EQ(rec.list_info, nullptr);
    EXPECT_EQ(rec.list_borrowed, 0);
    EXPECT_EQ(rec.error, 5);
    EXPECT_EQ(rec.total_time, 2);
    curl_e_reset(&rec); // without a listing
    EXPECT_EQ(curl.calls(), lines{"reset"});
}

TEST(Cleanup, ReleasesTheHandleAndTheListing)
{
    fake_curl curl;
    record_t rec(curl);
    give_listing(rec);
    rec.list_borrowed = 1;
    rec.error = 5;
    curl.calls();
    curl_e_cleanup(&rec);
    EXPECT_EQ(curl.calls(), lines{"cleanup"});
    EXPECT_EQ(rec.curl, nullptr);
    EXPECT_EQ(rec.list_info, nullptr);
    EXPECT_EQ(rec.list_borrowed, 0);
    EXPECT_EQ(rec.error, 5);
}

TEST(LimitFarewell, HasTheLimitTakenOverByAPerformWithoutUrl)
{
    fake_curl curl;
    record_t rec(curl);
    rec.curl_code = CURLE_OPERATION_TIMEDOUT;
    rec.error = FTPCD_ERR_TIMEOUT;
    curl.will_perform(CURLE_URL_MALFORMAT);
    curl_e_limit_farewell(&rec);
    EXPECT_EQ(curl.calls(),
              (lines{"VERBOSE 0", "NOPROGRESS 1", "URL NULL", "SERVER_RESPONSE_TIMEOUT 2", "perform"}));
    EXPECT_EQ(rec.curl_code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(rec.error, FTPCD_ERR_TIMEOUT);
    EXPECT_EQ(logged(), lines{});
}

TEST(LimitFarewell, NeverPerformsAfterARefusal)
{
    const char *options[] = {"VERBOSE", "NOPROGRESS", "URL", "SERVER_RESPONSE_TIMEOUT"};
    for (int nth = 1; nth <= 4; ++nth) {
        fake_curl curl;
        record_t rec(curl);
        curl.refuse(nth, CURLE_UNKNOWN_OPTION);
        curl_e_limit_farewell(&rec);
        EXPECT_EQ(curl.calls().size(), static_cast<size_t>(nth));
        EXPECT_EQ(is_curl_error(&rec), 0);
        EXPECT_EQ(logged(), lines{failed(170 + nth, "curl_easy_setopt",
                                         "CURLOPT_" + std::string(options[nth - 1]), 48)});
    }
}

TEST(LimitFarewell, LeavesARecordWithoutHandleAlone)
{
    fake_curl curl;
    record_t rec(curl);
    rec.curl = nullptr;
    curl_e_limit_farewell(&rec);
    EXPECT_EQ(curl.calls(), lines{});
}
