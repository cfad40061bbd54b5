#include "curl_func/worker.h"

#include "curl_func/callbacks.h"
#include "curl_func/identity.h"
#include "curl_func/perform.h"
#include "job_fixture.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

// The worker, run to its end on the test's own thread.
class Worker : public JobFixture
{
protected:
    Worker()
    {
        curlf_info_.module_info.running = 1;
        SET_TEXT(request.host, "srv");
        SET_TEXT(request.remote_path, "d/f.bin");
        request.passive_mode = 1;
        set_local_path(path("local"));
    }

    void set_local_path(const std::string &name) { SET_TEXT(request.local_path, name); }

    uint32_t run(uint32_t kind)
    {
        curlf_info_.module_info.exec = kind;
        EXPECT_EQ(th_exec(&curlf_info_), nullptr);
        EXPECT_EQ(curlf_info_.module_info.running, 0u);
        EXPECT_TRUE(wrapper_.tries.empty()) << "a try was not made";
        return curlf_info_.module_info.result;
    }

    void script(std::function<void(curl_e_handle_t *)> play) { wrapper_.tries.push_back(std::move(play)); }

    static size_t receive(std::string data)
    {
        return wrapper_.write(data.data(), 1, data.size(), wrapper_.write_data);
    }

    static std::string send(size_t size)
    {
        std::string data(size, '\0');
        data.resize(wrapper_.read(data.data(), 1, size, wrapper_.read_data));
        return data;
    }

    static int progress(double dltotal, double dlnow, double ultotal = 0, double ulnow = 0)
    {
        return wrapper_.progress(wrapper_.progress_data, dltotal, dlnow, ultotal, ulnow);
    }

    static int list(const char *name, int64_t size)
    {
        list_info_t entry{};
        entry.name = const_cast<char *>(name);
        entry.size = size;
        entry.kind = LIST_KIND_FILE;
        return wrapper_.list(&entry, wrapper_.list_context, 1);
    }

    static void expect_all_given_back()
    {
        const calls &asked = wrapper_.asked;
        ASSERT_GE(asked.size(), 3u);
        EXPECT_EQ(calls(asked.end() - 3, asked.end()),
                  (calls{"limit_farewell()", "cleanup()", "global_cleanup()"}));
    }

    transfer_request_t &request = curlf_info_.request;
    exec_info_t &shown = curlf_info_.exec_info;
    remote_file_t &remote_file = curlf_info_.remote_file;
};

static const calls SETTINGS{
    "url_ex(0, \"srv\", \"d/f.bin\")", "port(0)",        "username_password(\"\", \"\")", "proxy(0, \"\", 0)",
    "tcp_keepalive(1, 60, 60)",        "maxconnects(1)", "ftp_use_eprt_epsv(0)"};

static calls story(const calls &middle)
{
    calls all{"global_init(3)", "init()", "verbose(1)"};
    all.insert(all.end(), SETTINGS.begin(), SETTINGS.end());
    all.insert(all.end(), middle.begin(), middle.end());
    for (const char *end : {"limit_farewell()", "cleanup()", "global_cleanup()"})
        all.emplace_back(end);
    return all;
}

// --- Set-up and end

TEST_F(Worker, AJobWithoutLibcurlFailsAndTouchesNothing)
{
    system.global_init = 2;
    shown.curl_code = 77;
    EXPECT_EQ(run(JOB_DOWNLOAD), 5u);
    EXPECT_EQ(logged(), lines{"error: curl_func(508): curl_global_init(CURL_GLOBAL_DEFAULT): Failed(2)\n"});
    EXPECT_EQ(wrapper_.asked, calls{"global_init(3)"});
    EXPECT_EQ(shown.curl_code, 77u);
}

TEST_F(Worker, AJobWithoutAHandleFailsAndTouchesNothing)
{
    wrapper_.no_handle = true;
    shown.curl_code = 77;
    EXPECT_EQ(run(JOB_UPLOAD), 5u);
    EXPECT_EQ(wrapper_.asked, (calls{"global_init(3)", "init()", "global_cleanup()"}));
    EXPECT_EQ(shown.curl_code, 77u);
}

TEST_F(Worker, AJobOfAnotherKindTransfersNothing)
{
    EXPECT_EQ(run(9), 0u);
    EXPECT_EQ(wrapper_.asked, (calls{"global_init(3)", "init()", "verbose(1)", "limit_farewell()",
                                     "cleanup()", "global_cleanup()"}));
}

