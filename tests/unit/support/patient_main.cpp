// The main function of test programs in which real clocks run: the daemon's rhythm of 100 ms is part of what
// they test. On a machine that holds the test up meanwhile, a job may come out as doubtful that is sure
// elsewhere. So a test that fails is run again, as long as it was held up each time; one that fails
// undisturbed has failed.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace
{

constexpr int RUNS_MAX = 6;
constexpr milliseconds STEP{5};
constexpr milliseconds HELD_UP{40}; // what the daemon's rhythm leaves at least

// Notes the longest time for which this process did not get on.
class stopwatch
{
public:
    stopwatch() : thread_([this] { run(); }) {}
    ~stopwatch()
    {
        ended_ = true;
        thread_.join();
    }
    stopwatch(const stopwatch &) = delete;
    stopwatch &operator=(const stopwatch &) = delete;
    void restart() { longest_ms_ = 0; }
    int64_t longest_ms() const { return longest_ms_; }

private:
    std::atomic<bool> ended_ = false;
    std::atomic<int64_t> longest_ms_ = 0;
    std::thread thread_;

    void run()
    {
        while (!ended_) {
            const auto before = steady_clock::now();
            std::this_thread::sleep_for(STEP);
            const auto took = std::chrono::duration_cast<milliseconds>(steady_clock::now() - before);
            if (took.count() > longest_ms_)
                longest_ms_ = took.count();
        }
    }
};

// Writes the names of the tests that failed while they were held up.
class judge : public testing::EmptyTestEventListener
{
public:
    explicit judge(int told) : told_(told) {}
    bool has_true_failure() const { return has_true_failure_; }

private:
    int told_;
    bool has_true_failure_ = false;
    stopwatch watch_;

    void OnTestStart(const testing::TestInfo &) override { watch_.restart(); }
    void OnTestEnd(const testing::TestInfo &test) override
    {
        if (!test.result()->Failed())
            return;
        if (watch_.longest_ms() < HELD_UP.count()) {
            has_true_failure_ = true;
            return;
        }
        const std::string name = std::string(test.test_suite_name()) + "." + test.name() + ":";
        printf("held up for %lld ms: %s\n", static_cast<long long>(watch_.longest_ms()), name.c_str());
        has_true_failure_ |= write(told_, name.data(), name.size()) != static_cast<ssize_t>(name.size());
    }
};

enum { PASSED = 0, FAILED = 1 };

[[noreturn]] void run_tests(int told)
{
    auto &all = *testing::UnitTest::GetInstance();
    auto *listener = new judge(told); // GoogleTest's until it is released
    all.listeners().Append(listener);
    const bool failed = RUN_ALL_TESTS() != 0;
    const bool is_sure = listener->has_true_failure() || (failed && all.failed_test_count() == 0);
    delete all.listeners().Release(listener);
    exit(is_sure ? FAILED : PASSED);
}

// One run in a process of its own; `again` gets the tests that failed while they were held up.
int run_once(std::string &again)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return FAILED;
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        run_tests(ends[1]);
    }
    close(ends[1]);
    again.clear();
    char piece[512];
    for (ssize_t count = 0; (count = read(ends[0], piece, sizeof piece)) > 0;)
        again.append(piece, static_cast<size_t>(count));
    close(ends[0]);
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child)
        return FAILED;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    std::string again;
    for (int runs = 0; runs < RUNS_MAX; runs++) {
        const int status = run_once(again);
        if (status != PASSED || again.empty())
            return status;
        GTEST_FLAG_SET(filter, again.substr(0, again.size() - 1));
    }
    return FAILED;
}
