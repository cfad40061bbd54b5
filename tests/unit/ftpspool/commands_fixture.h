// The command line and all commands but run, in this process.
#pragma once

#include "ftpspool/spool_commands.h"

#include "spool_fixture.h"

#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::AllOf;

struct said_t {
    int status;
    std::string out;
    std::string err;
};

class Commands : public Spool
{
protected:
    std::string password = dir.file("password", "secret");
    void SetUp() override { chmod(password.c_str(), 0600); }

    said_t run(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"ftpspool", "--spool", paths.folder});
        std::vector<const char *> argv;
        for (const std::string &word : words)
            argv.push_back(word.c_str());
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        spool_options_t options;
        const auto refused = spool_cli_parse(static_cast<int>(argv.size()), argv.data(), options);
        const int status = refused ? *refused : spool_main(options);
        return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
    }
    // `words`, and all options that say how to log in.
    said_t run_with_login(std::vector<std::string> words) const
    {
        words.insert(words.end(), {"--user", "anna", "--password-file", password, "--pin",
                                   "sha1:" + std::string(40, 'a'), "--active"});
        return run(std::move(words));
    }
    entry_t found(int64_t id) const { return open().find(id).value(); }
    std::string refusal(std::vector<std::string> words) const
    {
        const said_t said = run(std::move(words));
        EXPECT_EQ(said.out, "");
        return std::to_string(said.status) + " " + said.err;
    }
};
