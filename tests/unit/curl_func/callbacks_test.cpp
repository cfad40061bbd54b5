#include "curl_func/callbacks.h"

#include "curl_func/perform.h"
#include "job_fixture.h"

#include <cerrno>
#include <climits>

class Callbacks : public JobFixture
{
protected:
    ~Callbacks() override
    {
        if (file.file != nullptr)
            fclose(file.file);
    }

    void open(const std::string &path, const char *mode)
    {
        file.file = fopen(path.c_str(), mode);
        ASSERT_NE(file.file, nullptr);
    }

    void run(uint32_t kind) { curlf_info_.module_info.exec = kind; }

    // One call of cb_progress with an amount of the running kind, `at_s` seconds into the try.
    int progress_at(double at_s, double total, double now)
    {
        wrapper_.total_time_s = at_s;
        return curlf_info_.module_info.exec == JOB_DOWNLOAD ? cb_progress(&info, total, now, -7, -7)
                                                            : cb_progress(&info, -7, -7, total, now);
    }

    curl_e_handle_t handle{};
    cb_file_info_t file{&handle, nullptr};
    exec_info_t &shown = curlf_info_.exec_info;
    timeout_info_t timeout{60, 0, 0, 0, 0, 0, 0};
    progress_info_t info{&handle, &curlf_info_, &curlf_info_.exec_info, &timeout};
    char data[16] = "abcdefghij";
};

// --- cb_write

TEST_F(Callbacks, WritePutsTheDataIntoTheFile)
{
    open(path("f"), "wb");
    EXPECT_EQ(cb_write(data, 1, 10, &file), 10u);
    EXPECT_EQ(cb_write(data, 2, 3, &file), 3u); // items, not bytes
    EXPECT_EQ(cb_write(data, 1, 0, &file), 0u);
    ASSERT_EQ(fflush(file.file), 0);
    EXPECT_EQ(content(path("f")), "abcdefghijabcdef");
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Callbacks, WriteRefusesNoData)
{
    EXPECT_EQ(cb_write(nullptr, 1, 10, &file), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1442): Download data pointer is null.\n"});
    EXPECT_EQ(handle.error, 0);
}

TEST_F(Callbacks, WriteRefusesNoContext)
{
    EXPECT_EQ(cb_write(data, 1, 10, nullptr), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1448): CURLOPT_WRITEDATA has not been set.\n"});
}

TEST_F(Callbacks, AFullDiskIsALocalWriteError)
{
    open("/dev/full", "wb");
    setvbuf(file.file, nullptr, _IONBF, 0);
    EXPECT_EQ(cb_write(data, 1, 10, &file), 0u);
    EXPECT_EQ(handle.error, 9);
    EXPECT_EQ(logged(), lines{"error: curl_func(1454): errno(28) No space left on device\n"});
}

// --- cb_write_null

TEST_F(Callbacks, WriteNullTakesEverything)
{
    EXPECT_EQ(cb_write_null(data, 1, 10, nullptr), 10u);
    EXPECT_EQ(cb_write_null(data, 3, 5, nullptr), 15u);
    EXPECT_EQ(cb_write_null(nullptr, 1, 0, nullptr), 0u);
}

// --- cb_read

TEST_F(Callbacks, ReadGivesTheFilesContentAndAShortPieceAtItsEnd)
{
    open(write("f", "0123456789"), "rb");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 6u);
    EXPECT_EQ(std::string(data, 6), "012345");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 4u);
    EXPECT_EQ(std::string(data, 4), "6789");
    EXPECT_EQ(cb_read(data, 1, 6, &file), 0u);
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Callbacks, ReadRefusesNoBuffer)
{
    EXPECT_EQ(cb_read(nullptr, 1, 6, &file), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1491): Upload data pointer is null.\n"});
}

TEST_F(Callbacks, ReadRefusesNoContext)
{
    EXPECT_EQ(cb_read(data, 1, 6, nullptr), 0u);
    EXPECT_EQ(logged(), lines{"error: curl_func(1497): CURLOPT_READDATA has not been set.\n"});
}

