#include "curl_func/data_callbacks.h"
#include "curl_func/progress.h"
#include "worker_fixture.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

TEST_F(Worker, AnUploadSendsTheLocalFile)
{
    const std::string local = write("local", "0123456789");
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
    EXPECT_EQ(wrapper_.asked,
              story({"upload(\"" + local + "\", 0, -1)", "copy.upload_buffersize(262144)", "writefunc_data()",
                     "readfunc_data()", "progressfunc_data()", "copy.fresh_connect(0)", "connect_timeout(60)",
                     "operation_timeout(0)", "perform()"}));
    EXPECT_EQ(content(local), "0123456789");
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, AnUploadGathersTwoMebibytesAtATimeOverSftpAndLessElsewhere)
{
    write("local", "x");
    for (const uint32_t protocol : {0u, 1u, 2u, 3u, 6u}) {
        wrapper_ = {};
        request.protocol = protocol;
        script(send_all);
        EXPECT_EQ(run(JOB_UPLOAD), 0u);
        const auto &asked = wrapper_.asked;
        const auto upload = std::find(asked.begin(), asked.end(), "upload(\"" + path("local") + "\", 0, -1)");
        ASSERT_NE(upload, asked.end());
        EXPECT_EQ(upload[1],
                  protocol == 3 ? "copy.upload_buffersize(2097152)" : "copy.upload_buffersize(262144)");
    }
}

TEST_F(Worker, AnUploadOverTlsClosesItsSocketsAfterDelivery)
{
    write("local", "x");
    for (const uint32_t protocol : {PROTOCOL_FTPS_IMPLICIT, PROTOCOL_FTPS_EXPLICIT}) {
        request.protocol = protocol;
        script(send_all);
        EXPECT_EQ(run(JOB_UPLOAD), 0u);
        const auto &asked = wrapper_.asked;
        const auto upload = std::find(asked.begin(), asked.end(), "upload(\"" + path("local") + "\", 0, -1)");
        ASSERT_NE(upload, asked.end());
        EXPECT_EQ(upload[2], "copy.closesocketfunc_data()");
        wrapper_ = {};
    }
}

TEST_F(Worker, ABufferThatIsRefusedIsNoFailure)
{
    write("local", "x");
    for (const uint32_t protocol : {PROTOCOL_FTP, PROTOCOL_SFTP}) {
        wrapper_ = {};
        request.protocol = protocol;
        wrapper_.refused = "copy.upload_buffersize";
        script(send_all);
        EXPECT_EQ(run(JOB_UPLOAD), 0u);
    }
}

TEST_F(Worker, AnUploadWithoutALocalFileFails)
{
    EXPECT_EQ(run(JOB_UPLOAD), 10u);
    EXPECT_EQ(logged(), lines{"error: curl_func(729): errno(2) No such file or directory\n"});
    EXPECT_EQ(wrapper_.performed, 0);
    expect_all_given_back();
}

TEST_F(Worker, AnUploadOfWhatIsNoRegularFileIsRefusedBeforeAnythingIsConnected)
{
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(symlink("pipe", path("link").c_str()), 0);
    const struct {
        std::string path;
        const char *error;
    } table[] = {
        {path("."), "errno(21) Is a directory"},      {path("pipe"), "errno(22) Invalid argument"},
        {path("link"), "errno(22) Invalid argument"}, {"/dev/null", "errno(22) Invalid argument"},
        {"/dev/zero", "errno(22) Invalid argument"},
    };
    for (const auto &row : table) {
        wrapper_ = {};
        set_local_path(row.path);
        EXPECT_EQ(run(JOB_UPLOAD), 10u) << row.path;
        EXPECT_EQ(wrapper_.performed, 0);
        EXPECT_EQ(logged(), lines{"error: curl_func(729): " + std::string(row.error) + '\n'});
        expect_all_given_back();
    }
}

