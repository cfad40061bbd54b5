#include "commands_fixture.h"
#include "ftp_clientd/engines.h"
#include "ftp_clientd/ftp_clientd_if.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

struct start_command_t {
    uint32_t number;
    const char *curl_call;
    const char *zixi_call;
    const char *failed_format;
};

const start_command_t STARTS[] = {
    {1, "curlf_download()", "zixif_download()", "error: ftp_clientd(393): command_download(): Failed(%u)\n"},
    {2, "curlf_upload()", "zixif_ftp_upload()", "error: ftp_clientd(433): command_upload(): Failed(%u)\n"},
    {5, "curlf_dl_file_info()", "zixif_dl_file_info()",
     "error: ftp_clientd(570): command_dl_file_info(): Failed(%u)\n"},
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

} // namespace

// Command 0

TEST_F(Commands, NoOperationReturnsZerosAtFirst)
{
    EXPECT_EQ(answer(words(0, 0)), words(0, 8, 0, 0));
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
    logged();
}

TEST_F(Commands, StateCancelAndFileInformationKeepTheDetailOfTheLastStart)
{
    engines.curl.start_result = 3;
    start(1, raw_request());
    engines.curl.cancel_result = 2;
    for (const uint32_t command : {3u, 4u, 6u, 7u}) {
        answer(words(command, 0));
        EXPECT_EQ(stale_detail(), 3u) << "after command " << command;
    }
    logged();
}

TEST_F(Commands, ABodyOfANoOperationIsIgnored)
{
    EXPECT_EQ(answer(words(0, 100) + pattern(100, 1)), words(0, 8, 0, 0));
}

TEST_F(Commands, AReplyThatCannotBeSentIsLogged)
{
    const std::tuple<uint32_t, int, const char *> cases[] = {
        {0, 8, "ftp_clientd(361)"},  {1, 8, "ftp_clientd(401)"},  {2, 8, "ftp_clientd(441)"},
        {3, 72, "ftp_clientd(486)"}, {4, 12, "ftp_clientd(539)"}, {5, 8, "ftp_clientd(578)"},
        {6, 56, "ftp_clientd(621)"},
    };
    for (const auto &[command, body_bytes, id] : cases)
        for (const int sent : {0, 1}) {
            const std::string size = std::to_string(sent == 0 ? 8 : body_bytes);
            system.fails("send", EPIPE, sent);
            start(command, raw_request());
            EXPECT_EQ(logged(), (lines{"error: ftp_clientd_if(843): errno(32) Broken pipe\n",
                                       std::string("error: ftp_clientd_if(") + (sent == 0 ? "662" : "670") +
                                           "): sendn(): incomplete(" + std::to_string(std::stoi(size) + 1) +
                                           " of " + size + ")\n",
                                       "error: " + std::string(id) + ": Could not send return data.\n"}));
        }
}

// Invalid requests

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

TEST_F(Commands, AClientThatClosesWithoutARequestIsOnlyLogged)
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
    EXPECT_THAT(engine_calls(), IsEmpty());
}

// Commands 1, 2 and 5

TEST_P(StartCommand, GoesToTheEngineOfItsProtocol)
{
    for (const uint32_t protocol : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 255u, 260u, 0x10004u, 0xFFFFFFFFu}) {
        system.calls.clear();
        EXPECT_EQ(start(GetParam().number, raw_request().protocol(protocol)),
                  words(GetParam().number, 8, 0, 0));
        const bool is_zixi = protocol == 4 || protocol == 5;
        EXPECT_THAT(engine_calls(), ElementsAre(is_zixi ? GetParam().zixi_call : GetParam().curl_call))
            << "protocol " << protocol;
    }
}

TEST_P(StartCommand, PassesTheRequestUnchanged)
{
    raw_request request;
    request.text(0, "dir/file.bin").text(512, "/tmp/x").text(768, "host").word(1024, 2121).word(2076, 1);
    request.protocol(1).text(1028, "user").text(1060, "secret").word(1284, 1);
    start(GetParam().number, request);
    EXPECT_EQ(memcmp(&engines.curl.request, request.body.data(), 2080), 0);
}

TEST_P(StartCommand, ALongerBodyIsAcceptedAndItsRestIgnored)
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

TEST_P(StartCommand, AnInvalidRequestIsRefusedWithFive)
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

TEST_P(StartCommand, ARefusedRequestKeepsTheActiveEngine)
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
    logged();
}

TEST_P(StartCommand, AnEngineThatRefusesIsActiveAllTheSame)
{
    engines.zixi.start_result = 15;
    start(GetParam().number, raw_request().protocol(4));
    system.calls.clear();
    engine_report_finished_job();
    EXPECT_THAT(engine_calls(), ElementsAre("zixif_finished()"));
    logged();
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

TEST_F(WaitingClient, IsServedOnceAndDisconnected)
{
    const peer client = connects();
    client.says(words(0, 0, 3, 0));
    serve_waiting_client(&last_job);
    EXPECT_EQ(client.hears(), words(0, 8, 0, 0));
    EXPECT_THAT(system.calls_of("close"), ElementsAre("close()"));
}

TEST_F(WaitingClient, WithAnUnknownCommandIsDisconnectedWithoutAReply)
{
    const peer client = connects();
    client.says(words(7, 0));
    serve_waiting_client(&last_job);
    EXPECT_TRUE(client.is_hung_up());
}

TEST_F(WaitingClient, ThatIsSilentIsDisconnectedAfterTenSecondsAndTheNextServed)
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
