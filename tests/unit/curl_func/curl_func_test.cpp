#include "curl_func/curl_func.h"

#include "job_fixture.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <semaphore>
#include <thread>

using starter = uint32_t (*)(const transfer_request_t *);

static const struct {
    starter start;
    uint32_t kind;
} STARTERS[] = {
    {curlf_download, JOB_DOWNLOAD}, {curlf_upload, JOB_UPLOAD}, {curlf_dl_file_info, JOB_DL_FILE_INFO}};

// The operations, with real workers whose transfer the test holds.
class Engine : public JobFixture
{
protected:
    Engine()
    {
        EXPECT_EQ(curlf_init(), 0);
        logged();
        SET_TEXT(request.host, "srv");
        SET_TEXT(request.remote_path, "d/f.bin");
        SET_TEXT(request.local_path, write("local", "0123456789"));
        request.passive_mode = 1;
        system.while_asleep = yield_;
    }

    ~Engine() override { curlf_finished(); }

    // Scripts a transfer that lasts until let_go.
    void hold()
    {
        wrapper_.tries.push_back([this](curl_e_handle_t *) {
            reached_.release();
            may_end_.acquire();
        });
    }

    // Starts a transfer and returns when it is under way.
    void start_and_hold(starter start)
    {
        hold();
        ASSERT_EQ(start(&request), 0u);
        reached_.acquire();
    }

    void let_go() { may_end_.release(); }

    // Waits for the end of the job, without joining its worker.
    static job_record_t ended()
    {
        job_record_t state;
        do {
            std::this_thread::yield();
            curlf_get_state(&state);
        } while (state.module_info.running != 0);
        return state;
    }

    static job_record_t state()
    {
        job_record_t copy;
        curlf_get_state(&copy);
        return copy;
    }

    transfer_request_t request{};

    // A transfer whose progress callback must end it.
    static void goes_on_until_cancelled(curl_e_handle_t *handle)
    {
        while (wrapper_.progress(wrapper_.progress_data, 0, 0, 0, 0) == 0) {
            going_.store(true, std::memory_order_relaxed); // orders nothing
            std::this_thread::yield();
        }
        handle->curl_code = 42;
    }

    static void wait_until(std::atomic<bool> &flag)
    {
        while (!flag.load(std::memory_order_relaxed))
            std::this_thread::yield();
    }

    static inline std::atomic<bool> going_ = false;

private:
    static void yield_() { std::this_thread::yield(); }

    std::binary_semaphore reached_{0};
    std::binary_semaphore may_end_{0};
};

// --- Init

TEST_F(Engine, InitClearsTheHeadAndLogsLibcurlsVersion)
{
    EXPECT_EQ(curlf_cancel(), 2); // leaves its flag
    EXPECT_EQ(curlf_init(), 0);
    const module_info_t head = state().module_info;
    EXPECT_EQ(head.running, 0u);
    EXPECT_EQ(head.exec, 0u);
    EXPECT_EQ(head.result, 0u);
    EXPECT_EQ(head.cancel, 0u);
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{6, "curl_func(260): " + std::string(curl_version()) + "\n"}}));
    EXPECT_EQ(wrapper_.asked, calls{}); // libcurl is set up by each job
}

TEST_F(Engine, InitFailsWithoutARecursiveMutex)
{
    system.settype = ENOTSUP;
    EXPECT_EQ(curlf_init(), -1);
    EXPECT_EQ(logged(), lines{"error: curl_func(2101): pthread_mutexattr_settype(): 95\n"});
}

// --- Start

