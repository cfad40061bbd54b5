// The commands, with fake engines.
#pragma once

#include "fake_engines.h"
#include "fake_system.h"
#include "ftp_clientd/commands.h"
#include "peer.h"
#include "support/logged.h"

#include <gtest/gtest.h>

struct Commands : testing::Test {
    // The reply to this request over a new connection.
    bytes answer(const bytes &request)
    {
        control_pair pair = control_pair::connected();
        pair.client.says(request);
        pair.client.stops_saying();
        serve_request(pair.daemon.fd, &last_job);
        return pair.client.hears();
    }
    bytes start(uint32_t command, const raw_request &request)
    {
        return answer(words(command, 2080) + request.body);
    }
    std::vector<std::string> engine_calls() const
    {
        std::vector<std::string> found;
        for (const std::string &call : system.calls)
            if (call.starts_with("curlf_") || call.starts_with("zixif_"))
                found.push_back(call);
        return found;
    }
    // The detail of a no-operation.
    uint32_t stale_detail()
    {
        const bytes reply = answer(words(0, 0));
        EXPECT_EQ(part(reply, 0, 12), words(0, 8, 0));
        return reply.at(12);
    }

    fake_system system;
    fake_engines engines;
    reply_t last_job = {};
};
