#include "ftpspool/metrics.h"

#include "failing_calls.h"
#include "spool_fixture.h"

#include <cerrno>
#include <functional>
#include <sys/resource.h>

using testing::Not;

namespace
{

class Metrics : public Spool
{
protected:
    const std::string path = dir / "ftpspool.prom";
    store_t store = open();
    metrics_t metrics = metrics_t(path);

    std::string kept()
    {
        metrics.finish(store);
        return content_of(path);
    }
    std::string said_by(const std::function<void()> &call)
    {
        testing::internal::CaptureStderr();
        call();
        return testing::internal::GetCapturedStderr();
    }
};

} // namespace

TEST_F(Metrics, HaveEveryFigureFromTheStart)
{
    const std::string text = kept();
    EXPECT_THAT(text, StartsWith("# HELP ftpspool_entries Entries of the queue by state.\n"
                                 "# TYPE ftpspool_entries gauge\n"
                                 "ftpspool_entries{state=\"queued\"} 0\n"
                                 "ftpspool_entries{state=\"waiting\"} 0\n"
                                 "ftpspool_entries{state=\"held\"} 0\n"
                                 "ftpspool_entries{state=\"sending\"} 0\n"
                                 "ftpspool_entries{state=\"arrived\"} 0\n"
                                 "ftpspool_entries{state=\"done\"} 0\n"
                                 "ftpspool_entries{state=\"failed\"} 0\n"));
    for (const char *sample :
         {"ftpspool_uploads_total", "ftpspool_sent_bytes_total", "ftpspool_failures_total{cause=\"expired\"}",
          "ftpspool_failures_total{cause=\"login-refused\"}",
          "ftpspool_failures_total{cause=\"nobody-listens\"}", "ftpspool_failures_total{cause=\"no-daemon\"}",
          "ftpspool_failures_total{cause=\"wrong-certificate\"}"})
        EXPECT_THAT(text, HasSubstr("\n" + std::string(sample) + " 0\n"));
    for (const char *type : {"uploads_total counter", "sent_bytes_total counter", "failures_total counter",
                             "oldest_queued_timestamp_seconds gauge", "last_success_timestamp_seconds gauge"})
        EXPECT_THAT(text, HasSubstr("\n# TYPE ftpspool_" + std::string(type) + "\n"));
    EXPECT_THAT(text, Not(HasSubstr("\nftpspool_oldest_queued_timestamp_seconds")));
    EXPECT_THAT(text, Not(HasSubstr("\nftpspool_last_success_timestamp_seconds")));
    EXPECT_EQ(mode_of(path), 0644u);
}

TEST_F(Metrics, CountWhatTheServiceDoes)
{
    add(store);
    add(store);
    store.hold(2);
    metrics.sent(5);
    metrics.sent(7);
    metrics.arrived(NOW_S + 9);
    metrics.failed("nobody-listens");
    metrics.failed("nobody-listens");
    metrics.failed("a new one");
    const std::string text = kept();
    for (const char *sample :
         {"ftpspool_entries{state=\"queued\"} 1", "ftpspool_entries{state=\"held\"} 1",
          "ftpspool_oldest_queued_timestamp_seconds 1700000000",
          "ftpspool_last_success_timestamp_seconds 1700000009", "ftpspool_uploads_total 1",
          "ftpspool_sent_bytes_total 12", "ftpspool_failures_total{cause=\"nobody-listens\"} 2",
          "ftpspool_failures_total{cause=\"a new one\"} 1"})
        EXPECT_THAT(text, HasSubstr("\n" + std::string(sample) + "\n"));
}

TEST_F(Metrics, KnowTheLastSuccessOfAnEarlierService)
{
    add(store);
    store.done(1, "", NOW_S + 5);
    EXPECT_THAT(kept(), HasSubstr("\nftpspool_last_success_timestamp_seconds 1700000005\n"));
}

TEST_F(Metrics, AreWrittenOnChangesAtMostOnceASecond)
{
    metrics.keep(store, 5000);
    EXPECT_THAT(content_of(path), HasSubstr("{state=\"queued\"} 0\n"));
    EXPECT_EQ(metrics.due_ms(), 0);
    store_t another = open();
    add(another);
    metrics.keep(store, 5999);
    EXPECT_THAT(content_of(path), HasSubstr("{state=\"queued\"} 0\n"));
    EXPECT_EQ(metrics.due_ms(), 6000);
    metrics.keep(store, 6000);
    EXPECT_THAT(content_of(path), HasSubstr("{state=\"queued\"} 1\n"));
    EXPECT_EQ(metrics.due_ms(), 0);
    std::filesystem::remove(path);
    metrics.keep(store, 9000); // nothing has changed
    EXPECT_FALSE(std::filesystem::exists(path));
    store.hold(1);
    metrics.keep(store, 9000);
    EXPECT_THAT(content_of(path), HasSubstr("{state=\"held\"} 1\n"));
    metrics.sent(3);
    EXPECT_EQ(metrics.due_ms(), 10000);
    metrics.finish(store);
    EXPECT_THAT(content_of(path), HasSubstr("ftpspool_sent_bytes_total 3\n"));
}

TEST_F(Metrics, AreReadableByAllAndLeaveNoOtherFile)
{
    const mode_t before = umask(077);
    dir.file("ftpspool.prom.new", "of a service that was killed");
    kept();
    umask(before);
    EXPECT_EQ(mode_of(path), 0644u);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST_F(Metrics, ReportAWriteFailureOnce)
{
    metrics = metrics_t(dir / "none/ftpspool.prom");
    EXPECT_EQ(said_by([this] {
                  metrics.finish(store);
                  metrics.sent(1);
                  metrics.finish(store);
              }),
              "ftpspool: --metrics: " + dir / "none/ftpspool.prom" + ": No such file or directory\n");
    std::filesystem::create_directory(dir / "none");
    metrics.sent(1);
    EXPECT_EQ(said_by([this] { metrics.finish(store); }), "");
    EXPECT_THAT(content_of(dir / "none/ftpspool.prom"), HasSubstr("ftpspool_sent_bytes_total 2\n"));
}

TEST_F(Metrics, KeepTheOldFileWhenTheNewOneFails)
{
    const std::string before = kept();
    metrics.sent(1);
    EXPECT_EQ(said_by([this] {
                  const failing_call rename("rename", EIO);
                  metrics.finish(store);
              }),
              "ftpspool: --metrics: " + path + ": Input/output error\n");
    EXPECT_EQ(content_of(path), before);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    metrics.sent(1);
    kept();
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small = {1000, limit.rlim_max}; // the text is longer, the message shorter
    metrics.failed("expired");
    EXPECT_EQ(said_by([&] {
                  setrlimit(RLIMIT_FSIZE, &small);
                  metrics.finish(store);
                  setrlimit(RLIMIT_FSIZE, &limit);
              }),
              "ftpspool: --metrics: " + path + ": No space left on device\n");
    EXPECT_THAT(content_of(path), HasSubstr("{cause=\"expired\"} 0\n"));
}

TEST_F(Metrics, AreNeverDueWithoutAFile)
{
    metrics_t none("");
    none.sent(1);
    none.keep(store, 5000);
    EXPECT_EQ(none.due_ms(), 0);
}
