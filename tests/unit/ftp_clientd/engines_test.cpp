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
};

} // namespace

TEST_F(Engines, OneStaysActiveUntilAnotherIsSelected)
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
