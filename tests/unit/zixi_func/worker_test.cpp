#include "zixi_func/worker.h"

#include "fake_feeder.h"
#include "support/logged.h"

#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{

constexpr const char *DONE = "zixi_func(784): Zixi FTP Done.\n";
constexpr const char *NETWORK = "error: zixi_func(502): FTPCD_ERR_NETWORK\n";

constexpr job_engine_t SILENT = {nullptr,  unjoined_t::kept, "not recursive", "lock", "unlock",
                                 "create", "not started",    "no thread",     "join"};

// Runs the worker on the test's own thread, with a record as after a start.
struct Worker : testing::Test {
    fake_feeder_t feeder;
    job_slot_t slot = {.engine = &SILENT};
    job_record_t &job = slot.record;

    Worker()
    {
        feeder_ = &feeder;
        job_init(&slot);
        job.request = zixi_request();
        start_anew();
    }
    ~Worker() override { logged(); } // of a test that is not about the log
    // Prepares another job with a library without faults.
    void start_anew(uint32_t kind = JOB_UPLOAD)
    {
        feeder = {};
        job.module_info = {1, kind, 0, 0};
        logged();
    }
    void run() { zixif_work(&slot); }
    void cancel_at(const std::string &stage, int time = 1)
    {
        feeder.on_event = [this, stage, time, seen = 0](const std::string &event) mutable {
            if (event != stage || ++seen != time)
                return;
            job.module_info.cancel = 1;
        };
    }
    void expect_outcome(uint32_t result, int zixi_error)
    {
        EXPECT_EQ(job.module_info.result, result);
        EXPECT_EQ(static_cast<int>(job.exec_info.zixi_error), zixi_error);
    }
    // The log without progress lines; progress_test covers those.
    static lines logged_but_progress()
    {
        lines kept = logged();
        std::erase_if(kept, [](const std::string &line) { return line.starts_with("zixi_func(731)"); });
        return kept;
    }
};

std::string start_failure(int code)
{
    return "error: zixi_func(623): Error starting upload. err=" + std::to_string(code) + "\n";
}
std::string given_up(int code) { return "zixi_func(650): Upload Error:" + std::to_string(code) + "\n"; }
std::string named(const std::string &name, int code)
{
    return "error: zixi_func(1170): " + name + "(" + std::to_string(code) + ") \n";
}

} // namespace

TEST_F(Worker, UploadsInTheOrderOfTheLibrarysCalls)
{
    job.exec_info.zixi_error = 5; // an earlier job's
    feeder.progress = {{0, 1000000, 2000000, 2}, {0, 2000000, 2000000, 3}};
    run();
    EXPECT_THAT(feeder.events,
                ElementsAre("zixi_configure_logging", "zixi_configure_credentials",
                            "zixi_prepare_configuration", "zixi_upload_file", "nanosleep(1.000000000)",
                            "zixi_get_upload_progress", "nanosleep(1.000000000)", "zixi_get_upload_progress",
                            "zixi_close_stream"));
    expect_outcome(FTPCD_ERR_NONE, 0);
    EXPECT_EQ(job.exec_info.total_size, 2000000.0);
    EXPECT_EQ(job.exec_info.transferred_size, 2000000.0);
    EXPECT_EQ(job.exec_info.elapsed_time, 2.0);
    EXPECT_EQ(job.exec_info.response_code_type, 3u);
    EXPECT_THAT(feeder.streams, testing::Each(fake_stream()));
    EXPECT_EQ(logged(),
              (lines{"zixi_func(731): Uploaded: 50% 1MB/2MB Speed: 8.  0Mbps elapsed:0[m] / remain:0[m]\n",
                     "zixi_func(731): Uploaded: 100% 2MB/2MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]\n",
                     DONE}));
}

