// `watch`: when a line is due, and the command as a whole, against a scripted daemon.
#include "ftpctl/watch.h"

#include "played.h"

using testing::ContainsRegex;

namespace
{

// Replies with the state, but while `is_away` only closes the connection.
fake_daemon::answer_t absent_while(const std::shared_ptr<std::atomic<bool>> &is_away,
                                   const job_script &script)
{
    return [is_away, script = std::move(script)](const message_t &message) mutable {
        return *is_away ? bytes_t() : script(message);
    };
}

// Answers with the script once, and from then on with these bytes.
fake_daemon::answer_t once(job_script script, const bytes_t &later)
{
    return [script, later, answers = 0](const message_t &message) mutable {
        return ++answers == 1 ? script(message) : later;
    };
}

ftpclient_state_t upload(int running, int64_t transferred)
{
    return {running, FTPCLIENT_UPLOAD, 0, 0, {100, transferred, 0, 0, 0, 0, 0, 0, 0}};
}

} // namespace

TEST(Watch, PrintsALineForEachChange)
{
    fake_daemon daemon(
        script_of({idle(), idle(), running(2, 100, 40), running(2, 100, 40), ended(2, 16, 100, 40)}));
    program watching({"--json", "watch", "--socket", daemon.path()});
    ASSERT_TRUE(watching.has_printed("\"result\":16"));
    watching.signal(SIGINT);
    const outcome_t outcome = watching.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 3);
    EXPECT_EQ(outcome.err, "");
}

TEST(Watch, EndsAtItsTimeLimit)
{
    played play(script_of({idle()}), {"watch", "--timeout", "4"}); // long enough for a first reply
    EXPECT_EQ(play.outcome.status, 0);
    EXPECT_THAT(play.outcome.out,
                MatchesRegex("....-..-.. ..:..:.. idle, no job since the daemon started\n"));
    EXPECT_EQ(played(script_of({idle()}), {"watch", "--timeout", "4", "--exec", "exit 7"}).outcome.status, 9);
}

TEST(Watch, ADaemonThatNeverAnswersIsAFailureAtTheTimeLimit)
{
    fake_daemon daemon([](const message_t &) { return fake_daemon::HANG; });
    const outcome_t outcome = run({"watch", "--socket", daemon.path(), "--timeout", "0.3"});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("ftpctl: "));
}

TEST(Watch, ContinuesWhenTheDaemonStopsAndReturns)
{
    const auto is_away = std::make_shared<std::atomic<bool>>(false);
    fake_daemon daemon(absent_while(is_away, script_of({running(2, 100, 40)})));
    program watching({"watch", "--socket", daemon.path()});
    ASSERT_TRUE(watching.has_printed("running: upload"));
    *is_away = true;
    ASSERT_TRUE(watching.has_printed("daemon gone, "));
    ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, daemon.commands().size() + 3)) << "no more requests";
    *is_away = false;
    ASSERT_TRUE(watching.has_printed("running: upload", 2));
    watching.signal(SIGTERM);
    const outcome_t outcome = watching.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, ContainsRegex("running: upload[^\n]*\n[^\n]*daemon gone, [^\n]*\n"
                                           "[^\n]* daemon back\n[^\n]*running: upload[^\n]*\n"));
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 4) << outcome.out;
}

TEST(Watch, RunsTheCommandForEachChangeAndWhenTheDaemonStopsAndReturns)
{
    const auto is_away = std::make_shared<std::atomic<bool>>(false);
    fake_daemon daemon(
        absent_while(is_away, script_of({idle(), running(2, 100, 40), ended(2, 16, 100, 40)})));
    program watching({"watch", "--quiet", "--socket", daemon.path(), "--exec",
                      "echo $FTPCTL_EVENT:$FTPCTL_RUNNING:$FTPCTL_JOB:${FTPCTL_RESULT_NAME-none}"});
    ASSERT_TRUE(watching.has_printed("FTPCD_ERR_NETWORK"));
    *is_away = true;
    ASSERT_TRUE(watching.has_printed("daemon:0::none\n"));
    *is_away = false;
    ASSERT_TRUE(watching.has_printed("FTPCD_ERR_NETWORK", 2));
    watching.signal(SIGHUP);
    const outcome_t outcome = watching.wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "state:0:no job:FTPCD_ERR_NONE\nstate:1:upload:FTPCD_ERR_NONE\n"
                           "state:0:upload:FTPCD_ERR_NETWORK\ndaemon:0::none\ndaemon:1::none\n"
                           "state:0:upload:FTPCD_ERR_NETWORK\n");
}

