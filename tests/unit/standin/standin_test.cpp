#include "platform/zixiFeeder.h"

#include "support/scratch.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/resource.h>
#include <thread>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

constexpr uint64_t FOUR_GIB = uint64_t{1} << 32;

struct log_t {
    std::mutex mutex;
    std::vector<std::string> lines;
    std::vector<int> levels;
};

void cb_keep(void *user_data, int level, const char *line)
{
    auto log = static_cast<log_t *>(user_data);
    std::lock_guard guard(log->mutex);
    log->lines.push_back(line);
    log->levels.push_back(level);
}

struct sample_t {
    int code;
    uint64_t sent;
    uint64_t total;
    int state;
};

struct StandIn : testing::Test {
    scratch_t scratch;
    std::string local = scratch / "file.bin";
    std::string root = scratch / "server";
    zixi_upload_parameters parameters = {};
    void *stream = nullptr;
    log_t log;

    StandIn()
    {
        for (const char *name : {"RATE", "USER", "PASSWORD", "TOTAL", "FAIL"})
            unsetenv((std::string("ZIXI_FEEDER_") + name).c_str());
        set("DIR", root);
        fill(local, std::string(100000, 'x'));
        parameters.port = 2088;
        parameters.remote_directory = "in/box";
        zixi_configure_logging(3, cb_keep, &log);
    }
    ~StandIn() override { zixi_configure_logging(0, nullptr, nullptr); }

    static void set(const std::string &name, const std::string &value)
    {
        setenv(("ZIXI_FEEDER_" + name).c_str(), value.c_str(), 1);
    }
    int start()
    {
        uintptr_t configuration[2];
        const int code = zixi_prepare_configuration(0, 0, configuration);
        return code != 0 ? code
                         : zixi_upload_file(configuration[0], configuration[1], local.c_str(), "server.test",
                                            parameters, &stream);
    }
    sample_t sample()
    {
        sample_t taken = {};
        taken.code = zixi_get_upload_progress(stream, &taken.sent, &taken.total, &taken.state);
        return taken;
    }
    sample_t at_end()
    {
        sample_t taken;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while ((taken = sample()).code == 0 && taken.state == ZIXI_STATE_UPLOADING &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return taken;
    }
};

} // namespace

TEST_F(StandIn, UploadsAFileIntoTheRemoteDirectoryAndReportsState2Meanwhile)
{
    set("RATE", "200000");
    ASSERT_EQ(start(), 0);
    const sample_t first = sample();
    EXPECT_EQ(first.state, 2);
    EXPECT_LT(first.sent, 100000u);
    const sample_t end = at_end();
    EXPECT_EQ(end.code, 0);
    EXPECT_NE(end.state, ZIXI_STATE_UPLOADING);
    EXPECT_EQ(end.sent, 100000u);
    EXPECT_EQ(end.total, 100000u);
    EXPECT_EQ(zixi_close_stream(stream), 0);
    EXPECT_EQ(content_of(root + "/in/box/file.bin"), content_of(local));
}

