#include "ftp_clientd/run_flag.h"
#include "strutil/guards.h"
#include "support/logged.h"

#include <csignal>
#include <gtest/gtest.h>

TEST(RunFlag, OnlyHangUpInterruptAndTerminateClearIt)
{
    for (int number = 1; number <= 64; number++) {
        exec_ = 1;
        sighandler(number);
        const bool ends = number == 1 || number == 2 || number == 15;
        EXPECT_EQ(exec_, ends ? 0 : 1) << "signal " << number;
    }
}

TEST(SignalsBlocked, DelayEndingSignalsUntilTheEndOfTheirScope)
{
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
        exec_ = 1;
        const auto before = signal(number, sighandler);
        {
            const signals_blocked blocked(signal_set(ENDING_SIGNALS));
            raise(number);
            EXPECT_EQ(exec_, 1) << "signal " << number;
        }
        EXPECT_EQ(exec_, 0) << "signal " << number;
        signal(number, before);
    }
}

TEST(SignalsBlocked, WhatWasBlockedBeforeStaysBlocked)
{
    const signals_blocked outer(signal_set({SIGTERM}));
    exec_ = 1;
    const auto before = signal(SIGTERM, sighandler);
    {
        const signals_blocked inner(signal_set(ENDING_SIGNALS));
        raise(SIGTERM);
    }
    EXPECT_EQ(exec_, 1);
    signal(SIGTERM, SIG_IGN); // discards the pending one
    signal(SIGTERM, before);
}
