#include "tools/json.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;

static exec_info_t exec_info()
{
    return {5368709120.0, 4294967296.0, 12.5, 28, 0xDEADBEEF, 1, 426, 4, 0xDEADBEEF};
}

static json exec_json()
{
    return {{"total_size", 5368709120}, {"transferred_size", 4294967296},
            {"elapsed_time", 12.5},     {"curl_code", 28},
            {"zixi_error", nullptr},    {"response_code_type", 1},
            {"response_code", 426},     {"retry_count", 4}};
}

TEST(Json, AStateHasTheMembersOfItsRecord)
{
    const state_reply_t state = {{0, 0}, {1, 2, 3, 4}, exec_info()};
    EXPECT_EQ(json::parse(json_state(state)),
              (json{{"reply", {{"result", 0}, {"detail", 0}}},
                    {"module_info", {{"running", 1}, {"exec", 2}, {"result", 3}, {"cancel", 4}}},
                    {"exec_info", exec_json()}}));
}

TEST(Json, IsOneLineOfWholeNumbers)
{
    const std::string text = json_state({{0, 0}, {1, 2, 3, 4}, exec_info()});
    EXPECT_EQ(text.find('\n'), text.npos);
    EXPECT_THAT(text, testing::HasSubstr("\"total_size\":5368709120,"));
}

TEST(Json, OnlyAZixiJobHasAZixiError)
{
    state_reply_t state = {};
    state.exec_info.response_code_type = 3;
    state.exec_info.zixi_error = static_cast<uint32_t>(-22);
    EXPECT_EQ(json::parse(json_state(state))["exec_info"]["zixi_error"], -22);
}

TEST(Json, AFileHasTheMembersOfItsRecord)
{
    const file_info_reply_t reply = {{0, 0}, {1, 1, 5368709120, 2023, 2, 9, 7, 5, 0x644, 0, 0xDEADBEEF}};
    EXPECT_EQ(json::parse(json_file_info(reply)), (json{{"reply", {{"result", 0}, {"detail", 0}}},
                                                        {"remote_file",
                                                         {{"looked_up", 1},
                                                          {"exists", 1},
                                                          {"size", 5368709120},
                                                          {"year", 2023},
                                                          {"month", 2},
                                                          {"day", 9},
                                                          {"hour", 7},
                                                          {"minute", 5},
                                                          {"attributes", 0x644},
                                                          {"is_link", 0}}}}));
}

TEST(Json, AJobHasItsResultInWords)
{
    const json job = json::parse(json_job({{0, 0}, {0, 2, 16, 0}, exec_info()}));
    EXPECT_EQ(job["result_name"], "FTPCD_ERR_NETWORK");
    EXPECT_EQ(job["module_info"]["result"], 16);
    EXPECT_EQ(job["exec_info"], exec_json());
    EXPECT_TRUE(job["advice"].is_string());
}

TEST(Json, ACancelAndAPlainReplyHaveTheirMembers)
{
    EXPECT_EQ(json::parse(json_cancel({{1, 2}, 3})),
              (json{{"reply", {{"result", 1}, {"detail", 2}}}, {"exec", 3}}));
    EXPECT_EQ(json::parse(json_reply({1, 5})), (json{{"result", 1}, {"detail", 5}}));
}

TEST(Json, ANoticeHasItsHeadAndItsBody)
{
    EXPECT_EQ(json::parse(json_notice({10, 1, 1, 0xEE, 56, 0xEEEE, 0},
                                      completion_notice_t{{1, 16}, exec_info()}, "upload", 1700000000)),
              (json{{"event", "upload"},
                    {"time", 1700000000},
                    {"result_name", "FTPCD_ERR_NETWORK"},
                    {"sender", 10},
                    {"code", 1},
                    {"kind", 1},
                    {"length", 56},
                    {"reply", {{"result", 1}, {"detail", 16}}},
                    {"exec_info", exec_json()}}));
    EXPECT_EQ(json::parse(json_notice({10, 3, 1, 0, 8, 0, 0}, reply_t{0, 0}, 5)),
              (json{{"event", "started"},
                    {"time", 5},
                    {"result_name", "FTPCD_ERR_NONE"},
                    {"sender", 10},
                    {"code", 3},
                    {"kind", 1},
                    {"length", 8},
                    {"reply", {{"result", 0}, {"detail", 0}}}}));
}

TEST(Json, AStateEventHasTheStateWithoutAReply)
{
    EXPECT_EQ(json::parse(json_state_event({{0, 0}, {0, 2, 16, 0}, exec_info()}, 5)),
              (json{{"event", "state"},
                    {"time", 5},
                    {"result_name", "FTPCD_ERR_NETWORK"},
                    {"module_info", {{"running", 0}, {"exec", 2}, {"result", 16}, {"cancel", 0}}},
                    {"exec_info", exec_json()}}));
}

TEST(Json, AnIdentityNamesWhatItHas)
{
    server_identity_t identity;
    identity.subject = "CN = a";
    identity.key_type = "RSA";
    identity.key_bits = 2048;
    identity.sha256 = "AA";
    identity.digest = "BB";
    identity.pin = "sha1:BB";
    const json certificate = json::parse(json_identity("h:990", identity));
    EXPECT_EQ(certificate["server"], "h:990");
    EXPECT_EQ(certificate["kind"], "certificate");
    EXPECT_EQ(certificate["subject"], "CN = a");
    EXPECT_EQ(certificate["key_bits"], 2048);
    EXPECT_EQ(certificate["sha1"], "BB");
    EXPECT_FALSE(certificate.contains("md5"));
    identity.kind = server_identity_t::HOST_KEY;
    identity.type = "ssh-rsa";
    const json key = json::parse(json_identity("h:22", identity));
    EXPECT_EQ(key["kind"], "host key");
    EXPECT_EQ(key["type"], "ssh-rsa");
    EXPECT_EQ(key["md5"], "BB");
    EXPECT_FALSE(key.contains("subject"));
}
