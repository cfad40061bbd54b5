#include "ftpspool/json_line.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

TEST(JsonLine, WritesMembersOfAllKinds)
{
    EXPECT_EQ(
        json_line_t()
            .text("a", "b")
            .text_or_null("c", "d")
            .text_or_null("e", "")
            .number("f", -1)
            .number("g", 0)
            .number_or_null("h", 9223372036854775807)
            .number_or_null("i", 0)
            .truth("j", true)
            .truth("k", false)
            .finish(),
        R"({"a":"b","c":"d","e":null,"f":-1,"g":0,"h":9223372036854775807,"i":null,"j":true,"k":false})");
    EXPECT_EQ(json_line_t().text("a", "").finish(), R"({"a":""})");
    EXPECT_EQ(json_line_t().finish(), "{}");
}

TEST(JsonLine, EscapesTextAsTheLibraryDoes)
{
    std::vector<std::string> texts = {"plain /text", "caf\xC3\xA9", "caf\xC3",
                                      "\xff\xfe",    "a\"b\\c",     "\xF0\x9F\x98\x80"};
    for (int byte = 0; byte < 256; byte++)
        texts.push_back("a" + std::string(1, static_cast<char>(byte)) + "z");
    for (const std::string &text : texts) {
        const json object = {{"key", text}};
        EXPECT_EQ(json_line_t().text("key", text).finish(),
                  object.dump(-1, ' ', false, json::error_handler_t::replace));
    }
    EXPECT_EQ(json_line_t().text("key", "a\n\"\xff").finish(), "{\"key\":\"a\\n\\\"\xEF\xBF\xBD\"}");
}
