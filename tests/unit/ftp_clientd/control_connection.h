// A client's connection to the daemon, and the log lines for a broken one.
#pragma once

#include "fake_system.h"
#include "peer.h"

#include <gtest/gtest.h>

constexpr const char *RECV_RESET = "error: ftp_clientd_if(776): errno(104) Connection reset by peer\n";
constexpr const char *RECV_LATE = "error: ftp_clientd_if(776): errno(110) Connection timed out\n";
constexpr const char *SEND_BROKEN = "error: ftp_clientd_if(843): errno(32) Broken pipe\n";
constexpr const char *SEND_NOTHING = "error: ftp_clientd_if(849): Failed: Could not send.\n";

struct control_connection : testing::Test {
    fake_system system;
    control_pair pair = control_pair::connected();
    const peer &client = pair.client;
};
