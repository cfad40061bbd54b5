// `ftpspool run`, the whole program, against a daemon that follows a script.
#include "server_script.h"
#include "spool_fixture.h"

#include "ftpspool/file_identity.h"
#include "strutil/guards.h"

#include <chrono>
#include <fcntl.h>
#include <thread>

using testing::Contains;

namespace
{

class Service : public Spool
{
protected:
    std::vector<std::string> words_of(const daemon_socket &daemon, const char *pause = "20ms") const
    {
        return {"--spool", paths.folder, "run", "--socket", daemon.path(), "--pause", pause};
    }

    int64_t queue(const std::string &host, const std::function<void(entry_t &)> &change = {}) const
    {
        entry_t entry = entry_to("ftp://" + host + "/a");
        entry.added_s = time(nullptr);
        if (change)
            change(entry);
        return open().add(entry, host);
    }

    // Waits until the entry is in that state; false after 20 s.
    bool comes_to_be(int64_t id, state_t state) const
    {
        for (int i = 0; i < 2000; i++) {
            if (state_of_entry(open(), id) == state)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    static outcome_t stop(program &service)
    {
        service.signal(SIGTERM);
        return service.wait();
    }

    static std::vector<std::string> hosts_of(fake_daemon &daemon)
    {
        std::vector<std::string> hosts;
        for (const message_t &message : daemon.messages()) {
            if (message.command == COMMAND_UPLOAD)
                hosts.emplace_back(request_of(message).host);
        }
        return hosts;
    }

    // What was started, in its order.
    static std::vector<uint32_t> jobs_of(fake_daemon &daemon)
    {
        std::vector<uint32_t> jobs;
        for (const message_t &message : daemon.messages()) {
            if (!message.body.empty())
                jobs.push_back(message.command);
        }
        return jobs;
    }
};

} // namespace

TEST_F(Service, SendsEntriesQueuedBeforeAndAfterItsStart)
{
    fake_daemon daemon(uploading({whole()}));
    queue("one");
    program service(words_of(daemon));
    EXPECT_TRUE(comes_to_be(1, state_t::DONE));
    queue("two", [](entry_t &entry) { entry.after = after_t::DELETE; });
    EXPECT_TRUE(comes_to_be(2, state_t::DONE));
    EXPECT_FALSE(std::filesystem::exists(file));
    const outcome_t outcome = stop(service);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, StartsWith("started (1 queued)\n1 sending: " + file +
                                        " -> ftp://one/a\n"
                                        "1 done: " +
                                        file + " -> ftp://one/a (10 of 10 bytes in "));
    EXPECT_EQ(daemon.starts(), 4u); // each with its look-up
}

TEST_F(Service, PrintsEventsAsJsonObjects)
{
    fake_daemon daemon(uploading({whole()}));
    queue("one");
    std::vector<std::string> words = words_of(daemon);
    words.emplace_back("--json");
    program service(words);
    ASSERT_TRUE(service.has_printed("\"event\":\"done\""));
    const std::string out = stop(service).out;
    const size_t second = out.find('\n') + 1;
    const json start = json::parse(out.substr(0, second));
    EXPECT_EQ(start["event"], "started");
    EXPECT_EQ(start["queued"], 1);
    EXPECT_EQ(start["failed"], 0);
    const json first = json::parse(out.substr(second, out.find('\n', second) - second));
    EXPECT_EQ(first["event"], "sending");
    EXPECT_EQ(first["id"], 1);
    EXPECT_EQ(first["local"], file);
    EXPECT_EQ(first["url"], "ftp://one/a");
}

TEST_F(Service, RunsACommandForEachEventWithoutWaitingForIt)
{
    const std::string gate = dir / "gate";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    fake_daemon daemon(uploading({whole()}));
    queue("one");
    queue("two");
    std::vector<std::string> words = words_of(daemon);
    words.insert(words.end(),
                 {"--exec", "read x <" + gate + "; echo $FTPSPOOL_EVENT $FTPSPOOL_ID >>" + (dir / "events")});
    program service(words);
    ASSERT_TRUE(comes_to_be(2, state_t::DONE)); // all commands still wait at the gate
    EXPECT_FALSE(std::filesystem::exists(dir / "events"));
    ASSERT_TRUE(service.has_printed("2 done: "));
    const descriptor opened(::open(gate.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(write(opened.get(), "1\n2\n3\n4\n5\n", 10), 10);
    const std::string all = "started\nsending 1\ndone 1\nsending 2\ndone 2\n";
    for (int i = 0; i < 2000 && content_of(dir / "events") != all; i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(content_of(dir / "events"), all); // while nothing else happens
    EXPECT_EQ(stop(service).status, 0);
}

TEST_F(Service, WritesItsMetrics)
{
    fake_daemon daemon(uploading({nobody(), whole()}));
    queue("one");
    queue("two", [this](entry_t &entry) { entry.local = dir / "none"; });
    queue("two", [](entry_t &entry) { entry.expires_s = 1; });
    std::vector<std::string> words = words_of(daemon);
    words.insert(words.end(), {"--metrics", dir / "m.prom"});
    program service(words);
    ASSERT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_EQ(stop(service).status, 0);
    const std::string text = content_of(dir / "m.prom");
    for (const char *sample :
         {"entries{state=\"done\"} 1", "entries{state=\"failed\"} 2", "uploads_total 1",
          "sent_bytes_total 10", "failures_total{cause=\"nobody-listens\"} 1",
          "failures_total{cause=\"no-local-file\"} 1", "failures_total{cause=\"expired\"} 1"})
        EXPECT_THAT(text, HasSubstr("\nftpspool_" + std::string(sample) + "\n"));
    EXPECT_THAT(text, HasSubstr("\nftpspool_last_success_timestamp_seconds " +
                                std::to_string(open().find(1)->ended_s)));
}

TEST_F(Service, RetriesATemporaryFailure)
{
    fake_daemon daemon(uploading({nobody(), broken(4), {ended(2, 0, 6, 6), 10}}));
    queue("one");
    program service(words_of(daemon));
    ASSERT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_EQ(open().find(1)->tries, 2);
    const std::string out = stop(service).out;
    EXPECT_THAT(out, HasSubstr("1 waiting: " + file + " -> ftp://one/a (one:21: nobody listens"));
    EXPECT_THAT(out, HasSubstr("; next try in 1s)\n"));
    // The last try looked what had arrived before it went on.
    const std::vector<uint32_t> wanted = {COMMAND_UPLOAD, COMMAND_UPLOAD, COMMAND_DL_FILE_INFO,
                                          COMMAND_UPLOAD, COMMAND_DL_FILE_INFO};
    EXPECT_EQ(jobs_of(daemon), wanted);
}

TEST_F(Service, LetsOthersGoBeforeAFileThatAlwaysBreaks)
{
    const std::string good = dir.file("good", "0123456789");
    fake_daemon daemon([bad = uploading({broken(0)}), whole_ = uploading({whole()}), path = file,
                        is_bad = false](const message_t &message) mutable {
        if (!message.body.empty())
            is_bad = request_of(message).local_path == path;
        return (is_bad ? bad : whole_)(message);
    });
    queue("one");
    for (int i = 0; i < 2; i++)
        queue("one", [&](entry_t &entry) { entry.local = good; });
    program service(words_of(daemon));
    ASSERT_TRUE(comes_to_be(3, state_t::DONE));
    ASSERT_TRUE(comes_to_be(2, state_t::DONE));
    EXPECT_EQ(open().find(1)->tries, 3);
    const size_t before = hosts_of(daemon).size();
    for (int i = 0; i < 2000 && hosts_of(daemon).size() == before; i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_GT(hosts_of(daemon).size(), before); // it is tried again
    EXPECT_EQ(stop(service).status, 0);
    EXPECT_GE(open().find(1)->tries, 3);
}

TEST_F(Service, FailsAnEntryAtOnceForAPermanentFailure)
{
    fake_daemon daemon(uploading({refused_login()}));
    queue("one");
    queue("two", [this](entry_t &entry) { entry.local = dir / "none"; });
    program service(words_of(daemon));
    ASSERT_TRUE(comes_to_be(1, state_t::FAILED));
    ASSERT_TRUE(comes_to_be(2, state_t::FAILED));
    EXPECT_EQ(open().find(1)->error, "login-refused");
    EXPECT_EQ(open().find(2)->error, "no-local-file");
    EXPECT_THAT(stop(service).out, HasSubstr("2 failed: "));
    EXPECT_EQ(hosts_of(daemon).size(), 1u);
}

TEST_F(Service, FailsAnEntryWithoutItsProfileAndGoesOn)
{
    fake_daemon daemon(uploading({whole()}));
    open().add(entry_by_profile("dir/f"), "one");
    queue("two");
    program service(words_of(daemon));
    EXPECT_TRUE(comes_to_be(1, state_t::FAILED));
    EXPECT_TRUE(comes_to_be(2, state_t::DONE));
    EXPECT_EQ(open().find(1)->error, "local");
    EXPECT_EQ(open().find(1)->tries, 0);
    EXPECT_THAT(stop(service).out, HasSubstr("1 failed: " + file + " -> cam:dir/f (" + dir / "cam.conf" +
                                             ": No such file or directory)\n"));
}

TEST_F(Service, PausesOnlyTheServerWhoseCredentialIsMissing)
{
    profile("url = ftp://one\nuser = anna\npassword-credential = cam\n");
    fake_daemon daemon(uploading({whole()}));
    open().add(entry_by_profile("f"), "one");
    open().add(entry_by_profile("g"), "one");
    queue("two");
    {
        store_t store = open(); // what is known of an earlier try stays known
        store.begin(1, "identity", "place");
        store.setback(1, {"broken", "", true, false, false});
    }
    program service(words_of(daemon, "1h"));
    EXPECT_TRUE(comes_to_be(3, state_t::DONE));
    EXPECT_TRUE(comes_to_be(1, state_t::WAITING));
    const entry_t entry = *open().find(1);
    EXPECT_EQ(entry.error, "no-credential");
    EXPECT_EQ(entry.tries, 1);
    EXPECT_TRUE(entry.resumable);
    EXPECT_EQ(entry.identity + entry.place, "identityplace");
    EXPECT_EQ(state_of_entry(open(), 2), state_t::QUEUED);
    EXPECT_THAT(stop(service).out, HasSubstr("1 waiting: " + file + " -> cam:f (credential cam: "));
    dir.file("cam", "secret\n");
    program with_it(words_of(daemon), {"CREDENTIALS_DIRECTORY=" + dir.path.string()});
    EXPECT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_TRUE(comes_to_be(2, state_t::DONE));
    stop(with_it);
    for (const transfer_request_t &request : daemon.requests())
        EXPECT_STREQ(request.password, request.host == std::string("one") ? "secret" : "ftpctl@");
}

TEST_F(Service, GivesUpAfterTheLastTry)
{
    fake_daemon daemon(uploading({nobody()}));
    queue("one", [](entry_t &entry) { entry.tries_most = 3; });
    program service(words_of(daemon));
    ASSERT_TRUE(comes_to_be(1, state_t::FAILED));
    EXPECT_EQ(open().find(1)->tries, 3);
    EXPECT_EQ(open().find(1)->error, "nobody-listens");
    stop(service);
    EXPECT_EQ(hosts_of(daemon).size(), 3u);
}

TEST_F(Service, SendsToOtherServersWhileOneIsDown)
{
    fake_daemon daemon([down = uploading({nobody()}), up = uploading({whole()}),
                        is_down = false](const message_t &message) mutable {
        if (!message.body.empty())
            is_down = std::string(request_of(message).host) == "down";
        return (is_down ? down : up)(message);
    });
    for (int i = 0; i < 3; i++)
        queue("down");
    for (int i = 0; i < 3; i++)
        queue("up");
    program service(words_of(daemon, "1h"));
    for (const int64_t id : {4, 5, 6})
        EXPECT_TRUE(comes_to_be(id, state_t::DONE));
    EXPECT_THAT(hosts_of(daemon), ElementsAre("down", "up", "up", "up"));
    open().retry(2, 10); // it does not wait for the end of the pause
    EXPECT_TRUE(service.has_printed("2 waiting: "));
    stop(service);
}

TEST_F(Service, WaitsForAMissingDaemonWithoutCountingTries)
{
    auto daemon = std::make_unique<fake_daemon>(uploading({whole()}));
    const std::string path = daemon->path();
    daemon->stop();
    queue("one", [](entry_t &entry) { entry.tries_most = 1; });
    program service(words_of(*daemon));
    EXPECT_TRUE(comes_to_be(1, state_t::WAITING));
    EXPECT_EQ(open().find(1)->error, "no-daemon");
    EXPECT_EQ(open().find(1)->tries, 0);
    EXPECT_EQ(stop(service).status, 0);
}

TEST_F(Service, CancelsItsJobWhenItEndsAndLeavesItResumable)
{
    fake_daemon daemon(endless(2));
    queue("one");
    program service(words_of(daemon));
    ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, 4));
    const outcome_t outcome = stop(service);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("1 stopped: "));
    EXPECT_THAT(daemon.commands(), Contains(uint32_t{COMMAND_CANCEL}));
    const entry_t entry = *open().find(1);
    EXPECT_EQ(entry.state, state_t::WAITING);
    EXPECT_EQ(entry.tries, 0);
    EXPECT_TRUE(entry.resumable);
}

TEST_F(Service, CancelsTheJobOfAHeldOrRemovedEntry)
{
    for (const bool held : {true, false}) {
        fake_daemon daemon(endless(2));
        const int64_t id = queue("one");
        program service(words_of(daemon));
        ASSERT_TRUE(daemon.has_got(COMMAND_GET_STATE, 4));
        if (held)
            open().hold(id);
        else
            open().remove(id);
        EXPECT_TRUE(daemon.has_got(COMMAND_CANCEL, 1));
        stop(service);
        const std::optional<entry_t> left = open().find(id);
        EXPECT_EQ(left && left->state == state_t::HELD, held);
        open().remove(id);
    }
}

TEST_F(Service, FinishesArrivedEntriesOfAnEarlierService)
{
    fake_daemon daemon(uploading({whole()}));
    queue("one", [](entry_t &entry) { entry.after = after_t::DELETE; });
    queue("two");
    {
        store_t store = open();
        store.begin(1, file_identify(file).text);
        store.arrived(1);
        store.hold(2);
    }
    program service(words_of(daemon));
    EXPECT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_FALSE(std::filesystem::exists(file));
    stop(service);
    EXPECT_EQ(daemon.starts(), 0u);
}

TEST_F(Service, SendsWhatAnEarlierServiceWasSending)
{
    fake_daemon daemon(uploading({whole()}));
    queue("one");
    open().begin(1, "");
    program service(words_of(daemon));
    EXPECT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_EQ(stop(service).status, 0);
}

TEST_F(Service, SendsAtNotBeforeAndFailsExpiredEntries)
{
    fake_daemon daemon(uploading({whole()}));
    queue("one", [](entry_t &entry) { entry.not_before_s = entry.added_s + 1; });
    queue("two", [](entry_t &entry) {
        entry.not_before_s = entry.added_s + 1000;
        entry.expires_s = entry.added_s + 1;
    });
    program service(words_of(daemon));
    EXPECT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_TRUE(comes_to_be(2, state_t::FAILED));
    EXPECT_EQ(open().find(2)->error, "expired");
    EXPECT_GE(open().find(1)->ended_s, open().find(1)->not_before_s);
    EXPECT_THAT(stop(service).out, HasSubstr("2 failed: "));
}

TEST_F(Service, RunsAloneAndEndsWhenItsDatabaseIsMoved)
{
    fake_daemon daemon(uploading({whole()}));
    queue("one");
    program service(words_of(daemon));
    ASSERT_TRUE(comes_to_be(1, state_t::DONE));
    const outcome_t second = ::run(words_of(daemon));
    EXPECT_EQ(second.status, STATUS_BUSY);
    EXPECT_EQ(second.err, "ftpspool: " + paths.folder + ": another ftpspool runs\n");
    std::filesystem::rename(paths.database(), dir / "taken");
    const outcome_t outcome = service.wait();
    EXPECT_EQ(outcome.status, STATUS_LOCAL);
    EXPECT_EQ(outcome.err, "ftpspool: " + paths.database() + ": was removed or replaced\n");
}

TEST_F(Service, ContinuesNoFileInWhosePlaceAnotherOneWasSent)
{
    fake_daemon daemon(uploading({broken(4), whole()}));
    queue("one");
    program service(words_of(daemon, "1h"));
    ASSERT_TRUE(service.has_printed("1 waiting: "));
    queue("one");
    open().retry(2, 10); // it does not wait for the end of the pause
    ASSERT_TRUE(comes_to_be(2, state_t::DONE));
    ASSERT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_EQ(stop(service).status, 0);
    // The remote file has the right size, and is the other entry's.
    EXPECT_EQ(jobs_of(daemon), (std::vector<uint32_t>{COMMAND_UPLOAD, COMMAND_UPLOAD, COMMAND_DL_FILE_INFO,
                                                      COMMAND_UPLOAD, COMMAND_DL_FILE_INFO}));
}

TEST_F(Service, SendsTheWholeFileAfterALastTryThatArrivedWrong)
{
    fake_daemon daemon([script = script_of({idle()}), size = 8](const message_t &message) mutable {
        if (message.command == COMMAND_UPLOAD)
            script.states = {running(2, 10, 4), ended(2, 0, 10, 10)}; // its first bytes are seen
        if (message.command == COMMAND_DL_FILE_INFO) {
            script.states = {ended(3, 0, 0, 0)};
            script.remote_file = remote(++size);
        }
        return script(message);
    });
    queue("one", [](entry_t &entry) { entry.tries_most = 1; });
    program service(words_of(daemon));
    ASSERT_TRUE(comes_to_be(1, state_t::FAILED));
    EXPECT_EQ(open().find(1)->error, "different-size");
    open().retry(1, 10);
    ASSERT_TRUE(comes_to_be(1, state_t::DONE));
    EXPECT_EQ(stop(service).status, 0);
    EXPECT_EQ(jobs_of(daemon), (std::vector<uint32_t>{COMMAND_UPLOAD, COMMAND_DL_FILE_INFO, COMMAND_UPLOAD,
                                                      COMMAND_DL_FILE_INFO}));
}
