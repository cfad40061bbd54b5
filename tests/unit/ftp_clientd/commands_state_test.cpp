// Commands 3, 4 and 6: their replies about the active engine's job.
#include "commands_fixture.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/ftp_clientd_if.h"

#include <cstring>
#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace
{

// Commands 3, 4 and 6 with each engine active.
struct StateCommand : Commands, testing::WithParamInterface<uint32_t> {
    StateCommand() { engine_select(GetParam()); }
    bool is_zixi() const { return GetParam() == 4 || GetParam() == 5; }
    fake_engine &engine() { return is_zixi() ? engines.zixi : engines.curl; }
};

INSTANTIATE_TEST_SUITE_P(Protocols, StateCommand, testing::Values(0, 3, 4, 5, 6));

} // namespace

// Command 3

TEST_P(StateCommand, GetStateBeforeAnyJobReturnsClearBlocks)
{
    memset(&engine().record, 0xEE, sizeof engine().record);
    engine().record.module_info = {};
    EXPECT_EQ(answer(words(3, 0)), words(3, 72) + bytes(72, 0));
}

TEST_P(StateCommand, GetStateReturnsTheEnginesBlocks)
{
    for (const uint32_t kind : {1u, 2u, 3u, 9u}) {
        const bytes progress = pattern(48, 33);
        memcpy(&engine().record.exec_info, progress.data(), progress.size());
        engine().record.module_info = {1, kind, 16, 1};
        EXPECT_EQ(answer(words(3, 0)), words(3, 72, 0, 0, 1, kind, 16, 1) + progress);
    }
}

// Command 4

TEST_P(StateCommand, CancelReturnsTheKindOfTheJobAfterTheCancel)
{
    engine().record.module_info = {1, 1, 0, 0};
    engine().on_cancel = [&] { engine().record.module_info = {0, 2, 1, 1}; };
    EXPECT_EQ(answer(words(4, 0)), words(4, 12, 0, 0, 2));
    EXPECT_THAT(engine_calls(), is_zixi() ? ElementsAre("zixif_cancel()", "zixif_get_state()")
                                          : ElementsAre("curlf_cancel()", "curlf_get_state()"));
}

TEST_P(StateCommand, ACancelLongerThanARequestsTimeLimitIsStillAnswered)
{
    EXPECT_EQ(ftp_clientd_if_init(), 0);
    engine().record.module_info = {1, 1, 0, 0};
    engine().on_cancel = [&] { system.now_ms += 60000; };
    const peer client = connect_to(system.path_of("/var/run/ftp.sock"));
    client.says(words(4, 0));
    serve_waiting_client(&last_job);
    EXPECT_EQ(client.hears(), words(4, 12, 0, 0, 1));
    ftp_clientd_if_destory();
}

TEST_P(StateCommand, CancelWithoutAJobReturnsOneAndTwo)
{
    engine().cancel_result = 2;
    engine().record.module_info = {0, 3, 0, 1};
    EXPECT_EQ(answer(words(4, 0)), words(4, 12, 1, 2, 3));
    EXPECT_EQ(logged(), lines{"error: ftp_clientd(515): curlf_cancel(): Failed(2)\n"});
}

// Command 6

TEST_P(StateCommand, GetFileInfoReturnsLibcurlsBlockOrZixisFixedOne)
{
    const bytes found = pattern(48, 77);
    memcpy(&engine().record.remote_file, found.data(), found.size());
    const bytes reply = answer(words(6, 0));
    ASSERT_EQ(reply.size(), 64u);
    EXPECT_EQ(part(reply, 0, 16), words(6, 56, 0, 0));
    const bytes fixed = words(1, 0, -1, -1, -1, -1, -1, -1, -1, 65535, 0);
    EXPECT_EQ(part(reply, 16, 44), is_zixi() ? fixed : part(found, 0, 44));
    if (is_zixi()) {
        EXPECT_THAT(engine_calls(), Not(Contains("zixif_get_state()")));
    }
}