TEST(Watch, WithJsonTheOutputOfCommandsGoesToStandardError)
{
    fake_daemon daemon(script_of({ended(2, 16, 100, 40)}));
    const outcome_t outcome = run(
        {"watch", "--json", "--timeout", "3s", "--socket", daemon.path(), "--exec", "echo $FTPCTL_EVENT"});
    EXPECT_THAT(outcome.out, StartsWith("{\"event\""));
    EXPECT_THAT(outcome.out, Not(HasSubstr("\nstate\n")));
    EXPECT_EQ(outcome.err, "state\n");
}

TEST(Watch, AnInvalidReplyIsReportedAfterTheCommandsHaveRun)
{
    fake_daemon daemon(once(script_of({running(2, 100, 40)}), message_bytes(77, {1, 2, 3})));
    const outcome_t outcome =
        run({"watch", "--quiet", "--socket", daemon.path(), "--exec", "sleep 0.5; echo $FTPCTL_JOB"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.out, "upload\n");
    EXPECT_THAT(outcome.err, HasSubstr("ftpctl: "));
}

TEST(Watch, AnInterruptEndsItAtOnceThoughTheDaemonIsSilent)
{
    fake_daemon daemon(once(script_of({idle()}), fake_daemon::HANG));
    program watching({"watch", "--socket", daemon.path()});
    ASSERT_TRUE(watching.has_printed("idle"));
    ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, 2));
    const auto before = std::chrono::steady_clock::now();
    watching.signal(SIGINT);
    EXPECT_EQ(watching.wait().status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(8)) << "the daemon has 10 s";
}

TEST(WatchPace, ShowsTheFirstStateAndThenOnlyChanges)
{
    watch_pace pace;
    EXPECT_TRUE(pace.is_due(0, {}));
    EXPECT_FALSE(pace.is_due(0.1, {}));
    EXPECT_TRUE(pace.is_due(0.2, upload(1, 0)));
    EXPECT_FALSE(pace.is_due(5, upload(1, 0)));
    EXPECT_TRUE(pace.is_due(5.1, upload(0, 0)));
}

TEST(WatchPace, ShowsProgressOnceASecond)
{
    watch_pace pace;
    EXPECT_TRUE(pace.is_due(0, upload(1, 10)));
    EXPECT_FALSE(pace.is_due(0.5, upload(1, 20)));
    EXPECT_TRUE(pace.is_due(1.0, upload(1, 30)));
    EXPECT_FALSE(pace.is_due(1.9, upload(1, 40)));
}

TEST(WatchPace, ShowsEveryOtherKindOfChangeAtOnce)
{
    const auto changes = {
        +[](ftpclient_state_t &state) { state.job = FTPCLIENT_DOWNLOAD; },
        +[](ftpclient_state_t &state) { state.result = 16; },
        +[](ftpclient_state_t &state) { state.cancelled = 1; },
        +[](ftpclient_state_t &state) { state.progress.curl_code = 28; },
        +[](ftpclient_state_t &state) { state.progress.response_type = 1; },
        +[](ftpclient_state_t &state) { state.progress.response_code = 426; },
        +[](ftpclient_state_t &state) { state.progress.retries = 1; },
    };
    int number = 0;
    for (const auto &change : changes) {
        watch_pace pace;
        ftpclient_state_t state = upload(1, 10);
        EXPECT_TRUE(pace.is_due(0, state));
        change(state);
        EXPECT_TRUE(pace.is_due(0.1, state)) << "change " << number++;
    }
}

TEST(WatchPace, IgnoresElapsedTimeAndUnsetValues)
{
    watch_pace pace;
    ftpclient_state_t state = upload(1, 10);
    EXPECT_TRUE(pace.is_due(0, state));
    state.progress.elapsed_ms = 9000;
    state.progress.zixi_error = 7;
    state.progress.unused = 7;
    EXPECT_FALSE(pace.is_due(9, state));
}
