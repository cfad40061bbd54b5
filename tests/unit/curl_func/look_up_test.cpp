#include "curl_func/progress.h"
#include "worker_fixture.h"

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

TEST_F(Worker, AMissingRemoteFileIsAnAnswerAndOtherFailuresAreFailures)
{
    struct {
        int32_t type;
        int32_t error;
        int32_t curl_code;
        uint32_t shown; // the stored response code; the server's is 550
    } const table[] = {
        {RESPONSE_CODE_FTP, 16, 78, 226}, {RESPONSE_CODE_FTP, 16, 9, 226},  {RESPONSE_CODE_HTTP, 16, 78, 200},
        {RESPONSE_CODE_HTTP, 16, 9, 200}, {RESPONSE_CODE_OTHER, 16, 78, 0}, {RESPONSE_CODE_OTHER, 16, 9, 0},
        {RESPONSE_CODE_FTP, 16, 19, 550}, {RESPONSE_CODE_FTP, 16, 67, 550}, {RESPONSE_CODE_FTP, 16, 7, 550},
        {RESPONSE_CODE_FTP, 16, 18, 550}, {RESPONSE_CODE_FTP, 7, 78, 550},  {RESPONSE_CODE_FTP, 11, 9, 550},
        {RESPONSE_CODE_FTP, 1, 42, 550},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(row.curl_code);
        const bool answer = row.shown != 550;
        remote_file = {};
        script([&](curl_e_handle_t *handle) {
            ends_with(row.error, row.curl_code, 550)(handle);
            handle->response_code_type = row.type;
        });
        EXPECT_EQ(run(JOB_DL_FILE_INFO), answer ? 0 : static_cast<uint32_t>(row.error));
        EXPECT_EQ(remote_file.looked_up, answer ? 1u : 0u);
        EXPECT_EQ(remote_file.exists, 0u);
        EXPECT_EQ(shown.curl_code, answer ? 0 : static_cast<uint32_t>(row.curl_code));
        EXPECT_EQ(shown.response_code_type, static_cast<uint32_t>(row.type));
        EXPECT_EQ(shown.response_code, row.shown);
        const std::string ignored = "curl_func(905): Ignore error(" + std::to_string(row.curl_code) + ")\n";
        EXPECT_EQ(logged(), lines(answer ? 1 : 0, ignored));
    }
}

TEST_F(Worker, NoAnswerIsNoMissingFile)
{
    script([&](curl_e_handle_t *handle) {
        ends_with(FTPCD_ERR_NETWORK, CURLE_REMOTE_FILE_NOT_FOUND, 0)(handle);
        handle->operation_timed_out = 1;
    });
    EXPECT_EQ(run(JOB_DL_FILE_INFO), static_cast<uint32_t>(FTPCD_ERR_NETWORK));
    EXPECT_EQ(remote_file.looked_up, 0u);
    EXPECT_EQ(shown.curl_code, static_cast<uint32_t>(CURLE_REMOTE_FILE_NOT_FOUND));
}

TEST_F(Worker, ALookUpThroughAnHttpProxyIsNotSupported)
{
    request.proxy_type = PROXY_HTTP;
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 15u);
    EXPECT_EQ(wrapper_.asked, frame({}));
}

TEST_F(Worker, ALookUpWhoseOptionIsRefusedStopsThere)
{
    expect_stops_at_each(JOB_DL_FILE_INFO, {"port", "listfunc_data", "progressfunc_data"});
}

TEST_F(Worker, ACancelledLookUpIsCancelled)
{
    script(meets_a_cancel);
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 1u);
}