TEST_F(StandIn, ReportsPretendedSizesAbove4GiBAndScalesTheSentBytes)
{
    set("TOTAL", std::to_string(FOUR_GIB + 5));
    set("RATE", "100000");
    ASSERT_EQ(start(), 0);
    sample_t taken;
    while ((taken = sample()).sent == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_EQ(taken.state, 2);
    EXPECT_EQ(taken.total, FOUR_GIB + 5);
    EXPECT_GE(taken.sent, FOUR_GIB / 20) << "a twentieth of the file is copied at a time";
    EXPECT_LT(taken.sent, FOUR_GIB);
    const sample_t end = at_end();
    EXPECT_EQ(end.sent, FOUR_GIB + 5);
    EXPECT_EQ(end.total, FOUR_GIB + 5);
    EXPECT_EQ(zixi_close_stream(stream), 0);
}

TEST_F(StandIn, ImpossibleCredentialsAreInvalid)
{
    EXPECT_EQ(zixi_configure_credentials("ann", -1, "secret", 6), ZIXI_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(zixi_configure_credentials("ann", 3, std::string(257, 'p').c_str(), 257),
              ZIXI_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(zixi_configure_credentials(nullptr, 0, "secret", 6), ZIXI_ERROR_INVALID_PARAMETER);
}

TEST_F(StandIn, WithoutADirectoryOrAConfigurationNothingStarts)
{
    EXPECT_EQ(zixi_upload_file(0, 0, local.c_str(), "h", parameters, &stream), ZIXI_ERROR_INVALID_PARAMETER);
    uintptr_t configuration[2];
    ASSERT_EQ(zixi_prepare_configuration(0, 0, configuration), 0);
    EXPECT_EQ(
        zixi_upload_file(configuration[0], configuration[1] + 1, local.c_str(), "h", parameters, &stream),
        ZIXI_ERROR_INVALID_PARAMETER);
    set("DIR", "");
    EXPECT_EQ(start(), ZIXI_ERROR_NOT_CONNECTED);
    unsetenv("ZIXI_FEEDER_DIR");
    EXPECT_EQ(start(), ZIXI_ERROR_NOT_CONNECTED);
    EXPECT_EQ(stream, nullptr);
}

TEST_F(StandIn, AnInvalidNumberIsReportedAndIgnored)
{
    for (const char *wrong : {"-5", "5x", "x", "99999999999999999999", ""}) {
        set("TOTAL", wrong);
        testing::internal::CaptureStderr();
        parameters.overwrite = 1;
        ASSERT_EQ(start(), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  std::string("ZIXI_FEEDER_TOTAL: not understood: '") + wrong + "'\n");
        EXPECT_EQ(at_end().total, 100000u) << wrong;
        EXPECT_EQ(zixi_close_stream(stream), 0);
    }
}

TEST_F(StandIn, AFullServerFailsTheUpload)
{
    signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {1000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const int started = start();
    const sample_t end = started == 0 ? at_end() : sample_t{};
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, SIG_DFL);
    ASSERT_EQ(started, 0);
    EXPECT_EQ(end.code, ZIXI_ERROR_FILE_REMOTE);
    EXPECT_EQ(zixi_close_stream(stream), 0);
    EXPECT_THAT(names_in(root + "/in/box"), ElementsAre());
}

TEST_F(StandIn, LogsUpToTheLevelThroughTheCallback)
{
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(zixi_close_stream(stream), 0);
    EXPECT_THAT(log.lines, Contains(HasSubstr("server.test:2088")));
    EXPECT_THAT(log.lines, testing::Each(testing::EndsWith("\n")));
    EXPECT_THAT(log.levels, testing::Each(3));
    log.lines.clear();
    zixi_configure_logging(1, cb_keep, &log);
    set("FAIL", "zixi_prepare_configuration:-5");
    EXPECT_EQ(start(), -5);
    EXPECT_THAT(log.lines, ElementsAre("zixi feeder: configuration: error -5\n"));
    log.lines.clear();
    zixi_configure_logging(0, cb_keep, &log);
    EXPECT_EQ(start(), -5);
    EXPECT_THAT(log.lines, IsEmpty());
    zixi_configure_logging(3, nullptr, nullptr);
    EXPECT_EQ(start(), -5);
}

TEST_F(StandIn, LeavesNothingOfTheFileWhenClosedEarlyEvenIfClosingFails)
{
    set("RATE", "1000"); // would take 100 s
    ASSERT_EQ(start(), 0);
    set("FAIL", "zixi_close_stream:-9");
    const size_t descriptors = open_descriptors();
    EXPECT_EQ(zixi_close_stream(stream), -9);
    EXPECT_EQ(open_descriptors(), descriptors - 3) << "source, target, place";
    EXPECT_THAT(names_in(root + "/in/box"), IsEmpty());
}

TEST_F(StandIn, StoresNothingOutsideItsDirectory)
{
    std::filesystem::create_directories(scratch / "elsewhere");
    std::filesystem::create_directory(root);
    std::filesystem::create_symlink(scratch / "elsewhere", root + "/link");
    for (const auto &[directory, error] :
         {std::pair{"link", ZIXI_ERROR_FILE_REMOTE}, std::pair{"a/..", ZIXI_ERROR_BAD_URL},
          std::pair{"/../etc", ZIXI_ERROR_BAD_URL}}) {
        parameters.remote_directory = directory;
        EXPECT_EQ(start(), error) << directory;
    }
    EXPECT_THAT(names_in(scratch / "elsewhere"), IsEmpty());
}

TEST_F(StandIn, LeavesNoThreadAndNoDescriptor)
{
    const size_t descriptors = open_descriptors();
    const size_t threads_before = threads();
    parameters.overwrite = 1;
    for (int i = 0; i < 75; i++) {
        set("RATE", i % 2 == 0 ? "0" : "2000000");
        parameters.remote_directory = "in/box";
        ASSERT_EQ(start(), 0);
        if (i % 3 == 0) {
            EXPECT_EQ(at_end().code, 0);
        }
        EXPECT_EQ(zixi_close_stream(stream), 0);
        parameters.remote_directory = "..";
        EXPECT_EQ(start(), ZIXI_ERROR_BAD_URL);
    }
    EXPECT_EQ(open_descriptors(), descriptors);
    // of 75 uploads; one thread may be a sanitizer's, one on its way out
    EXPECT_LE(threads(), threads_before + 2);
}
