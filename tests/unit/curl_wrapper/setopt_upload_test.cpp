#include "setter.h"
#include "support/scratch.h"
#include "wire/result_codes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace
{

struct local_file_t {
    scratch_t scratch;
    std::string path = scratch / "local";
    explicit local_file_t(uintmax_t size)
    {
        fill(path, "");
        std::filesystem::resize_file(path, size);
    }
};

} // namespace

TEST(SetoptUpload, AnnouncesTheSizeOfTheFile)
{
    for (const uintmax_t size : {uintmax_t{0}, uintmax_t{1000}, uintmax_t{6000000000}}) {
        const local_file_t file(size);
        check_setter({[&](curl_e_handle_t *r) { curl_e_setopt_upload(r, file.path.c_str()); },
                      {{"UPLOAD", "1", 1013},
                       {"FTP_CREATE_MISSING_DIRS", "1", 1019},
                       {"INFILESIZE_LARGE", std::to_string(size), 1035}}});
    }
}

TEST(SetoptUpload, AcceptsAFileDatedAfter2038)
{
    const local_file_t file(1000);
    const auto in_2100 = static_cast<time_t>(4102444800);
    // A 32-bit build against a glibc below 2.34 cannot express such a date.
    if (in_2100 < 0)
        GTEST_SKIP() << "time_t has 32 bits here and ends in 2038";
    const timespec dates[2] = {{in_2100, 0}, {in_2100, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.path.c_str(), dates, 0), 0);
    record_t rec;
    curl_e_setopt_upload(&rec, file.path.c_str());
    EXPECT_EQ(rec.fake.calls().back(), "INFILESIZE_LARGE 1000");
    EXPECT_EQ(is_curl_error(&rec), 0);
}

TEST(SetoptUpload, AnnouncesTheRestWhenItResumes)
{
    const std::tuple<int32_t, int64_t, const char *> cases[] = {
        {1, 400, "600"},  {1, 0, "1000"},   {1, -1, "1000"}, {1, 1, "999"},
        {0, 400, "1000"}, {-5, 400, "600"}, {1, 1000, "0"},  {1, 1002, "-2"},
    };
    const local_file_t file(1000);
    for (const auto &[resume, offset, announced] : cases) {
        record_t rec;
        rec.resume = resume;
        rec.resume_offset = offset;
        curl_e_setopt_upload(&rec, file.path.c_str());
        EXPECT_EQ(rec.fake.calls(), (lines{"UPLOAD 1", "FTP_CREATE_MISSING_DIRS 1",
                                           "INFILESIZE_LARGE " + std::string(announced)}));
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
