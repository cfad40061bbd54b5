#include "curl_func/identity.h"
#include "worker_fixture.h"

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
    EXPECT_EQ(wrapper_.asked, frame({}));
}

TEST_F(Worker, RefusedOptionsForAQuickCancelAreIgnored)
{
    for (const char *refused : {"copy.quick_exit", "copy.closesocketfunc_data", "copy.sockoptfunc_data"}) {
        wrapper_ = {};
        wrapper_.refused = refused;
        EXPECT_EQ(run(9), 0u) << refused;
        const auto &asked = wrapper_.asked;
        // Without the close callback no socket is noted: nothing would tell that it was closed.
        EXPECT_EQ(std::count(asked.begin(), asked.end(), "copy.sockoptfunc_data()"),
                  refused != std::string("copy.closesocketfunc_data"))
            << refused;
    }
}

TEST_F(Worker, OnlyAnSftpTransferGetsACallbackWhenItsConnectionCloses)
{
    for (const uint32_t protocol :
         {PROTOCOL_FTP, PROTOCOL_FTPS_EXPLICIT, PROTOCOL_SFTP, PROTOCOL_FTPS_IMPLICIT}) {
        wrapper_ = {};
        request.protocol = protocol;
        request.passive_mode = 1;
        bool told = false;
        script([&](curl_e_handle_t *handle) { told = handle->on_close != nullptr; });
        EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
        EXPECT_EQ(told, protocol == PROTOCOL_SFTP) << protocol;
    }
}

TEST_F(Worker, ARefusedVerboseOptionFailsTheJob)
{
    wrapper_.refused = "verbose";
    EXPECT_EQ(run(JOB_DOWNLOAD), 5u);
    EXPECT_EQ(wrapper_.asked, frame({SETTINGS[0]}));
    EXPECT_EQ(content(path("local")), "<none>");
}

TEST_F(Worker, AnUnexplainedLibcurlErrorIsANetworkErrorAndIsNotRetried)
{
    write("local", "x");
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD, JOB_DL_FILE_INFO}) {
        wrapper_ = {};
        wrapper_.explains = false; // as when the connect pass of SFTP fails
        script(ends_with(0, 56));
        EXPECT_EQ(run(kind), 16u);
        EXPECT_EQ(shown.curl_code, 56u);
    }
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Worker, AMissingFileBeforeTheListingIsAFailure)
{
    wrapper_.explains = false;
    script(ends_with(0, 78));
    EXPECT_EQ(run(JOB_DL_FILE_INFO), 16u);
    EXPECT_EQ(remote_file.looked_up, 0u);
}

TEST_F(Worker, TheOutcomeHasLibcurlsCodeAndTheServersReply)
{
    const struct {
        int32_t error, curl_code, response_code;
    } table[] = {{0, 0, 226}, {16, 78, 550}};
    for (const auto &row : table) {
        script([&](curl_e_handle_t *handle) {
            ends_with(row.error, row.curl_code, row.response_code)(handle);
            handle->response_code_type = RESPONSE_CODE_FTP;
            EXPECT_EQ(job_.record.module_info.running, 1u);
        });
        EXPECT_EQ(run(JOB_DOWNLOAD), static_cast<uint32_t>(row.error));
        EXPECT_EQ(shown.curl_code, static_cast<uint32_t>(row.curl_code));
        EXPECT_EQ(shown.response_code_type, 1u);
        EXPECT_EQ(shown.response_code, static_cast<uint32_t>(row.response_code));
    }
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