TEST_F(Worker, DownloadAndFileInformationEndAtOnce)
{
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_DL_FILE_INFO}) {
        start_anew(kind);
        job.exec_info.zixi_error = 5; // an earlier job's
        run();
        EXPECT_EQ(job.exec_info.response_code_type, 3u);
        expect_outcome(FTPCD_ERR_NONE, 5);
        EXPECT_THAT(feeder.events, IsEmpty());
        EXPECT_EQ(logged(), lines{});
    }
}

TEST_F(Worker, AnUnknownKindEndsWithTheStoredError)
{
    job.module_info.exec = 4;
    run();
    expect_outcome(FTPCD_ERR_NONE, 0);
    EXPECT_EQ(logged(), lines{});
    job.exec_info.zixi_error = 5;
    run();
    expect_outcome(FTPCD_ERR_NETWORK, 5);
    EXPECT_EQ(logged(), lines{NETWORK});
    EXPECT_THAT(feeder.events, IsEmpty());
}

TEST_F(Worker, TheLibrarysLogGoesToStandardOutputUnchanged)
{
    run();
    EXPECT_EQ(feeder.log_level, 3);
    EXPECT_EQ(feeder.log_user_data, nullptr);
    ASSERT_NE(feeder.log, nullptr);
    testing::internal::CaptureStdout();
    feeder.log(nullptr, 1, "100% of %s\n");
    feeder.log(nullptr, 3, "no newline");
    feeder.log(nullptr, 3, "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "100% of %s\nno newline");
}

TEST_F(Worker, CredentialsHaveTheirOwnFieldsAndMayFillThemOrBeEmpty)
{
    const auto bytes = reinterpret_cast<char *>(&job.request);
    const std::string users[] = {"ann", std::string(63, 'u'), ""};
    const std::string passwords[] = {"open sesame", std::string(127, 'p'), ""};
    for (int i = 0; i < 3; i++) {
        strcpy(bytes + 1092, users[i].c_str());
        strcpy(bytes + 1156, passwords[i].c_str());
        run();
        EXPECT_EQ(feeder.user, users[i]);
        EXPECT_EQ(feeder.user_length, static_cast<int>(users[i].size()));
        EXPECT_EQ(feeder.password, passwords[i]);
        EXPECT_EQ(feeder.password_length, static_cast<int>(passwords[i].size()));
    }
}

TEST_F(Worker, AFailedSetUpEndsTheJob)
{
    const std::tuple<std::deque<int> fake_feeder_t::*, const char *, const char *> rows[] = {
        {&fake_feeder_t::logging, "error: zixi_func(557): Error configuring logging. err=-3\n",
         "zixi_configure_logging"},
        {&fake_feeder_t::credentials, "error: zixi_func(575): Error configuring credentials. err=-3\n",
         "zixi_configure_credentials"},
        {&fake_feeder_t::prepare, "error: zixi_func(588): Error preparing configuration. err=-3\n",
         "zixi_prepare_configuration"},
    };
    for (const auto &[answers, line, last_call] : rows) {
        start_anew();
        feeder.*answers = {-3};
        run();
        EXPECT_EQ(logged(), (lines{line, named("ZIXI_ERROR_NOT_INITIALIZED", -3), NETWORK}));
        expect_outcome(FTPCD_ERR_NETWORK, -3); // 16 replaces the set-up's 5
        EXPECT_EQ(feeder.events.back(), last_call);
        EXPECT_EQ(feeder.count("sleep(1)"), 0);
    }
}

TEST_F(Worker, TheLastFailureIsTheOutcomeAndOnlyAStartReportsAnExistingFile)
{
    const struct {
        std::deque<int> prepare, upload;
        std::deque<progress_step_t> progress;
        uint32_t result;
        int zixi_error;
        size_t uploads;
    } rows[] = {
        {{-22}, {}, {}, FTPCD_ERR_NETWORK, -22, 0},
        {{0, 0, 7}, {-21, -21}, {}, FTPCD_ERR_NETWORK, 7, 2},
        {{}, {-21, 1, 7, 4, 0}, {}, FTPCD_ERR_NONE, 0, 5},
        {{}, {-21, -22}, {}, FTPCD_ERR_REMOTE_FILE_EXISTS, -22, 2},
        {{}, {}, {{-22, 0, 0, 0}}, FTPCD_ERR_NETWORK, -22, 1},
    };
    for (const auto &row : rows) {
        start_anew();
        feeder.prepare = row.prepare;
        feeder.upload = row.upload;
        feeder.progress = row.progress;
        run();
        expect_outcome(row.result, row.zixi_error);
        EXPECT_EQ(feeder.uploads.size(), row.uploads);
        EXPECT_EQ(feeder.count("zixi_close_stream"), feeder.count("nanosleep(1.000000000)"));
    }
}

TEST_F(Worker, OnlyTemporaryStartFailuresAreRetried)
{
    for (int code = -23; code <= 9; code++) {
        const bool passes = code == -21 || (code >= 1 && code <= 7);
        if (code == 0)
            continue;
        start_anew();
        feeder.upload = std::deque<int>(9, code);
        run();
        EXPECT_EQ(feeder.uploads.size(), passes ? 5u : 1u) << code;
        EXPECT_EQ(feeder.count("sleep(1)"), passes ? 5 : 0) << code;
        expect_outcome(code == -22 ? FTPCD_ERR_REMOTE_FILE_EXISTS : FTPCD_ERR_NETWORK, code);
    }
}

TEST_F(Worker, MakesFiveAttemptsASecondApartAndCutsTheRemotePathOnce)
{
    strcpy(job.request.remote_path, "a/b/c/d/e/film.ts");
    feeder.upload = std::deque<int>(9, -21);
    run();
    std::vector<std::string> attempts = {"zixi_configure_logging", "zixi_configure_credentials"};
    for (int i = 0; i < 5; i++)
        attempts.insert(attempts.end(), {"zixi_prepare_configuration", "zixi_upload_file", "sleep(1)"});
    EXPECT_THAT(feeder.events, ElementsAreArray(attempts));
    for (const upload_call_t &call : feeder.uploads)
        EXPECT_EQ(call.remote_directory, "a/b/c/d/e");
    const lines told = logged();
    EXPECT_EQ(std::count(told.begin(), told.end(), start_failure(-21)), 5);
    EXPECT_EQ(std::count(told.begin(), told.end(), given_up(-21)), 1);
    EXPECT_EQ(told.back(), NETWORK);
}

TEST_F(Worker, AStartFailureIsLoggedLineByLine)
{
    feeder.upload = {3, -17};
    run();
    EXPECT_EQ(logged(),
              (lines{start_failure(3), named("ZIXI_ERROR_ALREADY_INITIALIZED", 3), start_failure(-17),
                     named("ZIXI_ERROR_NETWORK", -17), given_up(-17), NETWORK}));
    start_anew();
    feeder.upload = {-22};
    run();
    EXPECT_EQ(logged(),
              (lines{start_failure(-22), named("ZIXI_WARNING_REMOTE_FILE_EXISTS", -22), given_up(-22)}));
}

TEST_F(Worker, ACancelSkipsThePausesAndKeepsTheResultOfTheAttempts)
{
    for (const int attempt : {1, 2, 5}) {
        start_anew();
        feeder.upload = {3, 3, 3, 3, 3};
        cancel_at("zixi_upload_file", attempt);
        run();
        EXPECT_EQ(feeder.count("zixi_upload_file"), 5) << attempt;
        EXPECT_EQ(feeder.count("sleep(1)"), attempt - 1) << attempt;
        expect_outcome(FTPCD_ERR_NETWORK, 3);
        logged();
    }
}

TEST_F(Worker, EveryAttemptHasItsOwnConfiguration)
{
    feeder.upload = {-21, -21, 0};
    run();
    ASSERT_EQ(feeder.uploads.size(), 3u);
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(feeder.uploads[i].configuration[0], 2 * i + 1);
        EXPECT_EQ(feeder.uploads[i].configuration[1], 2 * i + 2);
        EXPECT_THAT(feeder.prepared[i], ElementsAre(0, 0));
    }
}

