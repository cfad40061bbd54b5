#include "capture.h"
#include "fake_parser.h"
#include "support/failing_heap.h"

namespace
{

// A capture whose lines go to the fake parser.
struct faked_capture : fake_parser, capture_t {
    explicit faked_capture(const char *pattern = "*") : capture_t(pattern) {}
};

} // namespace

// --- parse_dynamic_buffer

TEST(ParseDynamicBuffer, ParsesEachCompleteLineAndKeepsTheRest)
{
    faked_capture capture;
    list_data_add(capture.info->tmp, "\r\n\none\r\n\r\ntwo\rthree\nfo", 22);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names, (lines{"one", "two", "three"}));
    EXPECT_EQ(capture.buffered(), "fo");
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names.size(), 3u);
    EXPECT_EQ(capture.flag, 1);
    EXPECT_EQ(capture.info->tmp->matched, 1);
    EXPECT_EQ(logged(), lines{}); // empty lines are not logged
}

TEST(ParseDynamicBuffer, ZeroesTheConsumedBytes)
{
    faked_capture capture;
    list_data_add(capture.info->tmp, "one\r\nrest", 9);
    parse_dynamic_buffer(capture.info);
    const dynamic_buffer_t *buffer = capture.info->tmp->buffer;
    EXPECT_EQ(buffer->length, 4u);
    EXPECT_EQ(buffer->capacity, 9u);
    EXPECT_EQ(std::string(buffer->data, 9), std::string("rest\0\0\0\0\0", 9));
}

TEST(ParseDynamicBuffer, SucceedsWithoutDataAndWithAnUnallocatedBuffer)
{
    faked_capture capture;
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    {
        const failing_heap heap(2);
        list_data_add(capture.info->tmp, "a\n", 2);
    }
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    list_data_add(capture.info->tmp, "\n\r", 2);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.buffered(), "");
    EXPECT_EQ(capture.names, lines{});
    logged();
}

TEST(ParseDynamicBuffer, NeedsACapture)
{
    faked_capture capture;
    list_capture_free(capture.info);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2241): 'info->tmp' data pointer is null.\n"});
}

TEST(ParseDynamicBuffer, StopsAfterTheLineWhoseCallbackSaysSo)
{
    faked_capture capture;
    capture.stop_at = "two";
    capture.stop_with = -7;
    list_data_add(capture.info->tmp, "one\ntwo\r\nthree\n", 15);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), -7);
    EXPECT_EQ(capture.names, (lines{"one", "two"}));
    EXPECT_EQ(capture.buffered(), std::string("\0three\0", 7));
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names, (lines{"one", "two", "three"}));
}

TEST(ParseDynamicBuffer, LogsAndSkipsWhatTheParserCannotRead)
{
    faked_capture capture;
    list_data_add(capture.info->tmp, "?total 3\r\n!odd\r\nfile\r\n", 22);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names, lines{"file"});
    EXPECT_EQ(capture.resolved.size(), 2u); // an unknown layout is not resolved
    EXPECT_EQ(logged(), (lines{"error: curl_wrapper(2313): Unknown 'LIST' format: ?total 3\n",
                               "error: curl_wrapper(2320): Parsing line has been failed: !odd\n"}));
}

TEST(ParseDynamicBuffer, RemovesTheWholeLineEvenIfTheParserShortensItAndPassesOnTheLayout)
{
    faked_capture capture;
    capture.format = LIST_FMT_FLAG_LNK | 7;
    capture.takes_blank_out = true;
    list_data_add(capture.info->tmp, "d rwx\nnext\n", 11);
    parse_dynamic_buffer(capture.info);
    EXPECT_EQ(capture.names, (lines{"drwx", "next"}));
    EXPECT_EQ(capture.resolved, std::vector<list_format_t>(2, LIST_FMT_FLAG_LNK | 7));
    EXPECT_EQ(capture.buffered(), "");
}