TEST_F(Worker, ALogThatIsRefusedFailsTheJobAtItsFirstOption)
{
    wrapper_.refused = "verbose";
    EXPECT_EQ(run(JOB_DOWNLOAD), 5u);
    EXPECT_EQ(wrapper_.asked, (calls{"global_init(3)", "init()", "verbose(1)", SETTINGS[0],
                                     "limit_farewell()", "cleanup()", "global_cleanup()"}));
    EXPECT_EQ(content(path("local")), "<none>");
}

TEST_F(Worker, ALibcurlErrorThatNothingExplainsIsANetworkErrorAndIsNotTriedAgain)
{
    write("local", "x");
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD, JOB_DL_FILE_INFO}) {
        wrapper_ = {};
        wrapper_.explains = false; // as when the connection before an SFTP transfer fails
        script(ends_with(0, 56));
        EXPECT_EQ(run(kind), 16u);
        EXPECT_EQ(shown.curl_code, 56u);
        EXPECT_EQ(logged(), lines{});
    }
}

TEST_F(Worker, AFileThatIsMissingBeforeTheListingIsNoAnswer)
{
    wrapper_.explains = false;
    script(ends_with(0, 78));
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 16u);
    EXPECT_EQ(remote_file.looked_up, 0u);
}

TEST_F(Worker, TheOutcomeIsStoredBeforeTheHandleIsReleased)
{
    script([](curl_e_handle_t *handle) {
        handle->response_code_type = RESPONSE_CODE_FTP;
        handle->response_code = 226;
        EXPECT_EQ(curlf_info_.module_info.running, 1u);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(shown.curl_code, 0u);
    EXPECT_EQ(shown.response_code_type, 1u);
    EXPECT_EQ(shown.response_code, 226u);
}

TEST_F(Worker, AFailureIsShownWithLibcurlsCodeAndTheServersReply)
{
    script([](curl_e_handle_t *handle) {
        ends_with(16, 78, 550)(handle);
        handle->response_code_type = RESPONSE_CODE_FTP;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 16u);
    EXPECT_EQ(shown.curl_code, 78u);
    EXPECT_EQ(shown.response_code_type, 1u);
    EXPECT_EQ(shown.response_code, 550u);
}

TEST_F(Worker, TheIdentityCheckGetsTheHandleAndThePinOfTheRequest)
{
    request.protocol = PROTOCOL_SFTP;
    script([this](curl_e_handle_t *handle) {
        const auto *auth = static_cast<const cb_auth_info_t *>(wrapper_.auth);
        EXPECT_EQ(auth->handle, handle);
        EXPECT_EQ(auth->server_auth, &request.server_auth);
    });
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 0u);
}

// --- Download

TEST_F(Worker, ADownloadGoesIntoTheLocalFile)
{
    write("local", "what stood there before");
    script([](curl_e_handle_t *) {
        EXPECT_EQ(progress(6, 0), 0);
        EXPECT_EQ(receive("abc"), 3u);
        EXPECT_EQ(receive("def"), 3u);
        wrapper_.total_time_s = 2;
        EXPECT_EQ(progress(6, 6), 0);
        wrapper_.size_download = 6;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(content(path("local")), "abcdef");
    EXPECT_EQ(shown.total_size, 6);
    EXPECT_EQ(shown.transferred_size, 6);
    EXPECT_EQ(shown.elapsed_time, 2);
    EXPECT_EQ(wrapper_.asked, story({"writefunc_data()", "progressfunc_data()", "copy.fresh_connect(0)",
                                     "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, ADownloadWhoseSettingsAreRefusedLeavesTheLocalFileAlone)
{
    write("local", "old");
    wrapper_.refused = "port";
    EXPECT_EQ(run(JOB_DOWNLOAD), 5u);
    EXPECT_EQ(content(path("local")), "old");
    expect_all_given_back();
}

TEST_F(Worker, ADownloadThatCannotCreateItsFileFails)
{
    set_local_path(path("no/such/folder"));
    EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
    EXPECT_EQ(logged(), lines{"error: curl_func(615): errno(2) No such file or directory\n"});
    EXPECT_EQ(wrapper_.performed, 0);
    expect_all_given_back();
}

TEST_F(Worker, AStreamThatCannotBeMadeIsAFileThatCannotBeOpened)
{
    system.fdopen = ENOMEM;
    EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
    EXPECT_EQ(logged(), lines{"error: curl_func(615): errno(12) Cannot allocate memory\n"});
}

TEST_F(Worker, ADownloadIntoAPipeThatNobodyReadsDoesNotWaitForAReader)
{
    ASSERT_EQ(mkfifo(path("local").c_str(), 0600), 0);
    EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
    EXPECT_EQ(logged(), lines{"error: curl_func(615): errno(6) No such device or address\n"});
}

TEST_F(Worker, ADownloadWhoseCallbackIsRefusedStopsThere)
{
    for (const char *refused : {"writefunc_data", "progressfunc_data"}) {
        wrapper_ = {};
        wrapper_.refused = refused;
        EXPECT_EQ(run(JOB_DOWNLOAD), 5u) << refused;
        EXPECT_EQ(wrapper_.performed, 0);
        expect_all_given_back();
        const auto &asked = wrapper_.asked;
        EXPECT_EQ(asked[asked.size() - 4], std::string(refused) + "()");
    }
}

TEST_F(Worker, ADownloadThatFailsLeavesItsPartialFile)
{
    script([](curl_e_handle_t *handle) {
        receive("part");
        ends_with(16, 18)(handle);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 16u);
    EXPECT_EQ(content(path("local")), "part");
}

TEST_F(Worker, ADownloadThatTimesOutKeepsItsPartialFileWhole)
{
    script([](curl_e_handle_t *handle) {
        receive("part");
        ends_with(16, 28)(handle);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 16u);
    EXPECT_EQ(content(path("local")), "part");
    EXPECT_THAT(logged(), testing::Contains("error: curl_func(1272): Timeout retry limit reached.\n"));
}

TEST_F(Worker, ADownloadThatIsTriedAgainStartsFromAnEmptyFile)
{
    script([](curl_e_handle_t *handle) {
        receive("the long first body");
        ends_with(16, 56)(handle);
    });
    script([this](curl_e_handle_t *) {
        EXPECT_EQ(content(path("local")), "");
        receive("short");
        wrapper_.size_download = 5;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(content(path("local")), "short");
    EXPECT_EQ(shown.retry_count, 1u);
}

TEST_F(Worker, ACancelledDownloadRemovesItsFile)
{
    script([](curl_e_handle_t *handle) {
        receive("part");
        curlf_info_.module_info.cancel = 1;
        EXPECT_EQ(progress(100, 4), 1);
        handle->curl_code = 42;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(shown.curl_code, 42u);
    EXPECT_EQ(content(path("local")), "<none>");
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, ADownloadCancelledDuringThePauseIsAbortedByTheNextTry)
{
    system.while_asleep = [] { curlf_info_.module_info.cancel = 1; };
    script(ends_with(16, 56));
    script([](curl_e_handle_t *handle) {
        EXPECT_EQ(progress(0, 0), 1);
        handle->curl_code = 42;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(system.naps, 1);
    EXPECT_EQ(content(path("local")), "<none>");
}

TEST_F(Worker, AFileThatCannotBeRemovedIsLogged)
{
    system.remove = EBUSY;
    script([](curl_e_handle_t *handle) {
        curlf_info_.module_info.cancel = 1;
        ends_with(1, 42)(handle);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(logged(), lines{"error: curl_func(665): errno(16) Device or resource busy\n"});
}

TEST_F(Worker, ADownloadThatDoesNotReachTheDiskIsALocalWriteError)
{
    struct {
        std::atomic<int> fake_system::*fault;
        std::string log;
    } const table[] = {
        {&fake_system::fflush, "error: curl_func(653): errno(28) No space left on device\n"},
        {&fake_system::fclose, "error: curl_func(657): errno(28) No space left on device\n"},
    };
    for (const auto &row : table) {
        script([&](curl_e_handle_t *) {
            receive("abc");
            (system.*row.fault) = ENOSPC;
        });
        EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
        EXPECT_EQ(logged(), lines{row.log});
    }
}

TEST_F(Worker, AFailedFlushDoesNotHideWhatFailedBefore)
{
    script([&](curl_e_handle_t *handle) {
        system.fflush = ENOSPC;
        ends_with(16, 18)(handle);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 16u);
    EXPECT_EQ(logged(), lines{"error: curl_func(653): errno(28) No space left on device\n"});
}

TEST_F(Worker, ADownloadThatIsTooLargeIsRefused)
{
    script([](curl_e_handle_t *handle) {
        EXPECT_EQ(progress(5000, 1), 1);
        handle->curl_code = 42;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 12u);
}

TEST_F(Worker, ADownloadIgnoresTheResumeFlagAndTheRemoteFile)
{
    remote_file = {1, 1, 500, 0, 0, 0, 0, 0, 0, 0, 0};
    script([](curl_e_handle_t *handle) { EXPECT_EQ(handle->resume, 0); });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(remote_file.looked_up, 1u);
    EXPECT_EQ(remote_file.size, 500);
}

TEST_F(Worker, ExplicitFtpsThroughAnHttpProxyDoesNotConnect)
{
    write("local", "old");
    request.protocol = PROTOCOL_FTPS_EXPLICIT;
    request.proxy_type = PROXY_HTTP;
    EXPECT_EQ(run(JOB_DOWNLOAD), 15u);
    EXPECT_EQ(run(JOB_UPLOAD), 15u);
    EXPECT_EQ(wrapper_.performed, 0);
    EXPECT_EQ(content(path("local")), "old");
}

// --- Upload

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
        wrapper_.size_upload = 10;
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    EXPECT_EQ(shown.total_size, 10);
    EXPECT_EQ(shown.transferred_size, 10);
    EXPECT_EQ(wrapper_.asked, story({"upload(\"" + local + "\", 0, -1)", "writefunc_data()",
                                     "readfunc_data()", "progressfunc_data()", "copy.fresh_connect(0)",
                                     "connect_timeout(60)", "operation_timeout(0)", "perform()"}));
    EXPECT_EQ(content(local), "0123456789");
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, AnUploadOverSftpGathersTwoMebibytesAtATime)
{
    write("local", "x");
    request.protocol = PROTOCOL_SFTP;
    script(ends_with(0));
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
    const auto &asked = wrapper_.asked;
    const auto upload = std::find(asked.begin(), asked.end(), "upload(\"" + path("local") + "\", 0, -1)");
    ASSERT_NE(upload, asked.end());
    EXPECT_EQ(upload[1], "copy.upload_buffersize(2097152)");
    EXPECT_EQ(upload[2], "writefunc_data()");
}

TEST_F(Worker, AnSftpBufferThatIsRefusedIsNoFailure)
{
    write("local", "x");
    request.protocol = PROTOCOL_SFTP;
    wrapper_.refused = "copy.upload_buffersize";
    script(ends_with(0));
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Worker, AnUploadWithoutALocalFileFails)
{
    EXPECT_EQ(run(JOB_UPLOAD), 10u);
    EXPECT_EQ(logged(), lines{"error: curl_func(729): errno(2) No such file or directory\n"});
    EXPECT_EQ(wrapper_.performed, 0);
    expect_all_given_back();
}

TEST_F(Worker, AnUploadOfAPipeThatNobodyWritesDoesNotWaitForAWriter)
{
    ASSERT_EQ(mkfifo(path("local").c_str(), 0600), 0);
    script([](curl_e_handle_t *) { EXPECT_EQ(send(6), ""); });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Worker, AnUploadOfAFolderCannotBeRead)
{
    set_local_path(path("."));
    script([](curl_e_handle_t *handle) {
        char buffer[8];
        EXPECT_EQ(wrapper_.read(buffer, 1, 8, wrapper_.read_data), 0x10000000u);
        handle->curl_code = 42;
    });
    EXPECT_EQ(run(JOB_UPLOAD), 10u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1504): errno(21) Is a directory\n"});
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
        EXPECT_EQ(send(20), "0123456789");
        wrapper_.size_upload = 10;
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
        curlf_info_.module_info.cancel = 1;
        EXPECT_EQ(progress(0, 0, 10, 5), 1);
        handle->curl_code = 42;
    });
    EXPECT_EQ(run(JOB_UPLOAD), 1u);
    EXPECT_EQ(content(path("local")), "0123456789");
}

TEST_F(Worker, AnUploadsFileThatCannotBeClosedIsLoggedOnly)
{
    write("local", "x");
    script([&](curl_e_handle_t *) { system.fclose = EIO; });
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
              story({"append(1)", "upload(\"" + path("local") + "\", 1, 4)", "writefunc_data()",
                     "readfunc_data()", "progressfunc_data()", "copy.fresh_connect(0)", "connect_timeout(60)",
                     "operation_timeout(0)", "perform()"}));
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

TEST_F(Worker, AResumedUploadThatIsTriedAgainAppendsTheWholeFile)
{
    write("local", "0123456789");
    remote_file = {1, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0};
    script(ends_with(16, 55));
    script([](curl_e_handle_t *handle) {
        EXPECT_EQ(send(20), "0123456789");
        EXPECT_EQ(handle->resume, 1);
    });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
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

// --- File information

TEST_F(Worker, ALookUpListsAndKeepsTheWantedFile)
{
    script([](curl_e_handle_t *) {
        EXPECT_EQ(progress(9000, 9000), 0);
        EXPECT_EQ(list("other", 1), 0);
        EXPECT_EQ(list("f.bin", 42), 0);
    });
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 0u);
    EXPECT_EQ(remote_file.looked_up, 1u);
    EXPECT_EQ(remote_file.exists, 1u);
    EXPECT_EQ(remote_file.size, 42);
    EXPECT_EQ(wrapper_.progress, cb_progress_null);
    EXPECT_EQ(wrapper_.asked, story({"listfunc_data()", "progressfunc_data()", "copy.fresh_connect(0)",
                                     "connect_timeout(0)", "operation_timeout(180)", "perform()"}));
    EXPECT_EQ(content(path("local")), "<none>");
}

TEST_F(Worker, ALookUpSearchesTheLastComponentOfTheRemotePath)
{
    for (const char *remote_path : {"name", "/name", "a/b/name", "//a b/name"}) {
        SET_TEXT(request.remote_path, remote_path);
        remote_file = {};
        script([](curl_e_handle_t *) { list("name", 1); });
        EXPECT_EQ(run(JOB_DL_FILE_INFO), 0u);
        EXPECT_EQ(remote_file.exists, 1u) << remote_path;
    }
}

TEST_F(Worker, AMissingRemoteFileIsAnAnswer)
{
    struct {
        int32_t type;
        int32_t curl_code;
        uint32_t response_code; // shown
    } const table[] = {
        {RESPONSE_CODE_FTP, 78, 226}, {RESPONSE_CODE_FTP, 9, 226},  {RESPONSE_CODE_HTTP, 78, 200},
        {RESPONSE_CODE_HTTP, 9, 200}, {RESPONSE_CODE_OTHER, 78, 0}, {RESPONSE_CODE_OTHER, 9, 0},
    };
    for (const auto &row : table) {
        remote_file = {};
        script([&](curl_e_handle_t *handle) {
            ends_with(16, row.curl_code, 550)(handle);
            handle->response_code_type = row.type;
        });
        EXPECT_EQ(run(JOB_DL_FILE_INFO), 0u);
        EXPECT_EQ(remote_file.looked_up, 1u);
        EXPECT_EQ(remote_file.exists, 0u);
        EXPECT_EQ(shown.curl_code, 0u);
        EXPECT_EQ(shown.response_code_type, static_cast<uint32_t>(row.type));
        EXPECT_EQ(shown.response_code, row.response_code);
        EXPECT_EQ(logged_with_priority(),
                  (std::vector<log_line>{
                      {6, "curl_func(905): Ignore error(" + std::to_string(row.curl_code) + ")\n"}}));
    }
}

TEST_F(Worker, OtherFailuresOfALookUpAreFailures)
{
    struct {
        int32_t error;
        int32_t curl_code;
    } const table[] = {{16, 19}, {16, 67}, {16, 7}, {16, 18}, {7, 78}, {11, 9}, {1, 42}};
    for (const auto &row : table) {
        remote_file = {};
        script(ends_with(row.error, row.curl_code, 550));
        EXPECT_EQ(run(JOB_DL_FILE_INFO), static_cast<uint32_t>(row.error));
        EXPECT_EQ(shown.curl_code, static_cast<uint32_t>(row.curl_code));
        EXPECT_EQ(shown.response_code, 550u);
        EXPECT_EQ(remote_file.looked_up, 0u);
        EXPECT_EQ(logged(), lines{});
    }
}

TEST_F(Worker, ALookUpThroughAnHttpProxyIsNotSupported)
{
    request.proxy_type = PROXY_HTTP;
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 15u);
    EXPECT_EQ(wrapper_.asked, (calls{"global_init(3)", "init()", "verbose(1)", "limit_farewell()",
                                     "cleanup()", "global_cleanup()"}));
}

TEST_F(Worker, ALookUpWhoseOptionIsRefusedStopsThere)
{
    for (const char *refused : {"port", "listfunc_data", "progressfunc_data"}) {
        wrapper_ = {};
        wrapper_.refused = refused;
        EXPECT_EQ(run(JOB_DL_FILE_INFO), 5u) << refused;
        EXPECT_EQ(wrapper_.performed, 0);
        expect_all_given_back();
    }
}

TEST_F(Worker, ACancelledLookUpIsCancelled)
{
    script([](curl_e_handle_t *handle) {
        curlf_info_.module_info.cancel = 1;
        EXPECT_EQ(progress(0, 0), 1);
        handle->curl_code = 42;
    });
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 1u);
}
