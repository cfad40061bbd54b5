// A fresh engine for each test, with a folder for its local files.
#pragma once

#include "curl_func/job.h"
#include "fake_secure.h"
#include "fake_system.h"
#include "fake_wrapper.h"
#include "support/logged.h"
#include "support/scratch.h"
#include "wire/wire.h"

#include <gmock/gmock.h>
#include <string>

// The job of the running test. Its engine has log ids like the real one and does nothing.
extern curl_job_t job_;

class JobFixture : public testing::Test
{
protected:
    JobFixture();
    ~JobFixture() override;

    std::string path(const std::string &name) const { return folder_ / name; }
    std::string write(const std::string &name, const std::string &content) const; // its path
    static void append(const std::string &path, const std::string &more);
    static std::string content(const std::string &path); // "<none>" if the file does not exist

    fake_system system;

private:
    scratch_t folder_;
};

void set_text(char *field, size_t size, const std::string &text);
#define SET_TEXT(field, text) set_text(field, sizeof(field), text)
