#include "curl_func/job_sockets.h"
#include "progress_fixture.h"
#include "support/socket_pair.h"

// --- The progress block

TEST_F(Progress, OnlyKnownFiguresAreStored)
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

TEST_F(Progress, AnotherKindOfJobStoresOnlyItsTime)
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

TEST_F(Progress, ACancelAbortsAndOverwritesEveryOtherError)
{
    for (const uint32_t kind : {JOB_DOWNLOAD, JOB_UPLOAD, JOB_DL_FILE_INFO}) {
        run(kind);
        handle.error = FTPCD_ERR_LOCAL_READ;
        job_.record.module_info.cancel = 1;
        EXPECT_EQ(progress_at(1, 10, 5), 1);
        EXPECT_EQ(handle.error, 1);
    }
}

TEST_F(Progress, ALookUpOnlyWatchesForACancel)
{
    run(JOB_DL_FILE_INFO);
    wrapper_.total_time_s = 1000;
    EXPECT_EQ(cb_progress_null(&info, 9000, 8000, 9000, 8000), 0);
    EXPECT_EQ(handle.error, 0);
    EXPECT_EQ(shown.elapsed_time, 0);
    job_.record.module_info.cancel = 1;
    EXPECT_EQ(cb_progress_null(&info, 0, 0, 0, 0), 1);
    EXPECT_EQ(handle.error, 1);
}

TEST_F(Progress, OnlyTheEndOfATransferBreaksItsSockets)
{
    const struct {
        uint32_t kind;
        double at_s;
        uint32_t cancel;
        uint32_t operation_timed_out; // libcurl ends the try by itself
        int result;
        bool broken;
    } table[] = {
        {JOB_UPLOAD, 60, 0, 0, 0, false},     {JOB_UPLOAD, 61, 0, 0, 1, true},
        {JOB_DOWNLOAD, 1, 1, 0, 1, true},     {JOB_DL_FILE_INFO, 61, 0, 0, 0, false},
        {JOB_DL_FILE_INFO, 1, 1, 0, 1, true}, {JOB_DL_FILE_INFO, 1, 0, 1, 0, true},
    };
    for (const auto &row : table) {
        const socket_pair transfer;
        cb_note_socket(&job_, transfer.ends[0], CURLSOCKTYPE_IPCXN);
        job_.record.module_info = {1, row.kind, 0, row.cancel};
        handle.error = 0;
        handle.operation_timed_out = row.operation_timed_out;
        timeout = {60, 0, 0, 0, 0, 0, 0};
        EXPECT_EQ(row.kind == JOB_DL_FILE_INFO ? cb_progress_null(&info, 0, 0, 0, 0)
                                               : progress_at(row.at_s, 50, 0),
                  row.result);
        EXPECT_EQ(handle.error == 0, row.result == 0);
        EXPECT_EQ(transfer.is_broken(), row.broken);
        sockets_forget_all(&job_);
    }
    logged();
}

TEST_F(Progress, ALookUpWithoutAContextGoesOn)
{
    EXPECT_EQ(cb_progress_null(nullptr, 0, 0, 0, 0), 0);
    EXPECT_EQ(logged(), lines{"error: curl_func(1726): CURLOPT_PROGRESSDATA has not been set.\n"});
}