TEST_F(Worker, ALinkToARegularFileIsUploaded)
{
    write("target", "0123");
    ASSERT_EQ(symlink("target", path("local").c_str()), 0);
    script([](curl_e_handle_t *) { EXPECT_EQ(send(100), "0123"); });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Worker, AnUploadOfAFileThatGrewIsWholeWithAllThatItHeldAtFirst)
{
    const std::string local = write("local", "0123456789");
    script([&](curl_e_handle_t *) {
        EXPECT_EQ(send(10), "0123456789");
        append(local, "more");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, AnUploadThatEndsBeforeWhatTheFileHeldAtFirstIsPartial)
{
    const std::string local = write("local", "0123456789");
    script([&](curl_e_handle_t *) {
        EXPECT_EQ(send(9), "012345678");
        append(local, "more");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 16u);
    EXPECT_EQ(shown.curl_code, 18u);
    EXPECT_EQ(logged(),
              lines{"error: curl_func(797): The local file was changed while it was sent: 9 of 14 bytes\n"});
}

TEST_F(Worker, AnUploadOfAFileThatGrewAndWasSentToItsEndIsWhole)
{
    const std::string local = write("local", "0123456789");
    script([&](curl_e_handle_t *) {
        send(10);
        append(local, "more");
        EXPECT_EQ(send(10), "more");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Worker, AnUploadOfAFileThatShrankIsPartial)
{
    const std::string local = write("local", "0123456789");
    script([&](curl_e_handle_t *) {
        send(10);
        ASSERT_EQ(truncate(local.c_str(), 3), 0);
    });
    EXPECT_EQ(run(JOB_UPLOAD), 16u);
    EXPECT_EQ(logged(),
              lines{"error: curl_func(797): The local file was changed while it was sent: 10 of 3 bytes\n"});
}

TEST_F(Worker, AnUploadWhoseNameHasGoneToAnotherFileSendsTheOneThatWasOpened)
{
    const std::string local = write("local", "0123456789");
    script([&](curl_e_handle_t *) {
        ASSERT_EQ(rename(write("other", "x").c_str(), local.c_str()), 0);
        EXPECT_EQ(send(100), "0123456789");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Worker, AFileThatSaysItIsEmptyAndOfWhichNothingWasSentIsPartial)
{
    set_local_path("/proc/self/status");
    script([](curl_e_handle_t *) {});
    EXPECT_EQ(run(JOB_UPLOAD), 16u);
}

TEST_F(Worker, AFileThatSaysItIsEmptyAndIsNotIsPartial)
{
    set_local_path("/proc/self/status");
    script([](curl_e_handle_t *) { EXPECT_NE(send(10), ""); });
    EXPECT_EQ(run(JOB_UPLOAD), 16u);
    EXPECT_EQ(logged(),
              lines{"error: curl_func(797): The local file was changed while it was sent: 10 of 0 bytes\n"});
}

TEST_F(Worker, AnUploadWhoseOptionIsRefusedStopsThere)
{
    write("local", "x");
    for (const char *refused : {"upload", "writefunc_data", "readfunc_data", "progressfunc_data"}) {
        wrapper_ = {};
        wrapper_.refused = refused;
        EXPECT_EQ(run(JOB_UPLOAD), 5u) << refused;
        EXPECT_EQ(wrapper_.performed, 0);
        expect_all_given_back();
        const auto &asked = wrapper_.asked;
        EXPECT_EQ(asked[asked.size() - 4].substr(0, std::string(refused).size()), refused);
    }
    wrapper_ = {};
    wrapper_.refused = "port";
    EXPECT_EQ(run(JOB_UPLOAD), 5u);
    EXPECT_EQ(wrapper_.performed, 0);
}

TEST_F(Worker, AnUploadThatIsTriedAgainSendsTheFileFromItsStart)
{
    write("local", "0123456789");
    script([](curl_e_handle_t *handle) {
        send(7);
        ends_with(16, 55)(handle);
    });
    script([](curl_e_handle_t *) {
        wrapper_.size_upload = 0;
        EXPECT_EQ(send(20), "0123456789");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(content(path("local")), "0123456789");
}

TEST_F(Worker, AnUploadThatStallsIsTriedAgainWithoutALimitOfTimeouts)
{
    write("local", "0123456789");
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

TEST_F(Worker, ACancelledUploadKeepsItsLocalFile)
{
    write("local", "0123456789");
    script([](curl_e_handle_t *handle) {
        job_.record.module_info.cancel = 1;
        EXPECT_EQ(progress(0, 0, 10, 5), 1);
        handle->curl_code = 42;
    });
    EXPECT_EQ(run(JOB_UPLOAD), 1u);
    EXPECT_EQ(content(path("local")), "0123456789");
}

TEST_F(Worker, AnUploadsFileThatCannotBeClosedIsLoggedOnly)
{
    write("local", "x");
    script([&](curl_e_handle_t *) {
        send(1);
        system.fclose = EIO;
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(804): errno(5) Input/output error\n"});
}

TEST_F(Worker, ARefusedOptionStillClosesTheFile)
{
    write("local", "x");
    wrapper_.refused = "upload";
    system.fclose = EIO;
    EXPECT_EQ(run(JOB_UPLOAD), 5u);
    EXPECT_EQ(logged(), lines{"error: curl_func(804): errno(5) Input/output error\n"});
}

// --- Resume

TEST_F(Worker, AResumedUploadAppendsWhatIsMissing)
{
    write("local", "0123456789");
    remote_file = {1, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0};
    script([](curl_e_handle_t *handle) {
        EXPECT_EQ(handle->resume, 1);
        EXPECT_EQ(handle->resume_offset, 4);
        EXPECT_EQ(send(20), "456789");
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(wrapper_.asked,
              story({"append(1)", "upload(\"" + path("local") + "\", 1, 4)", "copy.upload_buffersize(262144)",
                     "writefunc_data()", "readfunc_data()", "progressfunc_data()", "copy.fresh_connect(0)",
                     "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{6, "curl_func(740): last canceled file size: (4)\n"}}));
    EXPECT_EQ(remote_file.size, 4);
}

TEST_F(Worker, AnyByteThatIsNotZeroIsAResumeFlag)
{
    write("local", "0123456789");
    remote_file = {0x80, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
    script([](curl_e_handle_t *) { EXPECT_EQ(send(20), "123456789"); });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Worker, AnUploadWithoutTheResumeFlagIgnoresTheRemoteFile)
{
    write("local", "0123456789");
    remote_file = {0x100, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0};
    script([](curl_e_handle_t *) { EXPECT_EQ(send(20), "0123456789"); });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(wrapper_.asked_of("append"), calls{});
}

TEST_F(Worker, AResumeWithoutAKnownSizeFailsWithoutConnecting)
{
    write("local", "0123456789");
    for (const int64_t size : {0, -1}) {
        wrapper_ = {};
        remote_file = {1, 0, size, 0, 0, 0, 0, 0, 0, 0, 0};
        EXPECT_EQ(run(JOB_UPLOAD), 5u);
        EXPECT_EQ(wrapper_.performed, 0);
        EXPECT_EQ(logged_with_priority(),
                  (std::vector<log_line>{
                      {3, "error: curl_func(752): The last file size is invalid, abort resume mode.\n"}}));
        expect_all_given_back();
    }
}

TEST_F(Worker, AResumeBehindTheEndOfTheFileIsNoSuccess)
{
    write("local", "0123456789");
    remote_file = {1, 1, 11, 0, 0, 0, 0, 0, 0, 0, 0};
    script([](curl_e_handle_t *) { EXPECT_EQ(send(20), ""); });
    EXPECT_EQ(run(JOB_UPLOAD), 16u);
}

TEST_F(Worker, AFileThatCannotBePositionedIsALocalReadError)
{
    write("local", "0123456789");
    remote_file = {1, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0};
    system.fseeko = EINVAL;
    EXPECT_EQ(run(JOB_UPLOAD), 10u);
    EXPECT_EQ(wrapper_.performed, 0);
    EXPECT_EQ(logged(), (lines{"curl_func(740): last canceled file size: (4)\n",
                               "error: curl_func(742): errno(22) Invalid argument\n"}));
}

TEST_F(Worker, AnAppendThatIsRefusedStopsTheUpload)
{
    write("local", "0123456789");
    remote_file = {1, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0};
    wrapper_.refused = "append";
    EXPECT_EQ(run(JOB_UPLOAD), 5u);
    EXPECT_EQ(wrapper_.performed, 0);
    EXPECT_EQ(wrapper_.asked_of("upload"), calls{});
}

TEST_F(Worker, AResumedUploadThatIsTriedAgainAppendsTheWholeFileAndFailsForThat)
{
    write("local", "0123456789");
    remote_file = {1, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0};
    script(ends_with(16, 55));
    script([](curl_e_handle_t *handle) {
        EXPECT_EQ(send(20), "0123456789");
        EXPECT_EQ(handle->resume, 1);
    });
    EXPECT_EQ(run(JOB_UPLOAD), 16u);
    EXPECT_EQ(wrapper_.asked_of("append").size(), 1u);
}

TEST_F(Worker, AResumeThroughAnHttpProxyIsRefusedSinceItWouldReplaceTheFile)
{
    write("local", "0123456789");
    request.proxy_type = PROXY_HTTP;
    SET_TEXT(request.proxy_host, "proxy");
    for (const uint32_t protocol : {0u, 1u, 2u, 3u}) {
        wrapper_ = {};
        request.protocol = protocol;
        remote_file = {1, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0};
        EXPECT_EQ(run(JOB_UPLOAD), 15u);
        EXPECT_EQ(wrapper_.performed, 0);
        EXPECT_EQ(logged(),
                  lines{"error: curl_func(719): Resume through an HTTP proxy is not supported: it would "
                        "replace the file.\n"});
        expect_all_given_back();
    }
    wrapper_ = {};
    request.protocol = 0;
    remote_file.looked_up = 0;
    script([](curl_e_handle_t *) { EXPECT_EQ(send(20), "0123456789"); });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}
