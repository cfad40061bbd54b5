#include "platform/feeder_place.h"

#include "platform/zixiFeeder.h"
#include "scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using testing::ElementsAre;

namespace
{

struct FeederPlace : testing::Test {
    scratch_t scratch;
    std::string root = scratch / "server";
    const size_t descriptors = open_descriptors();
    // Where the place is, seen from the root; "" when it was refused.
    std::string opened(const std::string &directory, int *error = nullptr)
    {
        const int place = feeder_place_open(root.c_str(), directory.c_str());
        if (error != nullptr)
            *error = place;
        if (place < 0)
            return "";
        const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(place));
        close(place);
        return std::filesystem::relative(path, root).string();
    }
    ~FeederPlace() override { EXPECT_EQ(open_descriptors(), descriptors); }
};

} // namespace

TEST_F(FeederPlace, WhatLacksIsMadeBelowTheRoot)
{
    EXPECT_EQ(opened("a/b/c"), "a/b/c");
    EXPECT_TRUE(std::filesystem::is_directory(root + "/a/b/c"));
    EXPECT_EQ(opened("a/b/c"), "a/b/c") << "the second time all is there";
}

TEST_F(FeederPlace, SlashesAndDotsLeadNowhereElse)
{
    EXPECT_EQ(opened("."), ".");
    EXPECT_EQ(opened(""), ".");
    EXPECT_EQ(opened("/"), ".");
    EXPECT_EQ(opened("/a//./b/"), "a/b");
    EXPECT_EQ(opened("..."), "...");
}

TEST_F(FeederPlace, TheWayUpIsABadUrl)
{
    for (const char *directory : {"..", "a/..", "../a", "/../etc"}) {
        int error = 0;
        EXPECT_EQ(opened(directory, &error), "");
        EXPECT_EQ(error, ZIXI_ERROR_BAD_URL) << directory;
    }
}

TEST_F(FeederPlace, LinksFilesAndOverlongNamesAreRefused)
{
    std::filesystem::create_directories(scratch / "elsewhere");
    std::filesystem::create_directory(root);
    std::filesystem::create_symlink(scratch / "elsewhere", root + "/link");
    fill(root + "/file", "");
    for (const std::string &directory : {std::string("link"), std::string("file/a"), std::string(256, 'n')}) {
        int error = 0;
        EXPECT_EQ(opened(directory, &error), "");
        EXPECT_EQ(error, ZIXI_ERROR_FILE_REMOTE) << directory;
    }
    EXPECT_THAT(names_in(scratch / "elsewhere"), ElementsAre());
}

TEST_F(FeederPlace, ARootThatCannotBeMadeIsNotConnected)
{
    root = scratch / "none/server";
    int error = 0;
    EXPECT_EQ(opened("a", &error), "");
    EXPECT_EQ(error, ZIXI_ERROR_NOT_CONNECTED);
}
