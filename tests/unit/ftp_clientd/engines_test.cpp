#include "fake_engines.h"
#include "fake_system.h"
#include "ftp_clientd/engines.h"
#include "peer.h"
#include "support/logged.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace
{

struct Engines : testing::Test {
    fake_system system;
    fake_engines engines;
    listener network_manager{system.path_of("/var/run/marlox_nm.sock")};
    const transfer_request_t request = {};
};

} // namespace

TEST_F(Engines, ProtocolsFourAndFiveAreZixisAndAllOthersLibcurls)
{
    for (const uint32_t protocol : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 255u, 260u, 0x10004u, 0xFFFFFFFFu}) {
        const bool is_zixi = protocol == 4 || protocol == 5;
        system.calls.clear();
        engine_select(protocol).upload(&request);
        EXPECT_THAT(system.calls, ElementsAre(is_zixi ? "zixif_ftp_upload()" : "curlf_upload()")) << protocol;
        EXPECT_EQ(protocol_is_zixi(protocol), is_zixi ? 1 : 0) << protocol;
    }
}

TEST_F(Engines, EachCallGoesToItsOwnFunctionOfTheEngine)
{
    struct {
        uint32_t protocol;
        std::vector<std::string> calls;
    } const cases[] = {
        {0,
         {"curlf_download()", "curlf_upload()", "curlf_dl_file_info()", "curlf_finished()", "curlf_cancel()",
          "curlf_get_state()"}},
        {4,
         {"zixif_download()", "zixif_ftp_upload()", "zixif_dl_file_info()", "zixif_finished()",
          "zixif_cancel()", "zixif_get_state()"}},
    };
    for (const auto &c : cases) {
        system.calls.clear();
        const engine_t &engine = engine_select(c.protocol);
        engine.download(&request);
        engine.upload(&request);
        engine.dl_file_info(&request);
        engine.finished();
        engine.cancel();
        engine_state(engine);
        EXPECT_EQ(system.calls, c.calls);
    }
}

TEST_F(Engines, AtFirstLibcurlsIsActive) { EXPECT_EQ(&engine_active(), &engine_select(0)); }

TEST_F(Engines, TheOneSelectedStaysActiveUntilAnotherIs)
{
    engines.zixi.finished_results = {-1, -1};
    engine_select(5);
    engine_report_finished_job();
    engine_report_finished_job();
    engine_select(3);
    engine_report_finished_job();
    EXPECT_THAT(system.calls, ElementsAre("zixif_finished()", "zixif_finished()", "curlf_finished()"));
}

TEST_F(Engines, AFinishedJobIsAnnouncedFromItsOwnEnginesRecord)
{
    engines.curl.record.module_info = {0, 1, 0, 0};
    engines.zixi.record.module_info = {0, 2, 0, 0};
    for (const uint32_t protocol : {0u, 4u}) {
        fake_engine &engine = protocol == 4 ? engines.zixi : engines.curl;
        engine.finished_results = {-1, 0};
        engine_select(protocol);
        engine_report_finished_job();
        EXPECT_TRUE(network_manager.is_nobody_waiting());
        engine_report_finished_job();
        EXPECT_EQ(part(network_manager.accepts().hears(), 1, 1),
                  bytes{protocol == 4 ? uint8_t{1} : uint8_t{0}});
        engine_report_finished_job();
        EXPECT_TRUE(network_manager.is_nobody_waiting());
    }
}

TEST_F(Engines, AWorkerThatCouldNotBeJoinedIsNotAnnounced)
{
    engines.curl.record.module_info = {0, 1, 0, 0};
    engines.curl.finished_results = {3, -1};
    engine_report_finished_job();
    engine_report_finished_job();
    EXPECT_TRUE(network_manager.is_nobody_waiting());
}
