// Turns where the kernel has no locks that belong to an open file (before Linux 3.15).
#include "temp_dir.h"
#include "wrapped.h"

#include <gtest/gtest.h>

extern "C" {
#include "libftpclient/turn.h"
}

TEST(OldKernel, TheTurnStillExcludes)
{
    const temp_dir dir;
    const std::string path = dir / "ftp.sock.turn";
    behaviour_t old;
    old.without_ofd_locks = true;
    const with kernel(old);
    ftpc_turn_t first = {};
    ftpc_turn_t second = {};
    ASSERT_EQ(ftpc_turn_open(&first, path.c_str()), 0);
    ASSERT_EQ(ftpc_turn_open(&second, path.c_str()), 0);
    for (int round = 0; round < 3; round++) {
        ASSERT_TRUE(ftpc_turn_try(&first));
        EXPECT_FALSE(ftpc_turn_try(&second));
        EXPECT_FALSE(ftpc_turn_try(&second));
        ftpc_turn_give_back(&first);
        EXPECT_TRUE(ftpc_turn_try(&second));
        ASSERT_EQ(ftpc_turn_open(&first, path.c_str()), 0);
        EXPECT_FALSE(ftpc_turn_try(&first));
        ftpc_turn_give_back(&second);
        ASSERT_EQ(ftpc_turn_open(&second, path.c_str()), 0);
    }
    EXPECT_GT(refused_ofd_locks(), 0) << "the library asks for such locks where there are some";
    ftpc_turn_give_back(&first);
    ftpc_turn_give_back(&second);
}
