#include "fake_engines.h"
#include "fake_system.h"
#include "ftp_clientd/commands.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "peer.h"
#include "support/logged.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

struct Commands : testing::Test {
    // What a client gets back for this request, over a connection of its own.
    bytes answer(const bytes &request)
    {
        control_pair pair = control_pair::connected();
        pair.client.says(request);
        pair.client.stops_saying();
        serve_request(pair.daemon.fd, &last_job);
        return pair.client.hears();
    }
    bytes start(uint32_t command, const raw_request &request)
    {
        return answer(words(command, 2080) + request.body);
    }
    std::vector<std::string> engine_calls() const
    {
        std::vector<std::string> found;
        for (const std::string &call : system.calls)
            if (call.starts_with("curlf_") || call.starts_with("zixif_"))
                found.push_back(call);
        return found;
    }
    // The detail of a no-operation.
    uint32_t stale_detail()
    {
        const bytes reply = answer(words(0, 0));
        EXPECT_EQ(part(reply, 0, 12), words(0, 8, 0));
        return reply.at(12);
    }

    fake_system system;
    fake_engines engines;
    reply_t last_job = {};
};

struct start_command_t {
    uint32_t number;
    const char *curl_call;
    const char *zixi_call;
    const char *failed_format;
    const char *unsent_line;
};

const start_command_t STARTS[] = {
    {1, "curlf_download()", "zixif_download()", "error: ftp_clientd(393): command_download(): Failed(%u)\n",
     "error: ftp_clientd(401): Could not send return data.\n"},
    {2, "curlf_upload()", "zixif_ftp_upload()", "error: ftp_clientd(433): command_upload(): Failed(%u)\n",
     "error: ftp_clientd(441): Could not send return data.\n"},
    {5, "curlf_dl_file_info()", "zixif_dl_file_info()",
     "error: ftp_clientd(570): command_dl_file_info(): Failed(%u)\n",
     "error: ftp_clientd(578): Could not send return data.\n"},
};

struct StartCommand : Commands, testing::WithParamInterface<start_command_t> {
    static std::string failed_line(uint32_t code)
    {
        std::string line = GetParam().failed_format;
        return line.replace(line.find("%u"), 2, std::to_string(code));
    }
};

INSTANTIATE_TEST_SUITE_P(Commands, StartCommand, testing::ValuesIn(STARTS), [](const auto &command) {
    return std::string("Number") + std::to_string(command.param.number);
});

// Commands 3, 4 and 6 with each engine active.
struct StateCommand : Commands, testing::WithParamInterface<uint32_t> {
    StateCommand() { engine_select(GetParam()); }
    bool is_zixi() const { return GetParam() == 4 || GetParam() == 5; }
    fake_engine &engine() { return is_zixi() ? engines.zixi : engines.curl; }
};

INSTANTIATE_TEST_SUITE_P(Protocols, StateCommand, testing::Values(0, 3, 4, 5, 6));

} // namespace

// Command 0

TEST_F(Commands, NoOperationAnswersZerosAtFirst)
{
    EXPECT_EQ(answer(words(0, 0)), words(0, 8, 0, 0));
    EXPECT_EQ(logged(), lines{});
    EXPECT_THAT(engine_calls(), IsEmpty());
}

TEST_F(Commands, NoOperationRepeatsTheDetailOfTheLastStartWithResultZero)
{
    engines.curl.start_result = 3;
    start(2, raw_request());
    EXPECT_EQ(answer(words(0, 0)), words(0, 8, 0, 3));
    EXPECT_EQ(answer(words(0, 0)), words(0, 8, 0, 3));
    engines.curl.start_result = 0;
    start(5, raw_request());
    EXPECT_EQ(answer(words(0, 0)), words(0, 8, 0, 0));
}

TEST_F(Commands, StateCancelAndFileInformationLeaveTheDetailOfTheLastStart)
{
    engines.curl.start_result = 3;
    start(1, raw_request());
    engines.curl.cancel_result = 2;
    for (const uint32_t command : {3u, 4u, 6u, 7u}) {
        answer(words(command, 0));
        EXPECT_EQ(stale_detail(), 3u) << "after command " << command;
    }
}

