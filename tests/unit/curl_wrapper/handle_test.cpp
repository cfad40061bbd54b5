#include "record.h"
#include "wire/result_codes.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

static int cb_entry(list_info_t *, void *, int) { return 0; }

using numbers = std::vector<int64_t>;

// A record with every field set.
static curl_e_handle_t full_record(fake_curl &fake)
{
    return {.curl = fake.handle(),
            .proxy_type = 1,
            .connect_only = 2,
            .resume = 3,
            .resume_offset = 4,
            .total_time = 5,
            .list_borrowed = 6,
            .list_info = nullptr,
            .callback_aborted_logged = 8,
            .operation_timed_out = 14,
            .on_close = [](void *) { FAIL() << "called although nothing was closed"; },
            .close_context = &fake,
            .curl_code = 9,
            .error = 10,
            .response_code_type = 11,
            .response_code = 12,
            .spare = 13};
}

static numbers result_of(const curl_e_handle_t &rec)
{
    return {rec.curl_code, rec.error, rec.response_code_type, rec.response_code};
}

// The fields of the connection, and whether the listing is borrowed.
static numbers own_fields_of(const curl_e_handle_t &rec)
{
    return {rec.proxy_type, rec.connect_only, static_cast<int64_t>(rec.total_time), rec.list_borrowed};
}

static numbers callers_fields_of(const curl_e_handle_t &rec)
{
    return {rec.resume, rec.resume_offset, rec.callback_aborted_logged, rec.spare};
}
static const numbers CALLERS{3, 4, 8, 13};

TEST(Init, CreatesAHandleAndClearsAllButTheCallersFields)
{
    fake_curl fake;
    curl_e_handle_t rec = full_record(fake);
    rec.curl = nullptr;
    rec.list_info = reinterpret_cast<list_setting_info_t *>(&rec); // never dereferenced
    EXPECT_EQ(curl_e_init(&rec), 0);
    EXPECT_EQ(rec.curl, fake.handle());
    EXPECT_EQ(own_fields_of(rec), numbers(4, 0));
    EXPECT_EQ(rec.list_info, nullptr);
    EXPECT_EQ(rec.operation_timed_out, 0u);
    EXPECT_EQ(rec.on_close, nullptr);
    EXPECT_EQ(rec.close_context, nullptr);
    EXPECT_EQ(result_of(rec), numbers(4, 0));
    EXPECT_EQ(callers_fields_of(rec), CALLERS);
    EXPECT_EQ(fake.calls(), lines{"init"});
}

TEST(Init, FailsWithoutAHandle)
{
    fake_curl fake;
    fake.have_no_handle();
    curl_e_handle_t rec = full_record(fake);
    EXPECT_EQ(curl_e_init(&rec), 1);
    EXPECT_EQ(rec.curl, nullptr);
    EXPECT_EQ(result_of(rec), numbers(4, 0));
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(140): curl_easy_init(): NULL\n"});
}

TEST(ClearResult, ClearsOnlyTheResultBlock)
{
    fake_curl fake;
    curl_e_handle_t rec = full_record(fake);
    curl_e_clear_result(&rec);
    EXPECT_EQ(result_of(rec), numbers(4, 0));
    EXPECT_EQ(callers_fields_of(rec), CALLERS);
    EXPECT_EQ(rec.curl, fake.handle());
    EXPECT_EQ(own_fields_of(rec), (numbers{1, 2, 5, 6}));
}

TEST(IsCurlError, IsSetByACurlCodeOrAnError)
{
    const std::tuple<int32_t, int32_t, int> cases[] = {
        {0, 0, 0}, {0, 11, 1}, {78, 0, 1}, {28, 16, 1}, {-1, 0, 1}};
    for (const auto &[curl_code, error, expected] : cases) {
        curl_e_handle_t rec{};
        rec.response_code = 550; // not an error by itself
        rec.curl_code = curl_code;
        rec.error = error;
        EXPECT_EQ(is_curl_error(&rec), expected);
    }
}

TEST(CopyHandle, BorrowsEverythingAndStartsWithAClearResult)
{
    fake_curl fake;
    curl_e_handle_t rec = full_record(fake);
    list_setting_info_t settings{};
    rec.list_borrowed = 0;
    rec.list_info = &settings;
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, &rec);
    EXPECT_EQ(copy.curl, fake.handle());
    EXPECT_EQ(own_fields_of(copy), (numbers{1, 2, 5, 1}));
    EXPECT_EQ(copy.list_info, &settings);
    EXPECT_EQ(callers_fields_of(copy), CALLERS);
    EXPECT_EQ(result_of(copy), numbers(4, 0));
    EXPECT_EQ(rec.list_borrowed, 0);
    EXPECT_EQ(result_of(rec), (numbers{9, 10, 11, 12}));
}