TEST_F(Callbacks, AFileThatCannotBeReadAbortsTheUpload)
{
    open(path("."), "rb"); // a directory opens, but does not read
    EXPECT_EQ(cb_read(data, 1, 6, &file), 0x10000000u);
    EXPECT_EQ(handle.error, 10);
    EXPECT_EQ(logged(), lines{"error: curl_func(1504): errno(21) Is a directory\n"});
}

// --- cb_list

class Listing : public JobFixture
{
protected:
    static list_info_t entry_of(const char *name)
    {
        static char line[] = "";
        list_info_t entry{};
        entry.line = line;
        entry.name = const_cast<char *>(name);
        entry.owner = line;
        entry.size = 5'000'000'000;
        entry.year = 2024;
        entry.month = 12;
        entry.day = 31;
        entry.hour = 23;
        entry.minute = 59;
        entry.attributes = 0x755;
        entry.kind = LIST_KIND_FILE;
        return entry;
    }

    int give(list_info_t entry) { return cb_list(&entry, &wanted, 1); }

    remote_file_t &found = curlf_info_.remote_file;
    cb_list_info_t wanted{"a.txt", &curlf_info_.remote_file};
};

TEST_F(Listing, TheWantedFileIsKept)
{
    found.unused = 0xABCD;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(found.looked_up, 1u);
    EXPECT_EQ(found.exists, 1u);
    EXPECT_EQ(found.size, 5'000'000'000);
    EXPECT_EQ(found.year, 2024);
    EXPECT_EQ(found.month, 12);
    EXPECT_EQ(found.day, 31);
    EXPECT_EQ(found.hour, 23);
    EXPECT_EQ(found.minute, 59);
    EXPECT_EQ(found.attributes, 0x755);
    EXPECT_EQ(found.is_link, 0);
    EXPECT_EQ(found.unused, 0xABCDu);
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{6, "curl_func(1778): a.txt, size: 5000000000\n"}}));
}

TEST_F(Listing, UnknownFieldsKeepTheirValueWhenTheyAreWidened)
{
    list_info_t entry = entry_of("a.txt");
    entry.size = -1;
    entry.year = 65535;
    entry.month = entry.day = entry.hour = entry.minute = 255;
    entry.attributes = -1;
    EXPECT_EQ(give(entry), 0);
    EXPECT_EQ(found.size, -1);
    EXPECT_EQ(found.year, 65535);
    EXPECT_EQ(found.month, 255);
    EXPECT_EQ(found.day, 255);
    EXPECT_EQ(found.hour, 255);
    EXPECT_EQ(found.minute, 255);
    EXPECT_EQ(found.attributes, -1);
    EXPECT_EQ(logged(), lines{"curl_func(1778): a.txt, size: -1\n"});
}

TEST_F(Listing, TheLastOfSeveralStays)
{
    list_info_t second = entry_of("a.txt");
    second.size = 2;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(give(second), 0);
    EXPECT_EQ(found.size, 2);
}

TEST_F(Listing, AnotherNameIsLoggedOnly)
{
    for (const char *name : {"A.txt", "a.txt ", "a.tx", "", "b"}) {
        EXPECT_EQ(give(entry_of(name)), 0);
        EXPECT_EQ(logged(), lines{"curl_func(1778): " + std::string(name) + ", size: 5000000000\n"});
        EXPECT_EQ(found.looked_up, 0u);
        EXPECT_EQ(found.exists, 0u);
    }
}

TEST_F(Listing, DirectoriesLinksAndOthersOfTheNameAreNoFile)
{
    struct {
        uint8_t is_link;
        uint8_t kind;
    } const table[] = {{0, 1}, {0, 0}, {0, 3}, {1, 2}, {1, 1}, {255, 2}};
    for (const auto &row : table) {
        list_info_t entry = entry_of("a.txt");
        entry.is_link = row.is_link;
        entry.kind = row.kind;
        EXPECT_EQ(give(entry), 0);
        EXPECT_EQ(found.looked_up, 0u);
        EXPECT_EQ(found.exists, 0u);
        EXPECT_EQ(logged(), lines{});
    }
}

