#include "ftpspool/attempt.h"

#include "ftpspool/file_identity.h"
#include "server_script.h"
#include "spool_fixture.h"

#include <poll.h>

using testing::AllOf;

namespace
{

constexpr const char *PLACE = "ftp://anna@host:21/f";

class Attempt : public Spool
{
protected:
    std::string password = dir.file("password", "secret");
    entry_t entry;

    void SetUp() override
    {
        chmod(password.c_str(), 0600);
        entry = entry_to("ftp://anna@host/f");
        entry.target.password_file = password;
    }

    static client_t client_of(const fake_daemon &daemon)
    {
        ftpclient_t *client = nullptr;
        ftpclient_open(daemon.path().c_str(), &client);
        return client_t(client);
    }

    // Runs the entry's try to its end; `at_begin` is called when the file has begun to be sent.
    attempt_end_t run(const fake_daemon &daemon, const std::function<void(attempt_t &)> &at_begin = {}) const
    {
        attempt_t attempt(client_of(daemon).get(), daemon.path(), entry);
        bool is_told = false;
        while (!attempt.step()) {
            if (attempt.has_begun_file() && at_begin && !is_told) {
                is_told = true;
                at_begin(attempt);
            }
            pollfd waiting = {attempt.fd(), POLLIN, 0};
            poll(&waiting, 1, -1);
        }
        return attempt.end();
    }

    std::string refusal() const
    {
        return failure_of([&] { attempt_t(nullptr, "", entry); });
    }
};

} // namespace

TEST_F(Attempt, SendsTheWholeFileAndComparesItsSize)
{
    fake_daemon daemon(uploading({whole()}));
    const attempt_end_t end = run(daemon);
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.message, StartsWith("10 of 10 bytes in "));
    EXPECT_EQ(end.bytes, 10);
    ASSERT_EQ(daemon.starts(), 2u);
    const transfer_request_t upload = daemon.requests()[0];
    EXPECT_EQ(upload.resume, 0u);
    EXPECT_STREQ(upload.username, "anna");
    EXPECT_STREQ(upload.password, "secret");
    EXPECT_EQ(upload.local_path, file);
}

TEST_F(Attempt, FailsWhenTheSizesDiffer)
{
    fake_daemon daemon(uploading({{ended(2, 0, 10, 10), 9}}));
    const attempt_end_t end = run(daemon);
    EXPECT_EQ(end.status, STATUS_DIFFERENT);
    EXPECT_EQ(end.verdict, verdict_t::ENTRY);
    EXPECT_FALSE(end.resumable);
}

TEST_F(Attempt, FailsWhenTheFileChangesDuringTheUpload)
{
    fake_daemon daemon([this, answer = uploading({whole()})](const message_t &message) {
        if (message.command == COMMAND_UPLOAD) {
            std::filesystem::rename(file, dir / "old");
            fill(file, "abcdefghij");
        }
        return answer(message);
    });
    const attempt_end_t end = run(daemon);
    EXPECT_EQ(end.status, STATUS_DIFFERENT);
    EXPECT_EQ(end.message, file + ": has changed while it was sent");
    EXPECT_EQ(end.verdict, verdict_t::ENTRY);
}

TEST_F(Attempt, CanBeResumedAfterABreakOnceBytesWereSent)
{
    fake_daemon broken_daemon(uploading({broken(4)}));
    const attempt_end_t end = run(broken_daemon);
    EXPECT_EQ(end.status, STATUS_CAUSE + int{FTPCLIENT_CAUSE_BROKEN});
    EXPECT_EQ(end.verdict, verdict_t::SERVER);
    EXPECT_TRUE(end.resumable);
    fake_daemon silent(uploading({nobody()}));
    EXPECT_FALSE(run(silent).resumable); // the remote file may be an old one
}

TEST_F(Attempt, AppendsTheRestOnlyOfTheSameFile)
{
    entry.resumable = true;
    entry.identity = file_identify(file).text;
    entry.place = PLACE;
    fake_daemon daemon(uploading({whole()}));
    // What the first look-up finds: four bytes.
    fake_daemon four([script = script_of({idle()})](const message_t &message) mutable {
        if (message.command == COMMAND_UPLOAD) {
            script.states = {ended(2, 0, 6, 6)};
            script.remote_file = remote(10);
        } else if (message.command == COMMAND_DL_FILE_INFO) {
            script.states = {ended(3, 0, 0, 0)};
            if (script.remote_file.size == 0)
                script.remote_file = remote(4);
        }
        return script(message);
    });
    const attempt_end_t end = run(four);
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.message,
                AllOf(StartsWith("6 of 6 bytes"), EndsWith(", appended to the 4 bytes already there")));
    ASSERT_EQ(four.starts(), 3u);
    EXPECT_EQ(four.requests()[1].resume, 1u);
    entry.identity = "another file's";
    EXPECT_EQ(run(daemon).status, 0);
    EXPECT_EQ(daemon.requests()[0].resume, 0u); // the whole file, without a look-up before
    EXPECT_EQ(daemon.commands().at(1), uint32_t{COMMAND_UPLOAD});
}