// The block byte by byte; the fake fills the stack with 0xee before each upload.
TEST_F(Worker, TheParameterBlockIsExact)
{
    job.request.port = 0x12345; // only 16 bits count
    const uint8_t overwrite = 1;
    memcpy(&job.remote_file, &overwrite, 1);
    run();
    ASSERT_EQ(feeder.uploads.size(), 1u);
    const upload_call_t call = feeder.uploads[0];
    std::array<uint8_t, BLOCK_BYTES> expected = {};
    expected[0] = 0x45;
    expected[1] = 0x23;
    expected[4] = 0x96; // 1430
    expected[5] = 0x05;
    const char *remote_path = reinterpret_cast<const char *>(&slot) + 16; // of the request inside the record
    memcpy(&expected[8], &remote_path, sizeof remote_path);
    expected[24] = 0x80; // 50000000
    expected[25] = 0xf0;
    expected[26] = 0xfa;
    expected[27] = 0x02;
    expected[36] = 3;
    expected[45] = 1;
    EXPECT_EQ(call.block, expected);
    EXPECT_EQ(call.local_path, "/data/film.ts");
    EXPECT_EQ(call.host, "zixi.test");
    EXPECT_EQ(call.remote_directory, "in/box");
    job.remote_file.looked_up = 0xffffff00; // its first byte is the overwrite flag
    run();
    EXPECT_EQ(feeder.uploads.at(1).block[45], 0);
}

