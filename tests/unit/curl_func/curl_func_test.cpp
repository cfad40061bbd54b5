// The operations, with real workers. job_slot_test covers what both engines share.
#include "curl_func/curl_func.h"

#include "job_fixture.h"
#include "support/failing_threads.h"
#include "support/socket_pair.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <thread>

static const std::pair<uint32_t (*)(const transfer_request_t *), uint32_t> STARTERS[] = {
    {curlf_download, JOB_DOWNLOAD}, {curlf_upload, JOB_UPLOAD}, {curlf_dl_file_info, JOB_DL_FILE_INFO}};

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
        system.while_asleep = [] { std::this_thread::yield(); };
    }

    ~Engine() override
    {
        curlf_finished();
        logged(); // of a test that is not about the log
    }

    static job_record_t state()
    {
        job_record_t copy;
        curlf_get_state(&copy);
        return copy;
    }

    // The record once the job has ended; its worker is not joined yet.
    static job_record_t ended()
    {
        while (state().module_info.running != 0)
            std::this_thread::yield();
        return state();
    }

    transfer_request_t request{};
};

TEST_F(Engine, InitLogsLibcurlsVersionAndDoesNotInitialiseIt)
{
    EXPECT_EQ(curlf_init(), 0);
    EXPECT_EQ(logged(), lines{"curl_func(260): " + std::string(curl_version()) + "\n"});
    EXPECT_EQ(wrapper_.asked, calls{});
}

TEST_F(Engine, InitLogsWhatLibcurlLacks)
{
    system.curl_tls = nullptr;
    EXPECT_EQ(curlf_init(), 0);
    EXPECT_EQ(logged().at(1),
              "error: curl_func(271): libcurl 8.5.0 lacks OpenSSL: FTPS jobs fail with 15.\n");
}

TEST_F(Engine, EachStartRunsItsKindOfJobAndAnUploadUsesTheLowByteOfResume)
{
    request.resume = 0x100;
    for (const auto &[start, kind] : STARTERS) {
        std::promise<void> reached;
        std::promise<void> may_end;
        wrapper_.tries.push_back([&](curl_e_handle_t *) {
            reached.set_value();
            may_end.get_future().wait();
        });
        ASSERT_EQ(start(&request), 0u);
        ASSERT_EQ(reached.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
        EXPECT_EQ(state().module_info.exec, kind);
        EXPECT_EQ(state().remote_file.looked_up, 0u);
        EXPECT_EQ(start(&request), 3u);
        may_end.set_value();
        ended();
        EXPECT_EQ(curlf_finished(), 0);
    }
    request.resume = 0x1234;
    ASSERT_EQ(curlf_upload(&request), 0u);
    EXPECT_EQ(ended().remote_file.looked_up, 0x34u);
}

TEST_F(Engine, LockAndThreadFailuresAreLoggedWithItsOwnIds)
{
    const std::string no_thread = "errno(11) Resource temporarily unavailable\n";
    threads_.create = EAGAIN;
    EXPECT_EQ(curlf_download(&request), 5u);
    EXPECT_EQ(logged(),
              (lines{"error: curl_func(2046): " + no_thread, "error: curl_func(458): " + no_thread}));
    wrapper_.tries.push_back(ends_with(16, 7));
    ASSERT_EQ(curlf_download(&request), 0u);
    EXPECT_EQ(ended().module_info.result, 16u);
    threads_.join = ESRCH;
    EXPECT_EQ(curlf_finished(), ESRCH);
    EXPECT_EQ(logged(), lines{"error: curl_func(2075): errno(3) No such process\n"});
    threads_.lock = EINVAL;
    state();
    EXPECT_EQ(logged(), lines{"error: curl_func(2124): pthread_mutex_lock(): 22\n"});
    threads_.unlock = EPERM;
    state();
    EXPECT_EQ(logged(), lines{"error: curl_func(2142): pthread_mutex_unlock(): 1\n"});
    threads_.settype = ENOTSUP;
    EXPECT_EQ(curlf_init(), -1);
    EXPECT_EQ(logged(), lines{"error: curl_func(2101): pthread_mutexattr_settype(): 95\n"});
}

TEST_F(Engine, AStartBeforeTheLastWorkerIsJoinedFailsAndDetachesIt)
{
    wrapper_.tries.push_back(ends_with(0));
    ASSERT_EQ(curlf_download(&request), 0u);
    ended();
    EXPECT_EQ(curlf_upload(&request), 5u);
    EXPECT_EQ(state().module_info.result, 5u);
    EXPECT_EQ(curlf_finished(), -1); // the earlier job is never reported
    wrapper_.tries.push_back(ends_with(0));
    EXPECT_EQ(curlf_dl_file_info(&request), 0u);
    ended();
}

// Every copy must be consistent; ThreadSanitizer also finds access without the lock.
TEST_F(Engine, TheStateIsConsistentAtAnyMoment)
{
    for (int job = 0; job < 20; job++)
        for (const auto &[start, kind] : STARTERS) {
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
                for (int i = 0; i < 100; i++) // lets the reader run before the end is stored
                    std::this_thread::yield();
            });
            wrapper_.size_download = wrapper_.size_upload = 50;
            ASSERT_EQ(start(&request), 0u);
            job_record_t copy;
            do {
                curlf_get_state(&copy);
                ASSERT_EQ(copy.exec_info.total_size, copy.exec_info.transferred_size);
            } while (copy.module_info.running != 0);
            EXPECT_EQ(copy.module_info.result, 0u);
            EXPECT_EQ(curlf_finished(), 0);
        }
}

TEST_F(Engine, EveryKindOfJobCanBeCancelled)
{
    for (const auto &[start, kind] : STARTERS) {
        std::atomic<bool> going = false;
        wrapper_.tries.push_back([&](curl_e_handle_t *handle) {
            while (wrapper_.progress(wrapper_.progress_data, 0, 0, 0, 0) == 0) {
                going.store(true, std::memory_order_relaxed); // relaxed: must not hide a missing lock
                std::this_thread::yield();
            }
            handle->curl_code = 42;
        });
        ASSERT_EQ(start(&request), 0u);
        while (!going.load(std::memory_order_relaxed))
            std::this_thread::yield();
        EXPECT_EQ(curlf_cancel(), 0);
        EXPECT_EQ(state().module_info.running, 0u);
        EXPECT_EQ(state().module_info.result, 1u) << kind;
        EXPECT_EQ(content(path("local")), kind == JOB_DOWNLOAD ? "<none>" : "0123456789");
        EXPECT_EQ(curlf_finished(), 0);
        write("local", "0123456789");
    }
}

TEST_F(Engine, ACancelWithoutEffectBreaksTheJobsSockets)
{
    const socket_pair transfer;
    bool broken = false;
    wrapper_.tries.push_back([&](curl_e_handle_t *handle) {
        wrapper_.note_socket(wrapper_.socket_data, transfer.ends[0], CURLSOCKTYPE_IPCXN);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!(broken = transfer.is_broken()) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        handle->curl_code = 42;
    });
    ASSERT_EQ(curlf_upload(&request), 0u);
    EXPECT_EQ(curlf_cancel(), 0);
    EXPECT_TRUE(broken);
}