TEST_F(Attempt, LooksForItsBeginningOnlyInTheSamePlace)
{
    const struct {
        const char *url;
        const char *user;
        bool is_same;
    } rows[] = {
        {"ftp://host", "anna", true},     {"ftp://other", "anna", false}, {"ftp://host:2121", "anna", false},
        {"ftpes://host/", "anna", false}, {"ftp://host", "bob", false},   {"ftp://host/dir", "anna", false},
    };
    entry = entry_by_profile("f");
    entry.resumable = true;
    entry.identity = file_identify(file).text;
    entry.place = PLACE;
    for (const auto &row : rows) {
        fake_daemon daemon(uploading({whole()}));
        profile(std::string("url = ") + row.url + "\nuser = " + row.user + "\npassword-file = " + password);
        run(daemon);
        const uint32_t first = daemon.commands().at(1);
        EXPECT_EQ(first == COMMAND_DL_FILE_INFO, row.is_same) << row.url << " " << row.user;
    }
}

TEST_F(Attempt, ReadsItsProfileEachTime)
{
    entry = entry_by_profile("dir/f");
    profile("url = ftp://host/base\nuser = anna\npassword-file = " + password);
    fake_daemon daemon(uploading({whole()}));
    EXPECT_EQ(run(daemon).status, 0);
    fill(password, "changed");
    EXPECT_EQ(run(daemon).status, 0);
    const std::vector<transfer_request_t> requests = daemon.requests(); // two uploads and their look-ups
    EXPECT_STREQ(requests.at(0).password, "secret");
    EXPECT_STREQ(requests.at(2).password, "changed");
    EXPECT_STREQ(requests.at(2).remote_path, "base/dir/f");
    profile("url = ftp://host\nuser = anna\npassword-credential = cam");
    unsetenv("CREDENTIALS_DIRECTORY");
    EXPECT_THAT(refusal(), StartsWith("14 credential cam: "));
    std::filesystem::remove(dir / "cam.conf");
    EXPECT_EQ(refusal(), "1 " + dir / "cam.conf" + ": No such file or directory");
}

TEST_F(Attempt, SendsNothingWhenTheServerHasTheWholeFile)
{
    entry.resumable = true;
    entry.identity = file_identify(file).text;
    entry.place = PLACE;
    fake_daemon daemon([script = script_of({idle()})](const message_t &message) mutable {
        if (message.command == COMMAND_DL_FILE_INFO) {
            script.states = {ended(3, 0, 0, 0)};
            script.remote_file = remote(10);
        }
        return script(message);
    });
    const attempt_end_t end = run(daemon);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.message, "all 10 bytes were there already");
    EXPECT_EQ(daemon.starts(), 1u);
}

TEST_F(Attempt, StaysResumableWhenItFailsBeforeItAppends)
{
    entry.resumable = true;
    entry.identity = file_identify(file).text;
    entry.place = PLACE;
    fake_daemon daemon([script = script_of({idle()})](const message_t &message) mutable {
        if (message.command == COMMAND_DL_FILE_INFO)
            script.states = {failed(3, 16, 7)};
        return script(message);
    });
    const attempt_end_t end = run(daemon);
    EXPECT_EQ(end.status, STATUS_CAUSE + int{FTPCLIENT_CAUSE_NOBODY});
    EXPECT_TRUE(end.resumable);
}

TEST_F(Attempt, ReportsTheFirstBytesAndCanBeStopped)
{
    fake_daemon daemon(endless(2));
    int begun = 0;
    const attempt_end_t end = run(daemon, [&](attempt_t &attempt) {
        begun++;
        attempt.stop();
    });
    EXPECT_EQ(begun, 1);
    EXPECT_TRUE(end.stopped);
    EXPECT_TRUE(end.resumable);
    EXPECT_EQ(end.verdict, verdict_t::ENTRY);
}

TEST_F(Attempt, FailsAtOnceWithoutADaemon)
{
    fake_daemon daemon(uploading({whole()}));
    daemon.stop();
    const attempt_end_t end = run(daemon);
    EXPECT_EQ(end.status, STATUS_NO_DAEMON);
    EXPECT_EQ(end.verdict, verdict_t::DAEMON);
    EXPECT_FALSE(end.stopped);
}

TEST_F(Attempt, ThrowsForAnEntryThatCannotBeSent)
{
    entry.size_bytes = 11;
    EXPECT_EQ(refusal(), "1 " + file + ": has 10 bytes, but had 11 when it was added");
    entry.size_bytes = 10;
    entry.target.password_file = dir / "none";
    EXPECT_EQ(refusal(), "1 " + dir / "none" + ": No such file or directory");
    entry.target.url = "ftp://host/a%23b";
    EXPECT_THAT(refusal(), StartsWith("2 "));
    entry.local = dir / "none";
    EXPECT_THAT(refusal(), StartsWith("59 "));
    entry.local = dir.path.string();
    EXPECT_THAT(refusal(), StartsWith("1 "));
}

TEST_F(Attempt, FailsWhenItsCallCannotBegin)
{
    attempt_t attempt(nullptr, "/run/x", entry); // what is no client is refused as an argument
    EXPECT_TRUE(attempt.step());
    EXPECT_EQ(attempt.end().status, STATUS_USAGE);
    EXPECT_EQ(attempt.fd(), -1);
}