TEST_F(Worker, TheRemotePathIsCutToItsDirectory)
{
    const std::string longest = std::string(200, 'x') + '/' + std::string(200, 'y');
    const std::pair<std::string, std::string> rows[] = {
        {"film.ts", "."},
        {"/film.ts", "/"},
        {"a/film.ts", "a"},
        {"/a/b/film.ts", "/a/b"},
        {"a/b/", "a"},
        {"/", "/"},
        {"", "."},
        {"a//film.ts", "a"},
        {".", "."},
        {"..", "."},
        {"../film.ts", ".."},
        {"with blank/\xC3\xBC/%41#?", "with blank/\xC3\xBC"},
        {longest + '/' + std::string(109, 'z'), longest},
    };
    for (const auto &[path, directory] : rows) {
        start_anew();
        strcpy(job.request.remote_path, path.c_str());
        run();
        EXPECT_EQ(feeder.uploads[0].remote_directory, directory) << path;
        EXPECT_EQ(job.request.remote_path, directory) << path;
    }
}

TEST_F(Worker, OnlyState2ContinuesTheUpload)
{
    for (const int state : {0, 1, 3, -1}) {
        start_anew();
        feeder.progress = {{0, 1, 2, 2}, {0, 1, 2, state}};
        run();
        EXPECT_EQ(feeder.count("zixi_get_upload_progress"), 2) << state;
        expect_outcome(FTPCD_ERR_NONE, 0);
    }
}

TEST_F(Worker, SizesAbove4GiBAreStoredAndZerosDoNotReplaceThem)
{
    feeder.progress = {{0, (uint64_t{1} << 33) + 1, (uint64_t{1} << 52) + 1, 2}, {0, 0, 0, 3}};
    run();
    EXPECT_EQ(job.exec_info.transferred_size, 8589934593.0);
    EXPECT_EQ(job.exec_info.total_size, 4503599627370497.0);
}

TEST_F(Worker, ElapsedTimeComesFromTheClockAndIsNeverNegative)
{
    feeder.second_ms = 1250;
    feeder.progress = {{0, 1, 2, 2}, {0, 2, 2, 3}};
    run();
    EXPECT_EQ(job.exec_info.elapsed_time, 2.5);
    feeder = {};
    feeder.second_ms = -5000; // sets the clock back
    job.module_info = {1, JOB_UPLOAD, 0, 0};
    job.exec_info.elapsed_time = 0;
    run();
    EXPECT_EQ(job.exec_info.elapsed_time, 0.0);
}

