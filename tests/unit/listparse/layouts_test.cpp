// The table of layouts: each sample fits its row.
#include "listing.h"
#include "listparse/layouts.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace
{

TEST(Layouts, EachSampleOfTheUnixFamilyIsDetectedAsItsNumberAndResolves)
{
    for (const unix_layout_t &layout : listparse_unix_layouts()) {
        EXPECT_EQ(detect(layout.sample), layout.number | LIST_FMT_FLAG_LNK) << layout.sample;
        const entry_t entry = resolve(layout.sample, layout.number | LIST_FMT_FLAG_LNK);
        EXPECT_EQ(entry.name, "name") << layout.sample;
        EXPECT_TRUE(entry.size == 1234 || entry.size == 4096) << layout.sample;
        EXPECT_EQ(entry.date[1], 1) << layout.sample;
        EXPECT_EQ(entry.date[2], 15) << layout.sample;
        EXPECT_STRNE(layout.sent_by, "");
    }
}

// 25, 30 and 35 are never detected.
TEST(Layouts, EachSampleOfTheOthersIsDetectedAsItsNumberAndResolves)
{
    for (const other_layout_t &layout : listparse_other_layouts()) {
        const std::string sample = layout.sample;
        if (layout.tests[0].passes != nullptr)
            EXPECT_EQ(detect(sample), layout.number) << sample;
        else
            EXPECT_TRUE(std::set<int>({25, 30, 35}).contains(layout.number)) << layout.number;
        const entry_t entry = resolve(sample, layout.number);
        EXPECT_NE(entry.type, FILE_TYPE_NONE) << sample;
        EXPECT_FALSE(entry.name.empty()) << sample;
        EXPECT_NE(sample.find(entry.name), std::string::npos) << sample;
        EXPECT_STRNE(layout.sent_by, "");
    }
}

TEST(Layouts, EveryNumberHasOneRow)
{
    std::multiset<int> numbers;
    for (const unix_layout_t &layout : listparse_unix_layouts())
        numbers.insert(layout.number);
    for (const other_layout_t &layout : listparse_other_layouts())
        numbers.insert(layout.number);
    EXPECT_EQ(numbers, (std::multiset<int>{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14,
                                           15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29,
                                           30, 32, 33, 35, 37, 38, 39, 42, 43, 44, 45, 46, 47}));
}

} // namespace
