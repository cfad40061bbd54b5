#include "job_fixture.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

static constexpr job_engine_t SILENT = {nullptr,  unjoined_t::forgotten, "not recursive", "lock", "unlock",
                                        "create", "not started",         nullptr,         "join"};
curl_job_t job_;

JobFixture::JobFixture()
{
    job_ = {{.engine = &SILENT}};
    wrapper_ = {};
    secure_ = {};
    EXPECT_EQ(job_init(&job_), 0);
    std::string name = (std::filesystem::temp_directory_path() / "curl_func.XXXXXX").string();
    folder_ = mkdtemp(name.data());
    system_ = &system;
    logged();
}

JobFixture::~JobFixture()
{
    system_ = nullptr;
    std::filesystem::remove_all(folder_);
}

std::string JobFixture::write(const std::string &name, const std::string &content) const
{
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
}

void JobFixture::append(const std::string &path, const std::string &more)
{
    std::ofstream(path, std::ios::app) << more;
}

std::string JobFixture::content(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return "<none>";
    return {std::istreambuf_iterator<char>(file), {}};
}

void set_text(char *field, size_t size, const std::string &text)
{
    ASSERT_LT(text.size(), size);
    memset(field, 0, size);
    memcpy(field, text.data(), text.size());
}