TEST_F(Worker, AFailedProgressEndsTheUpload)
{
    feeder.progress = {{0, 5, 10, 2}, {-9, 0, 0, 0}};
    run();
    expect_outcome(FTPCD_ERR_NETWORK, -9);
    EXPECT_EQ(logged_but_progress(), (lines{"error: zixi_func(700): Error uploading.\n",
                                            named("ZIXI_ERROR_NETWORK_ERRORS", -9), DONE, NETWORK}));
    EXPECT_EQ(feeder.events.back(), "zixi_close_stream");
    EXPECT_EQ(job.exec_info.transferred_size, 5.0);
}

TEST_F(Worker, AFailedCloseIsOnlyLogged)
{
    feeder.close = {-1};
    run();
    expect_outcome(FTPCD_ERR_NONE, 0);
    EXPECT_EQ(logged_but_progress(), (lines{"error: zixi_func(781): Error closing upload.\n",
                                            named("ZIXI_ERROR_FAILED", -1), DONE}));
}

TEST_F(Worker, ACancelIsSeenAtTheNextSample)
{
    // samples: in all
    const std::tuple<const char *, int, int> rows[] = {
        {"zixi_configure_logging", 1, 1},
        {"zixi_configure_credentials", 1, 1},
        {"zixi_prepare_configuration", 1, 1},
        {"zixi_upload_file", 1, 1},
        {"sleep(1)", 1, 1},
        {"zixi_upload_file", 2, 1},
        {"nanosleep(1.000000000)", 1, 1},
        {"zixi_get_upload_progress", 1, 1},
        {"nanosleep(1.000000000)", 3, 3},
        {"zixi_get_upload_progress", 3, 3},
        {"zixi_get_upload_progress", 4, 4}, // the 4th is the last anyway
    };
    for (const auto &[stage, time, samples] : rows) {
        start_anew();
        feeder.upload = {-21};
        feeder.progress = {{0, 1, 9, 2}, {0, 2, 9, 2}, {0, 3, 9, 2}, {0, 9, 9, 3}};
        cancel_at(stage, time);
        run();
        EXPECT_EQ(feeder.count("zixi_get_upload_progress"), samples) << stage;
        EXPECT_EQ(feeder.events.back(), "zixi_close_stream");
        expect_outcome(FTPCD_ERR_CANCELED, 0);
        EXPECT_EQ(logged_but_progress(), (lines{start_failure(-21), named("ZIXI_ERROR_FILE_REMOTE", -21),
                                                "zixi_func(756): Zixi Upload : canceled.\n", DONE}));
    }
}

TEST_F(Worker, ACancelAfterTheLastSampleComesTooLate)
{
    cancel_at("zixi_close_stream");
    run();
    expect_outcome(FTPCD_ERR_NONE, 0);
    EXPECT_EQ(job.module_info.cancel, 1u);
}

TEST_F(Worker, AnErrorBeforeTheNextSampleTakesPrecedenceOverACancel)
{
    feeder.upload = {-17};
    cancel_at("zixi_upload_file");
    run();
    expect_outcome(FTPCD_ERR_NETWORK, -17);
    start_anew();
    feeder.progress = {{0, 1, 9, 2}, {-9, 0, 0, 0}};
    cancel_at("zixi_get_upload_progress", 2);
    run();
    expect_outcome(FTPCD_ERR_NETWORK, -9);
}

TEST_F(Worker, ACancelledJobWhoseCloseFailsIsStillCancelled)
{
    feeder.progress = {{0, 1, 9, 2}};
    feeder.close = {-1};
    cancel_at("nanosleep(1.000000000)");
    run();
    expect_outcome(FTPCD_ERR_CANCELED, 0);
    EXPECT_EQ(logged_but_progress(), (lines{"zixi_func(756): Zixi Upload : canceled.\n",
                                            "error: zixi_func(781): Error closing upload.\n",
                                            named("ZIXI_ERROR_FAILED", -1), DONE}));
}
