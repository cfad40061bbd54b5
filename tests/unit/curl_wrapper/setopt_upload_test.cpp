#include "setter.h"
#include "wire/result_codes.h"

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

struct local_file_t {
    char path[40] = "/tmp/curl_wrapper_test_XXXXXX";
    explicit local_file_t(off_t size)
    {
        const int file = mkstemp(path);
        EXPECT_NE(file, -1);
        EXPECT_EQ(ftruncate(file, size), 0);
        close(file);
    }
    ~local_file_t() { unlink(path); }
    local_file_t(const local_file_t &) = delete;
    local_file_t &operator=(const local_file_t &) = delete;
};

} // namespace

TEST(SetoptUpload, AnnouncesTheSizeOfTheFile)
{
    for (const off_t size : {off_t{0}, off_t{1000}, off_t{6000000000}}) {
        const local_file_t file(size);
        check_setter({[&](curl_e_handle_t *r) { curl_e_setopt_upload(r, file.path); },
                      {{"UPLOAD", "1", 1013},
                       {"FTP_CREATE_MISSING_DIRS", "1", 1019},
                       {"INFILESIZE_LARGE", std::to_string(size), 1035}}});
    }
}

TEST(SetoptUpload, AcceptsAFileDatedAfter2038)
{
    const local_file_t file(1000);
    const timespec dates[2] = {{4102444800, 0}, {4102444800, 0}}; // 2100-01-01
    ASSERT_EQ(utimensat(AT_FDCWD, file.path, dates, 0), 0);
    record_t rec;
    curl_e_setopt_upload(&rec, file.path);
    EXPECT_EQ(rec.fake.calls().back(), "INFILESIZE_LARGE 1000");
    EXPECT_EQ(is_curl_error(&rec), 0);
}

TEST(SetoptUpload, AnnouncesTheRestWhenItResumes)
{
    const struct {
        int32_t resume;
        int64_t offset;
        const char *announced;
    } cases[] = {
        {1, 400, "600"},  {1, 0, "1000"},   {1, -1, "1000"}, {1, 1, "999"},
        {0, 400, "1000"}, {-5, 400, "600"}, {1, 1000, "0"},  {1, 1002, "-2"},
    };
    const local_file_t file(1000);
    for (const auto &c : cases) {
        record_t rec;
        rec.resume = c.resume;
        rec.resume_offset = c.offset;
        curl_e_setopt_upload(&rec, file.path);
        EXPECT_EQ(rec.fake.calls(), (lines{"UPLOAD 1", "FTP_CREATE_MISSING_DIRS 1",
                                           "INFILESIZE_LARGE " + std::string(c.announced)}));
        EXPECT_EQ(is_curl_error(&rec), 0);
    }
}

TEST(SetoptUpload, AFileThatCannotBeExaminedIsALocalError)
{
    record_t rec;
    curl_e_setopt_upload(&rec, "/nowhere/at/all");
    EXPECT_EQ(rec.fake.calls(), (lines{"UPLOAD 1", "FTP_CREATE_MISSING_DIRS 1"}));
    EXPECT_EQ(rec.curl_code, CURLE_OK);
    EXPECT_EQ(rec.error, FTPCD_ERR_LOCAL_READ);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(1024): errno(2) No such file or directory\n"});
}