TEST_F(Engine, EachStartIsAJobOfItsKindAndAnUploadTakesTheLowByteOfResume)
{
    request.resume = 0x100;
    for (const auto &s : STARTERS) {
        start_and_hold(s.start);
        const job_record_t job = state();
        EXPECT_EQ(job.module_info.exec, s.kind);
        EXPECT_EQ(memcmp(&job.request, &request, 2076), 0);
        EXPECT_EQ(job.remote_file.looked_up, 0u);
        EXPECT_EQ(s.start(&request), 3u);
        let_go();
        ended();
        EXPECT_EQ(curlf_finished(), 0);
    }
    request.resume = 0x1234;
    ASSERT_EQ(curlf_upload(&request), 0u);
    EXPECT_EQ(ended().remote_file.looked_up, 0x34u);
}

TEST_F(Engine, AStartBeforeTheLastWorkerWasJoinedFailsAndForgetsIt)
{
    start_and_hold(curlf_download);
    let_go();
    ended();
    errno = EAGAIN;
    EXPECT_EQ(curlf_upload(&request), 5u);
    EXPECT_EQ(logged(), lines{"error: curl_func(458): errno(11) " + std::string(strerror(EAGAIN)) + "\n"});
    const module_info_t head = state().module_info;
    EXPECT_EQ(head.running, 0u);
    EXPECT_EQ(head.exec, static_cast<uint32_t>(JOB_UPLOAD));
    EXPECT_EQ(head.result, 5u);
    EXPECT_EQ(head.cancel, 0u);
    EXPECT_EQ(curlf_finished(), -1); // the earlier job is never reported

    start_and_hold(curlf_upload);
    let_go();
    EXPECT_EQ(ended().module_info.result, 0u);
    system.pthread_join = ESRCH;
    EXPECT_EQ(curlf_finished(), ESRCH);
    EXPECT_EQ(logged(), lines{"error: curl_func(2075): errno(3) No such process\n"});
}

TEST_F(Engine, AWorkerThatCannotBeCreatedIsLogged)
{
    system.pthread_create = EAGAIN;
    EXPECT_EQ(curlf_download(&request), 5u);
    const std::string text = "errno(11) " + std::string(strerror(EAGAIN)) + "\n";
    EXPECT_EQ(logged(), (lines{"error: curl_func(2046): " + text, "error: curl_func(458): " + text}));
    const module_info_t head = state().module_info;
    EXPECT_EQ(head.running, 0u);
    EXPECT_EQ(head.exec, static_cast<uint32_t>(JOB_DOWNLOAD));
    EXPECT_EQ(head.result, 5u);
    EXPECT_EQ(curlf_finished(), -1);

    start_and_hold(curlf_download);
    let_go();
    EXPECT_EQ(ended().module_info.result, 0u);
}

TEST_F(Engine, AFailedLockOrUnlockIsLogged)
{
    system.lock = EINVAL;
    state();
    EXPECT_EQ(logged(), lines{"error: curl_func(2124): pthread_mutex_lock(): 22\n"});
    system.unlock = EPERM;
    state();
    EXPECT_EQ(logged(), lines{"error: curl_func(2142): pthread_mutex_unlock(): 1\n"});
}

// --- Finished

TEST_F(Engine, AFailedJobIsReportedLikeAnyOther)
{
    wrapper_.tries.push_back(ends_with(16, 7));
    ASSERT_EQ(curlf_download(&request), 0u);
    const job_record_t job = ended();
    EXPECT_EQ(job.module_info.result, 16u);
    EXPECT_EQ(job.exec_info.curl_code, 7u);
    EXPECT_EQ(curlf_finished(), 0);
    EXPECT_EQ(state().module_info.result, 16u); // kept until the next start
}

// --- State

TEST_F(Engine, TheStateShowsTheProgressOfARunningJob)
{
    wrapper_.size_upload = 10;
    wrapper_.total_time_s = 3;
    std::binary_semaphore seen{0};
    std::binary_semaphore moved{0};
    wrapper_.tries.push_back([&](curl_e_handle_t *) {
        wrapper_.progress(wrapper_.progress_data, 0, 0, 10, 4);
        moved.release();
        seen.acquire();
    });
    ASSERT_EQ(curlf_upload(&request), 0u);
    moved.acquire();
    const exec_info_t shown = state().exec_info;
    EXPECT_EQ(shown.total_size, 10);
    EXPECT_EQ(shown.transferred_size, 4);
    EXPECT_EQ(shown.elapsed_time, 3);
    seen.release();
    EXPECT_EQ(ended().exec_info.transferred_size, 10);
}

