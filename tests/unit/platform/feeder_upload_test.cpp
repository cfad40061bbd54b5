#include "platform/feeder_upload.h"

#include "platform/zixiFeeder.h"
#include "scratch.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>

using testing::ElementsAre;

namespace
{

bool out_of_memory_ = false;
int pthread_create_result_ = 0;

} // namespace

extern "C" {
void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size)
{
    return out_of_memory_ ? nullptr : __real_calloc(count, size);
}

int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                          void *context);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *),
                          void *context)
{
    return pthread_create_result_ != 0 ? pthread_create_result_
                                       : __real_pthread_create(thread, attributes, start, context);
}
}

namespace
{

struct FeederUpload : testing::Test {
    scratch_t scratch;
    std::string local = scratch / "file.bin";
    std::string root = scratch / "server";
    const std::string content = std::string(150000, 'a') + std::string(50001, 'b');
    feeder_upload_t *upload = nullptr;
    const size_t descriptors = open_descriptors();
    FeederUpload() { fill(local, content); }
    ~FeederUpload() override { EXPECT_EQ(open_descriptors(), descriptors); }
    int start(bool overwrite = false, uint64_t rate_bytes_s = 0)
    {
        return feeder_upload_start({local.c_str(), root.c_str(), "d", overwrite, rate_bytes_s}, &upload);
    }
    feeder_progress_t at_end()
    {
        feeder_progress_t progress;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while ((progress = feeder_upload_progress(upload)).state == ZIXI_STATE_UPLOADING &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return progress;
    }
};

} // namespace

TEST_F(FeederUpload, CopiesTheWholeFile)
{
    ASSERT_EQ(start(), ZIXI_ERROR_OK);
    const feeder_progress_t progress = at_end();
    EXPECT_EQ(progress.error, ZIXI_ERROR_OK);
    EXPECT_EQ(progress.copied_bytes, content.size());
    EXPECT_EQ(progress.size_bytes, content.size());
    feeder_upload_end(upload);
    EXPECT_EQ(content_of(root + "/d/file.bin"), content);
    EXPECT_THAT(names_in(root + "/d"), ElementsAre("file.bin"));
}

TEST_F(FeederUpload, AnEmptyFileIsDoneAtOnce)
{
    fill(local, "");
    ASSERT_EQ(start(false, 1), ZIXI_ERROR_OK);
    EXPECT_EQ(at_end().copied_bytes, 0u);
    feeder_upload_end(upload);
    EXPECT_THAT(names_in(root + "/d"), ElementsAre("file.bin"));
}

TEST_F(FeederUpload, TheRateHolds)
{
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(start(false, 400000), ZIXI_ERROR_OK); // 200001 bytes: half a second
    EXPECT_EQ(at_end().copied_bytes, content.size());
    const std::chrono::duration<double> taken_s = std::chrono::steady_clock::now() - begin;
    feeder_upload_end(upload);
    EXPECT_GE(taken_s.count(), 0.49);
}

TEST_F(FeederUpload, EndedEarlyNothingOfItStays)
{
    ASSERT_EQ(start(false, 1000), ZIXI_ERROR_OK); // would take 200 s
    const auto begin = std::chrono::steady_clock::now();
    feeder_upload_end(upload);
    const std::chrono::duration<double> taken_s = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(taken_s.count(), 10);
    EXPECT_THAT(names_in(root + "/d"), ElementsAre());
}

TEST_F(FeederUpload, AnOldFileIsRefusedUnlessItMayBeReplaced)
{
    std::filesystem::create_directories(root + "/d");
    fill(root + "/d/file.bin", "old");
    EXPECT_EQ(start(false), ZIXI_WARNING_REMOTE_FILE_EXISTS);
    EXPECT_EQ(content_of(root + "/d/file.bin"), "old");
    ASSERT_EQ(start(true), ZIXI_ERROR_OK);
    EXPECT_EQ(at_end().error, ZIXI_ERROR_OK);
    feeder_upload_end(upload);
    EXPECT_EQ(content_of(root + "/d/file.bin"), content);
}

TEST_F(FeederUpload, ALocalFileThatIsNoneIsRefused)
{
    local = scratch / "none";
    EXPECT_EQ(start(), ZIXI_ERROR_FILE_LOCAL);
    local = scratch.path.string();
    EXPECT_EQ(start(), ZIXI_ERROR_FILE_LOCAL);
}

TEST_F(FeederUpload, ALocalFileThatCannotBeReadEndsIt)
{
    local = "/proc/self/mem"; // nothing lies at its beginning
    ASSERT_EQ(start(), ZIXI_ERROR_OK);
    EXPECT_EQ(at_end().error, ZIXI_ERROR_FILE_LOCAL);
    feeder_upload_end(upload);
    EXPECT_THAT(names_in(root + "/d"), ElementsAre());
}

TEST_F(FeederUpload, APlaceThatTakesNoFileIsRefused)
{
    root = "/proc/self";
    EXPECT_EQ(feeder_upload_start({local.c_str(), root.c_str(), "task", false, 0}, &upload),
              ZIXI_ERROR_FILE_REMOTE);
}

TEST_F(FeederUpload, APlaceThatIsNoneIsRefused)
{
    root = local;
    EXPECT_EQ(start(), ZIXI_ERROR_NOT_CONNECTED);
}

TEST_F(FeederUpload, WithoutMemoryNothingStarts)
{
    out_of_memory_ = true;
    const int error = start();
    out_of_memory_ = false;
    EXPECT_EQ(error, ZIXI_ERROR_FAILED);
}

TEST_F(FeederUpload, WithoutAThreadNothingStaysBehind)
{
    pthread_create_result_ = EAGAIN;
    const int error = start();
    pthread_create_result_ = 0;
    EXPECT_EQ(error, ZIXI_ERROR_FAILED);
    EXPECT_THAT(names_in(root + "/d"), ElementsAre());
}
