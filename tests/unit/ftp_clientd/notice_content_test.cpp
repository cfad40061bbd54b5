#include "fake_engines.h"
#include "fake_system.h"
#include "ftp_clientd/notice_content.h"
#include "peer.h"
#include "support/logged.h"

#include <cstring>
#include <gmock/gmock.h>

namespace
{

struct Notices : testing::Test {
    fake_system system;
    fake_engines engines;
    listener network_manager{system.path_of("/var/run/marlox_nm.sock")};

    // The sent notice without its unused bytes 3, 6 and 7.
    bytes notice() const
    {
        bytes whole = network_manager.accepts().hears();
        whole.resize(std::max<size_t>(whole.size(), 12));
        whole[3] = whole[6] = whole[7] = 0;
        return whole;
    }
};

// Both engines' notices are the same; only the log line about an unknown kind of job differs.
struct notifier_t {
    const char *name;
    uint32_t protocol;
    fake_engine fake_engines::*engine;
    const char *none_line;
};

const notifier_t NOTIFIERS[] = {
    {"notify", PROTOCOL_FTP, &fake_engines::curl,
     "error: ftp_clientd(661): libcurl was executed, but 'exec' is none.\n"},
    {"notify_zixi", PROTOCOL_ZIXI_4, &fake_engines::zixi,
     "error: ftp_clientd(797): libzixifeeder was executed, but 'exec' is none.\n"},
};

struct CompletionNotice : Notices, testing::WithParamInterface<notifier_t> {
    fake_engine &engine() { return engines.*GetParam().engine; }
};

INSTANTIATE_TEST_SUITE_P(Engines, CompletionNotice, testing::ValuesIn(NOTIFIERS),
                         [](const auto &notifier) { return notifier.param.name; });

} // namespace

TEST_F(Notices, AStartIsAnnouncedWithZeros)
{
    notify_start_up(0);
    EXPECT_EQ(notice(), (bytes{10, 3, 1, 0, 8, 0, 0, 0} + words(0, 0, 0)));
}

TEST_F(Notices, AFailedStartIsAnnouncedWithOneAndFive)
{
    notify_start_up(5);
    EXPECT_EQ(notice(), (bytes{10, 3, 1, 0, 8, 0, 0, 0} + words(0, 1, 5)));
}

TEST_P(CompletionNotice, ItsCodeFollowsTheKindOfTheJob)
{
    const std::pair<uint32_t, uint8_t> cases[] = {{1, 0}, {2, 1}, {3, 2}};
    for (const auto &[kind, code] : cases) {
        engine().record.module_info = {0, kind, 0, 0};
        notify(engine_select(GetParam().protocol));
        EXPECT_EQ(part(notice(), 0, 8), (bytes{10, code, 1, 0, 56, 0, 0, 0})) << kind;
    }
}

TEST_P(CompletionNotice, ItsBodyIsTheOutcomeAndTheWholeProgressBlock)
{
    const bytes progress = pattern(48, 21);
    memcpy(&engine().record.exec_info, progress.data(), progress.size());
    for (const uint32_t result : {0u, 1u, 5u, 16u, 23u}) {
        engine().record.module_info = {0, 1, result, 0};
        notify(engine_select(GetParam().protocol));
        const bytes sent = notice();
        ASSERT_EQ(sent.size(), 68u);
        EXPECT_EQ(part(sent, 8, 60), words(0, result == 0 ? 0 : 1, result) + progress);
    }
}

TEST_P(CompletionNotice, ACancelledJobIsNotAnnounced)
{
    for (const uint32_t kind : {0u, 1u, 2u, 3u})
        for (const uint32_t result : {1u, 16u}) { // 16: it failed before it saw the cancel
            engine().record.module_info = {0, kind, result, 1};
            notify(engine_select(GetParam().protocol));
        }
    EXPECT_TRUE(network_manager.is_nobody_waiting());
}

TEST_P(CompletionNotice, AnUnknownKindOfJobIsLoggedAndNotAnnounced)
{
    for (const uint32_t kind : {0u, 4u, 0xFFFFFFFFu}) {
        engine().record.module_info = {0, kind, 0, 0};
        notify(engine_select(GetParam().protocol));
        EXPECT_EQ(logged(), lines{GetParam().none_line}) << kind;
    }
    EXPECT_TRUE(network_manager.is_nobody_waiting());
}

TEST_P(CompletionNotice, AFailedOneIsNotRepeated)
{
    engine().record.module_info = {0, 1, 0, 0};
    system.fails("connect", ECONNREFUSED);
    notify(engine_select(GetParam().protocol));
    EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(599): errno(111) Connection refused\n"});
    EXPECT_EQ(system.calls_of("connect").size(), 1u);
    EXPECT_TRUE(network_manager.is_nobody_waiting());
}