// Nothing to assert but the copies' unity; with ThreadSanitizer it proves that nothing is shared unlocked.
TEST_F(Engine, TheStateMayBeReadAtAnyMoment)
{
    for (int job = 0; job < 20; job++)
        for (const auto &s : STARTERS) {
            write("local", std::string(50, 'x'));
            wrapper_.tries.push_back([](curl_e_handle_t *) {
                for (int i = 1; i <= 50; i++)
                    wrapper_.progress(wrapper_.progress_data, i, i, i, i);
                if (wrapper_.list != nullptr) {
                    char name[] = "f.bin";
                    list_info_t entry{};
                    entry.name = name;
                    entry.kind = LIST_KIND_FILE;
                    wrapper_.list(&entry, wrapper_.list_context, 1);
                }
                for (int i = 0; i < 100; i++) // no lock orders what is read now and what is stored next
                    std::this_thread::yield();
            });
            wrapper_.size_download = wrapper_.size_upload = 50;
            ASSERT_EQ(s.start(&request), 0u);
            job_record_t copy;
            do {
                curlf_get_state(&copy);
                ASSERT_EQ(copy.exec_info.total_size, copy.exec_info.transferred_size);
            } while (copy.module_info.running != 0);
            EXPECT_EQ(copy.module_info.result, 0u);
            EXPECT_EQ(curlf_finished(), 0);
        }
}

// --- Cancel

TEST_F(Engine, EveryKindOfJobCanBeCancelled)
{
    for (const auto &s : STARTERS) {
        wrapper_.tries.push_back(goes_on_until_cancelled);
        going_ = false;
        ASSERT_EQ(s.start(&request), 0u);
        wait_until(going_);
        EXPECT_EQ(curlf_cancel(), 0);
        EXPECT_EQ(state().module_info.result, 1u) << s.kind;
        EXPECT_EQ(curlf_finished(), 0);
        write("local", "0123456789");
    }
}

TEST_F(Engine, ACancelWaitsUntilTheJobHasEnded)
{
    wrapper_.tries.push_back(goes_on_until_cancelled);
    ASSERT_EQ(curlf_download(&request), 0u);
    EXPECT_EQ(curlf_cancel(), 0);
    const job_record_t job = state();
    EXPECT_EQ(job.module_info.running, 0u);
    EXPECT_EQ(job.module_info.cancel, 1u);
    EXPECT_EQ(job.module_info.result, 1u);
    EXPECT_EQ(job.exec_info.curl_code, 42u);
    EXPECT_EQ(content(path("local")), "<none>");
    EXPECT_GE(system.naps, 1);
    EXPECT_EQ(system.longest_nap_us, 100'000u);
    EXPECT_EQ(curlf_finished(), 0);
    EXPECT_EQ(curlf_cancel(), 2);
}

TEST_F(Engine, ACancelDuringThePauseBetweenTwoTriesIsMetByTheNextTry)
{
    std::atomic<bool> asleep = false;
    system.while_asleep = [&] {
        asleep.store(true, std::memory_order_relaxed); // orders nothing
        std::this_thread::yield();
    };
    wrapper_.tries.push_back(ends_with(16, 55));
    wrapper_.tries.push_back(goes_on_until_cancelled);
    ASSERT_EQ(curlf_upload(&request), 0u);
    wait_until(asleep);
    EXPECT_EQ(curlf_cancel(), 0);
    EXPECT_EQ(state().module_info.result, 1u);
    EXPECT_EQ(content(path("local")), "0123456789");
}