TEST_F(Listing, NamesThatAreMissingMatchNothing)
{
    EXPECT_EQ(give(entry_of(nullptr)), 0);
    wanted.name = nullptr;
    EXPECT_EQ(give(entry_of("a.txt")), 0);
    EXPECT_EQ(found.exists, 0u);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Listing, WithoutAnEntryItGoesOnWithoutAContextItEnds)
{
    EXPECT_EQ(cb_list(nullptr, &wanted, 1), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(1754): 'struct list_info_t' is not available.\n"});
    list_info_t entry = entry_of("a.txt");
    EXPECT_EQ(cb_list(&entry, nullptr, 1), 1);
    EXPECT_EQ(logged(), lines{"error: curl_func(1760): 'struct cb_list_info_t' has not been set.\n"});
}

// --- cb_progress: activity

TEST_F(Callbacks, MovedIsWhatLeavesTheOpenIntervalOfOneByteRoundTheLastAmount)
{
    struct {
        double last;
        double total;
        double now;
        bool active;
    } const table[] = {
        {0, 0, 0, false},         {0, 0, 0.999, false}, {0, 0, 1, true},
        {100, 0, 99.001, false},  {100, 0, 99, true},   {100, 0, 100, false},
        {100, 0, 100.999, false}, {100, 0, 101, true},  {100, 100, 100, true}, // complete
        {100, 101, 100, false},                                                // not yet
        {100, 99, 100, true},                                                  // more than complete
        {100, 0, 0, true},        {0, 500, 0, false},
    };
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD})
        for (const auto &row : table) {
            run(kind);
            handle.error = 0;
            timeout = {60, 0, 0, 0, 5, 0, row.last};
            EXPECT_EQ(progress_at(30, row.total, row.now), 0);
            EXPECT_EQ(timeout.last_updated_time, row.active ? 30 : 5) << row.last << ' ' << row.now;
            EXPECT_EQ(timeout.last_amount, row.now);
        }
}

TEST_F(Callbacks, AStallBelowTheMarkOfAnEarlierTryIsAStall)
{
    run(JOB_UPLOAD);
    shown.transferred_size = 1000; // the first try came that far
    EXPECT_EQ(progress_at(1, 5000, 300), 0);
    EXPECT_EQ(progress_at(61, 5000, 300), 0);
    EXPECT_EQ(progress_at(61.5, 5000, 300), 1);
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(timeout.timed_out, 1u);
    EXPECT_EQ(shown.transferred_size, 1000); // what is shown never goes back
}

TEST_F(Callbacks, InactivityEndsTheTryWhenItIsLongerThanTheLimit)
{
    struct {
        int32_t limit;
        double at_s;
        bool ends;
    } const table[] = {{60, 65, false},  {60, 65.001, true}, {60, 64.9, false}, {120, 100, false},
                       {120, 126, true}, {0, 1e9, false},    {-1, 1e9, false}};
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD})
        for (const auto &row : table) {
            run(kind);
            handle.error = 0;
            timeout = {row.limit, 0, 0, 0, 5, 0, 10};
            EXPECT_EQ(progress_at(row.at_s, 0, 10), row.ends ? 1 : 0) << row.limit << ' ' << row.at_s;
            EXPECT_EQ(timeout.timed_out, row.ends ? 1u : 0u);
            EXPECT_EQ(handle.error, row.ends ? 14 : 0);
            EXPECT_EQ(timeout.last_updated_time, 5);
            EXPECT_EQ(logged(),
                      row.ends
                          ? lines{"error: curl_func(1619): Timeout has occurred: [elapsed_time] " +
                                  std::to_string(static_cast<long>(row.at_s)) + ", [last_updated_time] 5\n"}
                          : lines{});
        }
}