TEST(MoveHandle, MovesEverythingAndFreesTheDestinationsSettingsEvenIfMarkedBorrowed)
{
    record_t dst; // the leak check sees what is not freed
    curl_e_setopt_listfunc_data(&dst, cb_entry, &dst);
    dst.list_borrowed = 1;
    curl_e_handle_t src = full_record(dst.fake);
    src.list_borrowed = 0;
    curl_e_setopt_listfunc_data(&src, cb_entry, nullptr);
    src.curl_code = 9;
    src.error = 10;
    list_setting_info_t *settings = src.list_info;
    curl_e_move_handle(&dst, &src);
    EXPECT_EQ(dst.curl, dst.fake.handle());
    EXPECT_EQ(dst.list_info, settings);
    EXPECT_EQ(own_fields_of(dst), (numbers{1, 2, 5, 0}));
    EXPECT_EQ(result_of(dst), (numbers{9, 10, 11, 12}));
    EXPECT_EQ(callers_fields_of(dst), CALLERS);
    EXPECT_EQ(src.curl, nullptr);
    EXPECT_EQ(src.list_info, nullptr);
    EXPECT_EQ(src.list_borrowed, 0);
    curl_e_cleanup(&dst);
    logged();
}

TEST(MoveHandle, TakesOverSharedSettingsButNotThoseOfAThirdRecord)
{
    record_t owner;
    curl_e_setopt_listfunc_data(&owner, cb_entry, &owner);
    curl_e_handle_t copy;
    curl_e_copy_handle(&copy, &owner);
    curl_e_handle_t third{};
    curl_e_move_handle(&third, &copy);
    EXPECT_EQ(third.list_info, owner.list_info);
    EXPECT_EQ(third.list_borrowed, 1);
    EXPECT_EQ(copy.list_info, nullptr);
    curl_e_move_handle(&owner, &third);
    ASSERT_NE(owner.list_info, nullptr);
    EXPECT_EQ(owner.list_info->context, &owner);
    EXPECT_EQ(owner.list_borrowed, 0);
    EXPECT_EQ(third.list_info, nullptr);
    curl_e_cleanup(&owner);
}

TEST(ResetAndCleanup, FreeTheListingThoughItIsMarkedBorrowedAndResetKeepsTheHandle)
{
    for (const auto release : {curl_e_reset, curl_e_cleanup}) {
        record_t rec; // the leak check sees what is not freed
        curl_e_setopt_listfunc_data(&rec, cb_entry, nullptr);
        rec.list_info->tmp = static_cast<list_tmp_t *>(calloc(1, sizeof(list_tmp_t)));
        list_data_add(rec.list_info->tmp, "line", 4);
        rec.list_borrowed = 1;
        rec.error = 5;
        rec.total_time = 2;
        rec.fake.calls();
        release(&rec);
        EXPECT_EQ(rec.fake.calls(), lines{release == curl_e_reset ? "reset" : "cleanup"});
        EXPECT_EQ(rec.curl, release == curl_e_reset ? rec.fake.handle() : nullptr);
        EXPECT_EQ(rec.list_info, nullptr);
        EXPECT_EQ(rec.list_borrowed, 0);
        EXPECT_EQ(rec.error, 5);
        EXPECT_EQ(rec.total_time, 2);
    }
    record_t rec;
    curl_e_reset(&rec); // without a listing
    EXPECT_EQ(rec.fake.calls(), lines{"reset"});
}

TEST(LimitFarewell, AppliesTheLimitByAPerformWithoutAUrl)
{
    record_t rec;
    rec.curl_code = CURLE_OPERATION_TIMEDOUT;
    rec.error = FTPCD_ERR_TIMEOUT;
    rec.fake.will_perform(CURLE_URL_MALFORMAT);
    curl_e_limit_farewell(&rec);
    EXPECT_EQ(rec.fake.calls(),
              (lines{"VERBOSE 0", "NOPROGRESS 1", "URL NULL", "SERVER_RESPONSE_TIMEOUT 2", "perform"}));
    EXPECT_EQ(rec.curl_code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(rec.error, FTPCD_ERR_TIMEOUT);
    rec.curl = nullptr;
    curl_e_limit_farewell(&rec);
    EXPECT_EQ(rec.fake.calls(), lines{});
}

TEST(LimitFarewell, NeverPerformsAfterARefusal)
{
    const char *options[] = {"VERBOSE", "NOPROGRESS", "URL", "SERVER_RESPONSE_TIMEOUT"};
    for (int nth = 1; nth <= 4; ++nth) {
        record_t rec;
        rec.fake.refuse(nth, CURLE_UNKNOWN_OPTION);
        curl_e_limit_farewell(&rec);
        EXPECT_EQ(rec.fake.calls().size(), static_cast<size_t>(nth));
        EXPECT_EQ(is_curl_error(&rec), 0);
        EXPECT_EQ(logged(), lines{failed(170 + nth, "curl_easy_setopt",
                                         "CURLOPT_" + std::string(options[nth - 1]), 48)});
    }
}