TEST(ParseDynamicBuffer, PassesMatchingEntriesOn)
{
    const std::string listing = "a.txt\nb.txt\nA.TXT\na.txt.bak\n*\n";
    const lines all{"a.txt", "b.txt", "A.TXT", "a.txt.bak", "*"};
    const std::pair<const char *, lines> cases[] = {
        {"*", all}, {"*.txt", all}, {"a.txt", {"a.txt"}}, {"a.*", {}}, {"", {}}, {nullptr, {}}, {"b", {}},
    };
    for (const auto &[pattern, names] : cases) {
        faked_capture capture(pattern);
        list_data_add(capture.info->tmp, listing.data(), listing.size());
        EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
        EXPECT_EQ(capture.names, names) << (pattern != nullptr ? pattern : "NULL");
        EXPECT_EQ(capture.info->tmp->matched, names.empty() ? 0 : 1);
    }
}

TEST(ParseDynamicBuffer, CountsAMatchWithoutACallback)
{
    faked_capture capture("a");
    capture.info->callback = nullptr;
    list_data_add(capture.info->tmp, "a\n", 2);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.info->tmp->matched, 1);
}

// --- the entry

TEST(Entry, HasTheLinesValuesAndMarksMissingOnes)
{
    const file_time_t none{};
    const file_time_t known{2024, 12, 0, 31, 23, 59, 0, 0};
    const std::tuple<uint32_t, file_time_t, const char *> cases[] = {
        {FILE_INFO_DATE | FILE_INFO_TIME | FILE_INFO_SIZE | FILE_INFO_ATTR, known,
         "the name, joe, 5000000000, 2024-12-31 23:59, 7755, 1, 2"},
        {0, known, "the name, joe, -1, 65535-255-255 255:255, -1, 1, 2"},
        {FILE_INFO_DATE, known, "the name, joe, -1, 2024-12-31 255:255, -1, 1, 2"},
        {FILE_INFO_TIME, known, "the name, joe, -1, 65535-255-255 23:59, -1, 1, 2"},
        {FILE_INFO_SIZE, known, "the name, joe, 5000000000, 65535-255-255 255:255, -1, 1, 2"},
        {FILE_INFO_ATTR, known, "the name, joe, -1, 65535-255-255 255:255, 7755, 1, 2"},
        // 0 means "unknown" in a date, midnight in a time.
        {FILE_INFO_DATE | FILE_INFO_TIME, none, "the name, joe, -1, 65535-255-255 0:0, -1, 1, 2"},
    };
    for (const auto &[valid, time, entry] : cases) {
        faked_capture capture;
        capture.size = 5000000000;
        capture.time = time;
        capture.attributes = 0x7755;
        capture.owner = "joe";
        capture.is_link = 1;
        capture.valid = valid;
        capture.entry_of("the name");
        EXPECT_EQ(capture.line, "the name");
        EXPECT_EQ(capture.entries, lines{entry});
    }
}

TEST(Entry, KindFollowsTheParsersType)
{
    const std::pair<int, char> cases[] = {{0, '1'}, {1, '2'}, {2, '3'}, {-1, '0'}, {3, '0'}};
    for (const auto &[type, kind] : cases) {
        faked_capture capture;
        capture.type = type;
        capture.entry_of("f");
        EXPECT_EQ(capture.entries.back().back(), kind) << type;
        EXPECT_EQ(capture.info->tmp->matched, 1); // also for a failed line with a name
    }
}

// --- cb_list_write

TEST(CbListWrite, CountsItemsOfAnySize)
{
    faked_capture capture;
    char data[] = "a\nbc\nd";
    EXPECT_EQ(cb_list_write(data, 3, 2, capture.info), 6u);
    EXPECT_EQ(capture.names, (lines{"a", "bc"}));
    EXPECT_EQ(cb_list_write(data, 1, 0, capture.info), 0u);
    EXPECT_EQ(cb_list_write(data, 0, 1, capture.info), 0u);
}

