#include "worker_fixture.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static lines changed(const std::string &bytes)
{
    return {"error: curl_func(797): The local file was changed while it was sent: " + bytes + " bytes\n"};
}

TEST_F(Worker, ADownloadThatCannotOpenItsFileFailsWithoutBlocking)
{
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0); // without a reader
    const std::tuple<const char *, int, const char *> table[] = {
        {"no/such/folder", 0, "errno(2) No such file or directory"},
        {"pipe", 0, "errno(6) No such device or address"},
        {"local", ENOMEM, "errno(12) Cannot allocate memory"}};
    for (const auto &[name, stream_error, error] : table) {
        set_local_path(path(name));
        system.fdopen = stream_error;
        EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
        EXPECT_EQ(logged(), lines{"error: curl_func(615): " + std::string(error) + "\n"});
        EXPECT_EQ(wrapper_.performed, 0);
        expect_all_given_back();
    }
}

TEST_F(Worker, ADownloadWhoseFileIsNotThereAtTheEndIsALocalWriteError)
{
    const std::string local = path("local");
    const std::function<void()> changes[] = {
        [&] { ASSERT_EQ(unlink(local.c_str()), 0); },
        [&] { ASSERT_EQ(rename(write("other", "abc").c_str(), local.c_str()), 0); },
        [&] { append(local, "more"); },
    };
    for (const auto &change : changes) {
        script([&](curl_e_handle_t *) {
            receive("abc");
            change();
        });
        EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
        EXPECT_THAT(logged(), testing::ElementsAre("error: curl_func(655): The local file was changed or "
                                                   "replaced while it was written.\n"));
    }
}

TEST_F(Worker, ADownloadThroughALinkIsStoredInItsTarget)
{
    ASSERT_EQ(symlink("target", path("local").c_str()), 0);
    script([](curl_e_handle_t *) { receive("abc"); });
    EXPECT_EQ(run(JOB_DOWNLOAD), 0u);
    EXPECT_EQ(content(path("target")), "abc");
}

TEST_F(Worker, ADownloadIntoAPipeWithoutAReaderOrRoomFailsWithoutBlocking)
{
    ASSERT_EQ(mkfifo(path("local").c_str(), 0600), 0);
    const auto open_reader = [this] { return open(path("local").c_str(), O_RDONLY | O_NONBLOCK); };
    const int gone = open_reader();
    script([&](curl_e_handle_t *) {
        receive("abc");
        close(gone);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
    EXPECT_EQ(logged(), lines{"error: curl_func(653): errno(32) Broken pipe\n"});

    const int idle = open_reader();
    script([&](curl_e_handle_t *handle) {
        EXPECT_LT(receive(std::string(1 << 20, 'x')), size_t(1) << 20);
        handle->curl_code = 23;
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 9u);
    close(idle);
}

TEST_F(Worker, ACancelledDownloadRemovesNoDeviceAndNoOtherFile)
{
    set_local_path("/dev/null");
    script(meets_a_cancel);
    system.remove = EBUSY; // protects this machine's /dev/null
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(system.remove, EBUSY) << "something was removed";
    EXPECT_EQ(logged(), lines{});
    system.remove = 0;

    set_local_path(path("local"));
    script([this](curl_e_handle_t *handle) {
        ASSERT_EQ(rename(write("other", "kept").c_str(), path("local").c_str()), 0);
        meets_a_cancel(handle);
    });
    EXPECT_EQ(run(JOB_DOWNLOAD), 1u);
    EXPECT_EQ(content(path("local")), "kept");
}

TEST_F(Upload, OfAnythingButARegularFileFailsBeforeConnecting)
{
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(symlink("pipe", path("link").c_str()), 0);
    const std::pair<std::string, const char *> table[] = {
        {path("none"), "errno(2) No such file or directory"}, {path("."), "errno(21) Is a directory"},
        {path("pipe"), "errno(22) Invalid argument"},         {path("link"), "errno(22) Invalid argument"},
        {"/dev/null", "errno(22) Invalid argument"},          {"/dev/zero", "errno(22) Invalid argument"},
    };
    for (const auto &[path, error] : table) {
        wrapper_ = {};
        set_local_path(path);
        EXPECT_EQ(run(JOB_UPLOAD), 10u) << path;
        EXPECT_EQ(wrapper_.performed, 0);
        EXPECT_EQ(logged(), lines{"error: curl_func(729): " + std::string(error) + '\n'});
        expect_all_given_back();
    }
}

TEST_F(Upload, OfALinkSendsTheRegularFileItLeadsTo)
{
    ASSERT_EQ(symlink("local", path("link").c_str()), 0);
    set_local_path(path("link"));
    script([](curl_e_handle_t *) { EXPECT_EQ(send(100), "0123456789"); });
    EXPECT_EQ(run(JOB_UPLOAD), 0u);
}

TEST_F(Upload, IsCompleteWithAllThatTheFileHeldAtTheStartUnlessItShrinks)
{
    const auto grow = [this] { append(local, "more"); };
    const auto shrink = [this] { ASSERT_EQ(truncate(local.c_str(), 3), 0); };
    const auto give_the_name_to_another = [this] {
        ASSERT_EQ(rename(write("other", "x").c_str(), local.c_str()), 0);
    };
    const struct {
        size_t before; // bytes sent before `change`
        std::function<void()> change;
        size_t after;
        std::string sent;
        lines log; // none = whole
    } table[] = {
        {10, grow, 0, "0123456789", {}},
        {10, grow, 10, "0123456789more", {}},
        {9, grow, 0, "012345678", changed("9 of 14")},
        {10, shrink, 0, "0123456789", changed("10 of 3")},
        {0, give_the_name_to_another, 100, "0123456789", {}},
    };
    for (const auto &row : table) {
        wrapper_ = {};
        write("local", "0123456789");
        script([&](curl_e_handle_t *) {
            const std::string before = send(row.before);
            row.change();
            EXPECT_EQ(before + send(row.after), row.sent);
        });
        EXPECT_EQ(run(JOB_UPLOAD), row.log.empty() ? 0u : 16u) << row.sent;
        EXPECT_EQ(shown.curl_code, row.log.empty() ? 0u : 18u);
        EXPECT_EQ(logged(), row.log);
    }
}

TEST_F(Upload, OfAFileWithAWrongSizeOf0IsPartial)
{
    set_local_path("/proc/self/status");
    for (const size_t size : {0u, 10u}) {
        wrapper_ = {};
        script([size](curl_e_handle_t *) { EXPECT_EQ(send(size).size(), size); });
        EXPECT_EQ(run(JOB_UPLOAD), 16u);
        EXPECT_EQ(logged(), changed(std::to_string(size) + " of 0"));
    }
}