TEST_F(Callbacks, ATimeoutOverwritesAnEarlierErrorWithoutALogLine)
{
    run(JOB_UPLOAD);
    handle.error = FTPCD_ERR_LOCAL_READ;
    EXPECT_EQ(progress_at(61, 0, 0), 1);
    EXPECT_EQ(handle.error, 14);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Callbacks, WithoutAnElapsedTimeNothingTimesOut)
{
    run(JOB_UPLOAD);
    timeout.last_updated_time = -1000;
    shown.elapsed_time = 3;
    EXPECT_EQ(progress_at(-1, 100, 0), 0);
    EXPECT_EQ(progress_at(-1, 100, 50), 0);
    EXPECT_EQ(timeout.last_updated_time, -1000);
    EXPECT_EQ(shown.elapsed_time, 3);
    EXPECT_EQ(shown.transferred_size, 50);
    EXPECT_EQ(handle.curl_code, 0);
}

// --- cb_progress: the size limit

TEST_F(Callbacks, ADownloadOfMoreThan4096BytesIsRefused)
{
    struct {
        double total;
        double now;
        bool refused;
        std::string size;
    } const table[] = {
        {4096, 0, false, ""},
        {4096, 4096, false, ""},
        {5000, 0, false, ""}, // not before data arrives
        {5000, 1, true, "1 of 5000"},
        {4097, 1, true, "1 of 4097"},
        {5000, 5000, true, "5000 of 5000"},
        {0, 4096, false, ""}, // of unknown size
        {0, 4097, true, "4097 of 0"},
        {4096, 4097, true, "4097 of 4096"},
        {100, 50, false, ""},
    };
    for (const auto &row : table) {
        run(JOB_DOWNLOAD);
        handle.error = 0;
        EXPECT_EQ(progress_at(1, row.total, row.now), row.refused ? 1 : 0) << row.total << ' ' << row.now;
        EXPECT_EQ(handle.error, row.refused ? 12 : 0);
        EXPECT_EQ(timeout.timed_out, 0u);
        EXPECT_EQ(logged(), row.refused
                                ? lines{"error: curl_func(1569): Download file size limit exceeded. size:" +
                                        row.size + ", limit: 4096\n"}
                                : lines{});
    }
}

TEST_F(Callbacks, TheSizeLimitOverwritesAnEarlierErrorWithoutALogLine)
{
    run(JOB_DOWNLOAD);
    handle.error = FTPCD_ERR_LOCAL_WRITE;
    EXPECT_EQ(progress_at(1, 0, 5000), 1);
    EXPECT_EQ(handle.error, 12);
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Callbacks, ARefusedSizeIsNotATimeoutToo)
{
    run(JOB_DOWNLOAD);
    timeout.last_amount = 5000;
    EXPECT_EQ(progress_at(1000, 6000, 5000), 1);
    EXPECT_EQ(handle.error, 12);
    EXPECT_EQ(timeout.timed_out, 0u);
}

TEST_F(Callbacks, AnUploadHasNoSizeLimit)
{
    run(JOB_UPLOAD);
    EXPECT_EQ(progress_at(1, 5e9, 4e9), 0);
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(shown.total_size, 5e9);
    EXPECT_EQ(shown.transferred_size, 4e9);
}

TEST_F(Callbacks, SizesBeyondALongAreLoggedAsItsEnd)
{
    EXPECT_EQ(whole_number(1e30), LONG_MAX);
    EXPECT_EQ(whole_number(-1e30), LONG_MIN);
    EXPECT_EQ(whole_number(61.99), 61);
    EXPECT_EQ(whole_number(-1), -1);
    run(JOB_DOWNLOAD);
    EXPECT_EQ(progress_at(1, 1e30, 1), 1);
    EXPECT_EQ(logged(), lines{"error: curl_func(1569): Download file size limit exceeded. size:1 of " +
                              std::to_string(LONG_MAX) + ", limit: 4096\n"});
}

