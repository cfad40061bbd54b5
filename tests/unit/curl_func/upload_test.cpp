#include "curl_func/data_callbacks.h"
#include "curl_func/progress.h"
#include "worker_fixture.h"

#include <algorithm>
#include <cerrno>

TEST_F(Upload, SendsTheLocalFile)
{
    script([](curl_e_handle_t *) {
        std::string noise = "reply";
        EXPECT_EQ(wrapper_.write, cb_write_null);
        EXPECT_EQ(wrapper_.write(noise.data(), 1, 5, wrapper_.write_data), 5u);
        EXPECT_EQ(send(6), "012345");
        EXPECT_EQ(send(6), "6789");
        EXPECT_EQ(progress(0, 0, 10, 10), 0);
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(shown.total_size, 10);
    EXPECT_EQ(shown.transferred_size, 10);
    EXPECT_EQ(wrapper_.asked, story({upload_from_start, "copy.upload_buffersize(262144)", "writefunc_data()",
                                     "readfunc_data()", "progressfunc_data()", "copy.fresh_connect(0)",
                                     "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
    EXPECT_EQ(content(local), "0123456789");
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Upload, GathersMoreOverSftpAndClosesItsSocketsAfterDeliveryOverTls)
{
    const calls plain{"copy.upload_buffersize(262144)"};
    const calls over_tls{"copy.upload_buffersize(262144)", "copy.closesocketfunc_data()"};
    const calls over_ssh{"copy.upload_buffersize(2097152)"};
    const calls expected[] = {plain, over_tls, over_tls, over_ssh, plain};
    for (uint32_t protocol = 0; protocol < std::size(expected); protocol++) {
        wrapper_ = {};
        request.protocol = protocol;
        script(send_all);
        EXPECT_EQ(run(JOB_UPLOAD), 0u);
        const calls &asked = wrapper_.asked;
        const auto upload = std::find(asked.begin(), asked.end(), upload_from_start);
        ASSERT_NE(upload, asked.end());
        EXPECT_EQ(calls(upload + 1, std::find(upload, asked.end(), "writefunc_data()")), expected[protocol]);
    }
}

TEST_F(Upload, ARefusedBufferSizeIsIgnored)
{
    wrapper_.refused = "copy.upload_buffersize";
    script(send_all);
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Upload, StopsAtTheOptionThatIsRefused)
{
    expect_stops_at_each(JOB_UPLOAD,
                         {"port", "upload", "writefunc_data", "readfunc_data", "progressfunc_data"});
}

TEST_F(Upload, ThatIsTriedAgainSendsTheFileFromItsStart)
{
    script([](curl_e_handle_t *handle) {
        send(7);
        ends_with(16, 55)(handle);
    });
    script([](curl_e_handle_t *) {
        wrapper_.size_upload = 0;
        EXPECT_EQ(send(20), "0123456789");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(content(local), "0123456789");
}

TEST_F(Upload, ThatStallsIsTriedAgainWithoutALimitOfTimeouts)
{
    for (int i = 0; i < 5; i++)
        script([](curl_e_handle_t *handle) {
            wrapper_.total_time_s = 0;
            EXPECT_EQ(progress(0, 0, 10, 0), 0);
            wrapper_.total_time_s = 961;
            EXPECT_EQ(progress(0, 0, 10, 0), 1);
            handle->curl_code = 42;
        });
    EXPECT_EQ(run(JOB_UPLOAD), 14u);
    EXPECT_EQ(wrapper_.performed, 5);
    EXPECT_EQ(shown.retry_count, 4u);
    EXPECT_EQ(shown.curl_code, 42u);
}

TEST_F(Upload, ThatIsCancelledKeepsItsLocalFile)
{
    script(meets_a_cancel);
    EXPECT_EQ(run(JOB_UPLOAD), 1u);
    EXPECT_EQ(content(local), "0123456789");
}

TEST_F(Upload, AFailedCloseIsOnlyLoggedAlsoAfterARefusedOption)
{
    script(send_all);
    for (const uint32_t result : {0u, 5u}) {
        wrapper_.refused = result == 0 ? "" : "upload";
        system.fclose = EIO;
        EXPECT_EQ(run(JOB_UPLOAD), result);
        EXPECT_EQ(logged(), lines{"error: curl_func(804): errno(5) Input/output error\n"});
    }
}

// --- Resume

TEST_F(Upload, ThatResumesAppendsWhatIsMissing)
{
    resume_at(4);
    script([](curl_e_handle_t *handle) {
        EXPECT_EQ(handle->resume, 1);
        EXPECT_EQ(handle->resume_offset, 4);
        EXPECT_EQ(send(20), "456789");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(wrapper_.asked,
              story({"append(1)", "upload(\"" + local + "\", 1, 4)", "copy.upload_buffersize(262144)",
                     "writefunc_data()", "readfunc_data()", "progressfunc_data()", "copy.fresh_connect(0)",
                     "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
    EXPECT_EQ(logged(), lines{"curl_func(740): last canceled file size: (4)\n"});
    EXPECT_EQ(remote_file.size, 4);
}

TEST_F(Upload, ResumesWithAnyNonZeroLowByteButNotBeyondTheFilesEnd)
{
    const struct {
        uint32_t looked_up;
        int64_t size;
        const char *sent;
        uint32_t result;
    } table[] = {{0x80, 1, "123456789", 0}, {0x100, 4, "0123456789", 0}, {1, 11, "", 16}};
    for (const auto &row : table) {
        wrapper_ = {};
        resume_at(row.size);
        remote_file.looked_up = row.looked_up;
        script([&](curl_e_handle_t *) { EXPECT_EQ(send(20), row.sent); });
        EXPECT_EQ(run(JOB_UPLOAD), row.result) << row.sent;
        EXPECT_EQ(wrapper_.asked_of("append").size(), row.looked_up == 0x100 ? 0u : 1u);
    }
}

TEST_F(Upload, WithoutAKnownSizeToResumeAtFailsWithoutConnecting)
{
    for (const int64_t size : {0, -1}) {
        wrapper_ = {};
        resume_at(size);
        EXPECT_EQ(run(JOB_UPLOAD), 5u);
        EXPECT_EQ(wrapper_.performed, 0);
        EXPECT_EQ(logged(),
                  lines{"error: curl_func(752): The last file size is invalid, abort resume mode.\n"});
        expect_all_given_back();
    }
}

TEST_F(Upload, OfAFileThatCannotBePositionedIsALocalReadError)
{
    resume_at(4);
    system.fseeko = EINVAL;
    EXPECT_EQ(run(JOB_UPLOAD), 10u);
    EXPECT_EQ(wrapper_.performed, 0);
    EXPECT_EQ(logged(), (lines{"curl_func(740): last canceled file size: (4)\n",
                               "error: curl_func(742): errno(22) Invalid argument\n"}));
}

TEST_F(Upload, StopsAtARefusedAppend)
{
    resume_at(4);
    wrapper_.refused = "append";
    EXPECT_EQ(run(JOB_UPLOAD), 5u);
    EXPECT_EQ(wrapper_.performed, 0);
    EXPECT_EQ(wrapper_.asked_of("upload"), calls{});
}

TEST_F(Upload, ThatResumesAndIsRetriedAppendsTheWholeFileAndFails)
{
    resume_at(4);
    script(ends_with(16, 55));
    script([this](curl_e_handle_t *handle) {
        EXPECT_EQ(send(20), "0123456789");
        append(local, "more"); // now the file is as long as the 4 bytes and all that was sent
        EXPECT_EQ(handle->resume, 1);
    });
    EXPECT_EQ(run(JOB_UPLOAD), 16u);
    EXPECT_EQ(wrapper_.asked_of("append").size(), 1u);
}

TEST_F(Upload, ThatResumesThroughAnHttpProxyIsRefusedBecauseItWouldReplaceTheFile)
{
    request.proxy_type = PROXY_HTTP;
    SET_TEXT(request.proxy_host, "proxy");
    for (const uint32_t protocol : {3u, 2u, 1u, 0u}) {
        wrapper_ = {};
        request.protocol = protocol;
        resume_at(4);
        EXPECT_EQ(run(JOB_UPLOAD), 15u);
        EXPECT_EQ(wrapper_.performed, 0);
        EXPECT_EQ(logged(),
                  lines{"error: curl_func(719): Resume through an HTTP proxy is not supported: it would "
                        "replace the file.\n"});
        expect_all_given_back();
    }
    wrapper_ = {};
    remote_file.looked_up = 0;
    script(send_all);
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}