TEST_F(Commands, ABodyOfANoOperationIsIgnored)
{
    EXPECT_EQ(answer(words(0, 100) + pattern(100, 1)), words(0, 8, 0, 0));
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Commands, ANoOperationThatCannotBeAnsweredIsLogged)
{
    system.fails("send", EPIPE);
    answer(words(0, 0));
    EXPECT_THAT(logged(), Contains("error: ftp_clientd(361): Could not send return data.\n"));
}

// Requests that are none

TEST_F(Commands, AShortBodyIsAnsweredLikeANoOperation)
{
    engines.curl.start_result = 3;
    start(1, raw_request());
    logged();
    for (const uint32_t command : {1u, 2u, 3u, 4u, 5u, 6u, 7u}) {
        EXPECT_EQ(answer(words(command, 2080) + bytes(2079)), words(0, 8, 0, 3)) << "command " << command;
        EXPECT_EQ(logged(), lines{"error: ftp_clientd_if(737): recvn(): incomplete(2079 of 2080)\n"});
    }
    EXPECT_THAT(engine_calls(), ElementsAre("curlf_download()"));
}

TEST_F(Commands, AClientThatClosesWithoutAWordIsLoggedAndNothingElse)
{
    control_pair pair = control_pair::connected();
    pair.client.closes();
    serve_request(pair.daemon.fd, &last_job);
    EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(699): recvn(): incomplete(0 of 8)\n",
                               "error: ftp_clientd_if(843): errno(32) Broken pipe\n",
                               "error: ftp_clientd_if(662): sendn(): incomplete(9 of 8)\n",
                               "error: ftp_clientd(361): Could not send return data.\n"}));
    EXPECT_THAT(engine_calls(), IsEmpty());
}

TEST_F(Commands, AnUnknownCommandGetsNoReply)
{
    for (const uint32_t command : {7u, 8u, 256u, 0x10001u, 0xFFFFFFFFu}) {
        EXPECT_EQ(answer(words(command, 0)), bytes{}) << command;
        EXPECT_EQ(answer(words(command, 2080) + raw_request().body), bytes{}) << command;
    }
    EXPECT_EQ(logged(), lines{});
    EXPECT_THAT(engine_calls(), IsEmpty());
}

// Commands 1, 2 and 5

TEST_P(StartCommand, GoesToTheEngineOfItsProtocol)
{
    for (const uint32_t protocol : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0xFFFFFFFFu}) {
        system.calls.clear();
        EXPECT_EQ(start(GetParam().number, raw_request().protocol(protocol)),
                  words(GetParam().number, 8, 0, 0));
        const bool is_zixi = protocol == 4 || protocol == 5;
        EXPECT_THAT(engine_calls(), ElementsAre(is_zixi ? GetParam().zixi_call : GetParam().curl_call))
            << "protocol " << protocol;
    }
    EXPECT_EQ(logged(), lines{});
}

TEST_P(StartCommand, HandsTheRequestOverAsItCame)
{
    raw_request request;
    request.text(0, "dir/file.bin").text(512, "/tmp/x").text(768, "host").word(1024, 2121).word(2076, 1);
    request.protocol(1).text(1028, "user").text(1060, "secret").word(1284, 1);
    start(GetParam().number, request);
    EXPECT_EQ(memcmp(&engines.curl.request, request.body.data(), 2080), 0);
}

TEST_P(StartCommand, ALongerBodyIsTakenAndItsRestIgnored)
{
    const bytes body = raw_request().text(0, "file").body + bytes(3000, 'a');
    EXPECT_EQ(answer(words(GetParam().number, body.size()) + body), words(GetParam().number, 8, 0, 0));
    EXPECT_EQ(memcmp(&engines.curl.request, body.data(), 2080), 0);
}