// --- cb_progress: what is shown

TEST_F(Callbacks, OnlyWhatIsKnownIsShown)
{
    struct {
        double at_s;
        double total;
        double now;
        exec_info_t before;
        exec_info_t after;
    } const table[] = {
        {3, 100, 40, {}, {100, 40, 3, 0, 0, 0, 0, 0, 0}},
        {0, 0, 0, {100, 40, 3, 0, 0, 0, 0, 0, 0}, {100, 40, 3, 0, 0, 0, 0, 0, 0}},
        {4, 0, 41, {100, 40, 3, 0, 0, 0, 0, 0, 0}, {100, 41, 4, 0, 0, 0, 0, 0, 0}},
        {5, 90, 39, {100, 40, 3, 0, 0, 0, 0, 0, 0}, {90, 40, 5, 0, 0, 0, 0, 0, 0}}, // never less
        {-1, -5, -5, {100, 40, 3, 0, 0, 0, 0, 0, 0}, {100, 40, 3, 0, 0, 0, 0, 0, 0}},
    };
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD})
        for (const auto &row : table) {
            run(kind);
            shown = row.before;
            EXPECT_EQ(progress_at(row.at_s, row.total, row.now), 0);
            EXPECT_EQ(shown.total_size, row.after.total_size);
            EXPECT_EQ(shown.transferred_size, row.after.transferred_size);
            EXPECT_EQ(shown.elapsed_time, row.after.elapsed_time);
        }
}

TEST_F(Callbacks, AnotherKindOfJobShowsItsTimeOnly)
{
    run(JOB_DL_FILE_INFO);
    wrapper_.total_time_s = 500;
    EXPECT_EQ(cb_progress(&info, 9000, 8000, 9000, 8000), 0);
    EXPECT_EQ(timeout.last_updated_time, 500);
    EXPECT_EQ(shown.elapsed_time, 500);
    EXPECT_EQ(shown.total_size, 0);
    EXPECT_EQ(shown.transferred_size, 0);

    wrapper_.total_time_s = -1;
    EXPECT_EQ(cb_progress(&info, 9000, 8000, 9000, 8000), 0);
    EXPECT_EQ(timeout.last_updated_time, 500);
    EXPECT_EQ(shown.elapsed_time, 500);
}

// --- Cancel

TEST_F(Callbacks, ACancelAbortsAndOverwritesEveryOtherError)
{
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD, JOB_DL_FILE_INFO}) {
        run(kind);
        handle.error = FTPCD_ERR_LOCAL_READ;
        curlf_info_.module_info.cancel = 1;
        EXPECT_EQ(progress_at(1, 10, 5), 1);
        EXPECT_EQ(handle.error, 1);
    }
    EXPECT_EQ(logged(), lines{});
}

TEST_F(Callbacks, ACancelWinsOverASizeLimitInTheSameCall)
{
    run(JOB_DOWNLOAD);
    curlf_info_.module_info.cancel = 1;
    EXPECT_EQ(progress_at(1, 5000, 5), 1);
    EXPECT_EQ(handle.error, 1);
    EXPECT_EQ(logged().size(), 1u);
}

TEST_F(Callbacks, ALookUpWatchesForACancelOnly)
{
    run(JOB_DL_FILE_INFO);
    wrapper_.total_time_s = 1000;
    EXPECT_EQ(cb_progress_null(&info, 9000, 8000, 9000, 8000), 0);
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(shown.elapsed_time, 0);
    curlf_info_.module_info.cancel = 1;
    EXPECT_EQ(cb_progress_null(&info, 0, 0, 0, 0), 1);
    EXPECT_EQ(handle.error, 1);
}

TEST_F(Callbacks, ALookUpWithoutAContextGoesOn)
{
    EXPECT_EQ(cb_progress_null(nullptr, 0, 0, 0, 0), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(1726): CURLOPT_PROGRESSDATA has not been set.\n"});
}
