#include "ftpspool/entry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(Entry, ConvertsStatesToNamesAndBack)
{
    const std::vector<std::string> names = {"queued",  "waiting", "held",  "sending",
                                            "arrived", "done",    "failed"};
    for (size_t i = 0; i < names.size(); i++) {
        EXPECT_EQ(state_name(static_cast<state_t>(i)), names[i]);
        EXPECT_EQ(state_of(names[i]), static_cast<state_t>(i));
    }
    EXPECT_FALSE(state_of("lost"));
}
