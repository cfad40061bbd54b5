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
    EXPECT_EQ(wrapper_.asked, frame({}));
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
    script(meets_a_cancel);
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 1u);
}