TEST_P(StartCommand, AFailedStartIsLoggedAndAnsweredWithTheEnginesCode)
{
    for (const uint32_t protocol : {0u, 4u}) {
        for (const uint32_t code : {3u, 5u, 15u}) {
            (protocol == 4 ? engines.zixi : engines.curl).start_result = code;
            EXPECT_EQ(start(GetParam().number, raw_request().protocol(protocol)),
                      words(GetParam().number, 8, 1, code));
            EXPECT_EQ(logged(), lines{failed_line(code)});
            EXPECT_EQ(stale_detail(), code);
        }
    }
}

TEST_P(StartCommand, ARequestThatCannotBeReadIsRefusedWithFive)
{
    const uint32_t number = GetParam().number;
    const bytes refused[] = {
        words(number, 0),
        words(number, 1) + bytes(1),
        words(number, 2079) + bytes(2079),
        words(number, 2080) + raw_request().filled(0, 512).body,
        words(number, 2080) + raw_request().text(0, "a#b").body,
        words(number, 2080) + raw_request().text(1028, "a\nDELE b").body,
    };
    for (const bytes &request : refused) {
        last_job = {};
        EXPECT_EQ(answer(request), words(number, 8, 1, 5));
        EXPECT_EQ(logged(), lines{failed_line(5)});
        EXPECT_EQ(stale_detail(), 5u);
    }
    EXPECT_THAT(engine_calls(), IsEmpty());
}

TEST_P(StartCommand, ARefusedRequestLeavesTheActiveEngine)
{
    start(2, raw_request().protocol(4));
    start(GetParam().number, raw_request().protocol(0).filled(0, 512));
    system.calls.clear();
    engine_report_finished_job();
    EXPECT_THAT(engine_calls(), ElementsAre("zixif_finished()"));

    start(2, raw_request().protocol(0));
    start(GetParam().number, raw_request().protocol(4).filled(768, 256));
    system.calls.clear();
    engine_report_finished_job();
    EXPECT_THAT(engine_calls(), ElementsAre("curlf_finished()"));
}

TEST_P(StartCommand, ARefusalByTheEngineLeavesItActiveAllTheSame)
{
    engines.zixi.start_result = 15;
    start(GetParam().number, raw_request().protocol(4));
    system.calls.clear();
    engine_report_finished_job();
    EXPECT_THAT(engine_calls(), ElementsAre("zixif_finished()"));
}

TEST_P(StartCommand, AReplyThatCannotBeSentIsLogged)
{
    for (const int sent : {0, 1}) {
        system.fails("send", EPIPE, sent);
        start(GetParam().number, raw_request());
        const lines seen = logged();
        ASSERT_EQ(seen.size(), 3u);
        EXPECT_EQ(seen[2], GetParam().unsent_line);
    }
}

// Command 3

TEST_P(StateCommand, GetStateBeforeAnyJobAnswersResetBlocks)
{
    memset(&engine().record, 0xEE, sizeof engine().record);
    engine().record.module_info = {};
    EXPECT_EQ(answer(words(3, 0)), words(3, 72) + bytes(72, 0));
}

TEST_P(StateCommand, GetStateAnswersTheEnginesBlocks)
{
    for (const uint32_t kind : {1u, 2u, 3u, 9u}) {
        const bytes progress = pattern(48, 33);
        memcpy(&engine().record.exec_info, progress.data(), progress.size());
        engine().record.module_info = {1, kind, 16, 1};
        EXPECT_EQ(answer(words(3, 0)), words(3, 72, 0, 0, 1, kind, 16, 1) + progress);
    }
    EXPECT_EQ(logged(), lines{});
}

TEST_P(StateCommand, AStateThatCannotBeSentIsLogged)
{
    system.fails("send", EPIPE, 1);
    answer(words(3, 0));
    EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(843): errno(32) Broken pipe\n",
                               "error: ftp_clientd_if(670): sendn(): incomplete(73 of 72)\n",
                               "error: ftp_clientd(486): Could not send return data.\n"}));
}

