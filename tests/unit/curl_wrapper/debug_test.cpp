#include "setter.h"

#include <gtest/gtest.h>

TEST(SetoptVerbose, InstallsOrRemovesTheDebugCallback)
{
    for (const long on : {1, 0})
        check_setter({[&](curl_e_handle_t *r) { curl_e_setopt_verbose(r, on); },
                      {{"VERBOSE", std::to_string(on), 525},
                       {"DEBUGFUNCTION", on == 1 ? "debug_cb" : "NULL", 532},
                       {"DEBUGDATA", "pointer", 538}}},
                     [](fake_curl &curl) { curl.name(debug_cb, "debug_cb"); });
    record_t rec;
    curl_e_setopt_verbose(&rec, 1);
    EXPECT_EQ(rec.fake.data(CURLOPT_DEBUGDATA), &rec);
}

static lines shown(curl_e_handle_t *rec, int type, std::string data)
{
    EXPECT_EQ(debug_cb(nullptr, static_cast<curl_infotype>(type), data.data(), data.size(), rec), 0);
    return logged();
}

static lines shown(int type, const std::string &data)
{
    curl_e_handle_t rec{};
    return shown(&rec, type, data);
}

TEST(DebugCb, PrefixesTextAndHeadersOfBothDirections)
{
    EXPECT_EQ(shown(CURLINFO_TEXT, "Connected\n"), lines{"* Connected"});
    EXPECT_EQ(shown(CURLINFO_HEADER_IN, "220 ready\r\n"), lines{"< 220 ready"});
    EXPECT_EQ(shown(CURLINFO_HEADER_OUT, "PWD\r\n"), lines{"> PWD"});
}

TEST(DebugCb, LeavesOutDataOfEveryOtherType)
{
    for (int type = CURLINFO_DATA_IN; type <= CURLINFO_END; ++type)
        EXPECT_EQ(shown(type, "data\n"), lines{}) << type;
}

TEST(DebugCb, LogsEachSegmentThatEndsWithALineEnd)
{
    const std::pair<std::string, lines> cases[] = {
        {"abc\r\ndef", {"* abc"}},
        {"\r\n", {}},
        {"abc", {}},
        {"", {}},
        {"a\nb\rc\r\n\n\rd\n", {"* a", "* b", "* c", "* d"}},
        {"\r\na\n", {"* a"}},
        {std::string("\0abc\n", 5), {}},
        {std::string("ab\ncd\0ef\n", 9), {"* ab"}},
        {std::string("ab\0", 3), {}},
        {"100% %s %n\n", {"* 100% %s %n"}},
        {"\xff\xfe\n", {"* \xff\xfe"}},
    };
    for (const auto &[data, expected] : cases)
        EXPECT_EQ(shown(CURLINFO_TEXT, data), expected) << data;
}

TEST(DebugCb, ReadsNoFurtherThanTheSize)
{
    char data[] = "abc\ndef\n";
    curl_e_handle_t rec{};
    debug_cb(nullptr, CURLINFO_TEXT, data, 7, &rec);
    EXPECT_EQ(logged(), lines{"* abc"});
    debug_cb(nullptr, CURLINFO_TEXT, data, 0, &rec);
    debug_cb(nullptr, CURLINFO_TEXT, nullptr, 4, &rec);
}

TEST(DebugCb, LogsAnAbortOncePerPerform)
{
    curl_e_handle_t rec{};
    EXPECT_EQ(shown(&rec, CURLINFO_TEXT, "Callback aborted\nCallback aborted\nother\n"),
              (lines{"* Callback aborted", "* other"}));
    EXPECT_EQ(rec.callback_aborted_logged, 1u);
    EXPECT_TRUE(shown(&rec, CURLINFO_TEXT, "Callback aborted by us\n").empty());
    rec.callback_aborted_logged = 0;
    EXPECT_EQ(shown(&rec, CURLINFO_TEXT, "Callback aborted, too\n").size(), 1u);
    EXPECT_EQ(shown(&rec, CURLINFO_TEXT, "Callback abort\n").size(), 1u);
}

TEST(DebugCb, NotesLibcurlsOwnTimeout)
{
    curl_e_handle_t rec{};
    shown(&rec, CURLINFO_HEADER_IN, "Operation timed out, says the server\n");
    shown(&rec, CURLINFO_TEXT, "Disconnect timed out\nThe Operation timed out\n");
    EXPECT_EQ(rec.operation_timed_out, 0u);
    EXPECT_EQ(shown(&rec, CURLINFO_TEXT, "Operation timed out after 180000 milliseconds\n").size(), 1u);
    EXPECT_EQ(rec.operation_timed_out, 1u);
}

TEST(DebugCb, NotesThatAFolderWasNotOpenedForLackOfAnAnswer)
{
    curl_e_handle_t rec{};
    shown(&rec, CURLINFO_TEXT, "Could not open directory for reading: File not found\n");
    EXPECT_EQ(rec.operation_timed_out, 0u);
    shown(&rec, CURLINFO_TEXT, "Could not open directory for reading: Unknown error in libssh2\n");
    EXPECT_EQ(rec.operation_timed_out, 1u);
}

TEST(DebugCb, CallsOnCloseBeforeLibcurlClosesTheConnection)
{
    int told = 0;
    curl_e_handle_t rec{};
    rec.close_context = &told;
    shown(&rec, CURLINFO_TEXT, "Connection cache is full, closing the oldest one\n"); // no on_close yet
    rec.on_close = [](void *count) { ++*static_cast<int *>(count); };
    shown(&rec, CURLINFO_HEADER_IN, "Connection cache is full, says the server\n");
    shown(&rec, CURLINFO_TEXT, "Closing connection 1\nConnection #0 to host h left intact\n");
    EXPECT_EQ(told, 0);
    EXPECT_EQ(shown(&rec, CURLINFO_TEXT, "Connection cache is full, closing the oldest one\n"),
              lines{"* Connection cache is full, closing the oldest one"});
    EXPECT_EQ(told, 1);
    shown(&rec, CURLINFO_TEXT, "Connection pool is full, closing the oldest of 2/1\n");
    EXPECT_EQ(told, 2);
}

TEST(DebugCb, LogsALongLineWhole)
{
    const std::string text(100000, 'x');
    EXPECT_EQ(shown(CURLINFO_TEXT, text + "\n"), lines{"* " + text});
}