TEST(CbListWrite, AbortsOnNullPointers)
{
    faked_capture capture;
    char data[] = "a\n";
    EXPECT_EQ(cb_list_write(nullptr, 1, 2, capture.info), 0u);
    EXPECT_EQ(cb_list_write(data, 1, 2, nullptr), 0u);
    list_capture_free(capture.info);
    EXPECT_EQ(cb_list_write(data, 1, 2, capture.info), 0u);
    EXPECT_EQ(logged(), (lines{"error: curl_wrapper(2189): Download data pointer is null.\n",
                               "error: curl_wrapper(2195): CURLOPT_WRITEDATA has not been set.\n",
                               "error: curl_wrapper(2201): 'tmp' data pointer is null.\n"}));
}

TEST(CbListWrite, AbortsWithoutMemory)
{
    faked_capture capture;
    const failing_heap heap(1);
    EXPECT_EQ(capture.write("a\n"), 0u);
    EXPECT_EQ(logged(), (lines{"error: curl_wrapper(2447): dynamic_buffer_alloc(): Failed\n",
                               "error: curl_wrapper(2214): add_list_data(): Failed\n"}));
}

TEST(CbListWrite, DropsTheRestAfterTheCallbackHasStopped)
{
    faked_capture capture;
    capture.stop_at = "two";
    capture.stop_with = 3;
    EXPECT_EQ(capture.write("one\ntwo\nthree\n"), 14u);
    EXPECT_EQ(capture.info->tmp->stop, 3);
    const std::string before = capture.buffered();
    EXPECT_EQ(capture.write("four\n"), 5u);
    EXPECT_EQ(capture.buffered(), before);
    EXPECT_EQ(list_capture_end(capture.info), true);
    EXPECT_EQ(capture.names, (lines{"one", "two"}));
}

TEST(CbListWrite, KeepsOnlyTheUnfinishedLine)
{
    faked_capture capture;
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(capture.write("a line of twenty nine bytes\r\nunfini"), 35u);
    EXPECT_LE(capture.info->tmp->buffer->capacity, 35u + 35u + 256u);
    EXPECT_EQ(capture.buffered(), "unfini");
}

// --- start and end

TEST(ListCapture, EndParsesALastLineWithoutALineEnd)
{
    faked_capture capture("last");
    capture.write("first\r\nlast");
    EXPECT_EQ(capture.names, lines{});
    EXPECT_TRUE(list_capture_end(capture.info));
    EXPECT_EQ(capture.names, lines{"last"});
}

TEST(ListCapture, EndReturnsWhetherAnEntryMatched)
{
    faked_capture nothing;
    EXPECT_FALSE(list_capture_end(nothing.info));
    faked_capture other("x");
    other.write("a\nb");
    EXPECT_FALSE(list_capture_end(other.info));
    faked_capture earlier("a");
    earlier.write("a\nb\n");
    EXPECT_TRUE(list_capture_end(earlier.info));
}

TEST(ListCapture, EndSkipsTheLastLineWithoutMemory)
{
    faked_capture capture("a");
    capture.write("a");
    const failing_heap heap(1);
    EXPECT_FALSE(list_capture_end(capture.info));
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2458): dynamic_buffer_realloc(): Failed\n"});
}

TEST(ListCapture, StartReplacesAnUnfinishedCapture)
{
    faked_capture capture;
    capture.write("left");
    EXPECT_TRUE(list_capture_start(capture.info)); // frees the old one; the leak check sees it
    EXPECT_EQ(capture.info->tmp->buffer, nullptr);
    EXPECT_EQ(capture.info->tmp->stop, 0);
    EXPECT_EQ(capture.info->tmp->matched, 0);
    const failing_heap heap(1);
    EXPECT_FALSE(list_capture_start(capture.info));
    EXPECT_EQ(capture.info->tmp, nullptr);
}
