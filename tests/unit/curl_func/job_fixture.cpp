#include "job_fixture.h"

#include <cstring>

static constexpr job_engine_t SILENT = {nullptr,  unjoined_t::forgotten, "not recursive", "lock", "unlock",
                                        "create", "not started",         nullptr,         "join"};
curl_job_t job_;

JobFixture::JobFixture()
{
    job_ = {{.engine = &SILENT}};
    wrapper_ = {};
    secure_ = {};
    EXPECT_EQ(job_init(&job_), 0);
    system_ = &system;
}

JobFixture::~JobFixture() { system_ = nullptr; }

std::string JobFixture::write(const std::string &name, const std::string &content) const
{
    fill(path(name), content);
    return path(name);
}

void JobFixture::append(const std::string &path, const std::string &more)
{
    std::ofstream(path, std::ios::app) << more;
}

std::string JobFixture::content(const std::string &path)
{
    return std::filesystem::exists(path) ? content_of(path) : "<none>";
}

void set_text(char *field, size_t size, const std::string &text)
{
    ASSERT_LT(text.size(), size);
    memset(field, 0, size);
    memcpy(field, text.data(), text.size());
}