// Command 4

TEST_P(StateCommand, CancelAnswersTheKindOfTheJobAsItIsAfterwards)
{
    engine().record.module_info = {1, 1, 0, 0};
    engine().record_after_cancel = engine().record;
    engine().record_after_cancel->module_info = {0, 2, 1, 1};
    EXPECT_EQ(answer(words(4, 0)), words(4, 12, 0, 0, 2));
    EXPECT_EQ(logged(), lines{});
    EXPECT_THAT(engine_calls(), is_zixi() ? ElementsAre("zixif_cancel()", "zixif_get_state()")
                                          : ElementsAre("curlf_cancel()", "curlf_get_state()"));
}

TEST_P(StateCommand, CancelWithoutAJobAnswersOneAndTwo)
{
    engine().cancel_result = 2;
    engine().record.module_info = {0, 3, 0, 1};
    EXPECT_EQ(answer(words(4, 0)), words(4, 12, 1, 2, 3));
    EXPECT_EQ(logged(), lines{"error: ftp_clientd(515): curlf_cancel(): Failed(2)\n"});
}

TEST_P(StateCommand, ACancelThatCannotBeAnsweredIsLogged)
{
    system.fails("send", EPIPE, 1);
    answer(words(4, 0));
    EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(843): errno(32) Broken pipe\n",
                               "error: ftp_clientd_if(670): sendn(): incomplete(13 of 12)\n",
                               "error: ftp_clientd(539): Could not send return data.\n"}));
}

// Command 6

TEST_P(StateCommand, GetFileInfoAnswersLibcurlsBlockOrZixisFixedOne)
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

TEST_P(StateCommand, AFileInformationThatCannotBeSentIsLogged)
{
    system.fails("send", EPIPE, 1);
    answer(words(6, 0));
    EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(843): errno(32) Broken pipe\n",
                               "error: ftp_clientd_if(670): sendn(): incomplete(57 of 56)\n",
                               "error: ftp_clientd(621): Could not send return data.\n"}));
}

// The connection

namespace
{

struct WaitingClient : Commands {
    WaitingClient()
    {
        EXPECT_EQ(ftp_clientd_if_init(), 0);
        system.calls.clear();
    }
    ~WaitingClient() override { ftp_clientd_if_destory(); }
    peer connects() { return connect_to(system.path_of("/var/run/ftp.sock")); }
};

} // namespace

TEST_F(WaitingClient, IsServedOnceAndHungUp)
{
    const peer client = connects();
    client.says(words(0, 0, 3, 0));
    serve_waiting_client(&last_job);
    EXPECT_EQ(client.hears(), words(0, 8, 0, 0));
    EXPECT_EQ(logged(), lines{});
    EXPECT_THAT(system.calls_of("close"), ElementsAre("close()"));
}

TEST_F(WaitingClient, WithAnUnknownCommandIsHungUpWithoutAReply)
{
    const peer client = connects();
    client.says(words(7, 0));
    serve_waiting_client(&last_job);
    EXPECT_TRUE(client.is_hung_up());
}

TEST_F(WaitingClient, ThatIsSilentIsHungUpAfterTenSecondsAndTheNextOneServed)
{
    const peer silent = connects();
    const peer next = connects();
    next.says(words(0, 0));
    serve_waiting_client(&last_job);
    EXPECT_EQ(system.now_ms, 15000);
    silent.hears();
    EXPECT_TRUE(silent.is_hung_up());
    EXPECT_THAT(logged(), Contains("error: ftp_clientd_if(776): errno(110) Connection timed out\n"));

    serve_waiting_client(&last_job);
    EXPECT_EQ(next.hears(), words(0, 8, 0, 0));
    EXPECT_EQ(system.now_ms, 15000);
}

TEST_F(WaitingClient, ThatIsNotThereCostsNothing)
{
    serve_waiting_client(&last_job);
    EXPECT_THAT(system.calls, ElementsAre("poll(1, 0)"));
}
