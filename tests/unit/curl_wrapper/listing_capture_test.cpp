#include "capture.h"
#include "failing_heap.h"

// --- parse_dynamic_buffer

TEST(ParseDynamicBuffer, HandsOnEachCompleteLineAndKeepsTheRest)
{
    capture_t capture;
    list_data_add(capture.info->tmp, "\r\n\none\r\n\r\ntwo\rthree\nfo", 22);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names, (lines{"one", "two", "three"}));
    EXPECT_EQ(capture.buffered(), "fo");
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names.size(), 3u);
    EXPECT_EQ(capture.flag, 1);
    EXPECT_EQ(capture.info->tmp->matched, 1);
    EXPECT_EQ(logged(), lines{}); // empty lines are nobody's business
}

TEST(ParseDynamicBuffer, ZeroesTheBytesItHasTaken)
{
    capture_t capture;
    list_data_add(capture.info->tmp, "one\r\nrest", 9);
    parse_dynamic_buffer(capture.info);
    const dynamic_buffer_t *buffer = capture.info->tmp->buffer;
    EXPECT_EQ(buffer->length, 4u);
    EXPECT_EQ(buffer->capacity, 9u);
    EXPECT_EQ(std::string(buffer->data, 9), std::string("rest\0\0\0\0\0", 9));
}

TEST(ParseDynamicBuffer, IsDoneWithoutData)
{
    capture_t capture;
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    list_data_add(capture.info->tmp, "\n\r", 2);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.buffered(), "");
    EXPECT_EQ(capture.names, lines{});
}

TEST(ParseDynamicBuffer, IsDoneWithABufferThatNeverGotItsMemory)
{
    capture_t capture;
    {
        const failing_heap heap(2);
        list_data_add(capture.info->tmp, "a\n", 2);
    }
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names, lines{});
    logged();
}

TEST(ParseDynamicBuffer, NeedsACapture)
{
    capture_t capture;
    list_capture_free(capture.info);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2241): 'info->tmp' data pointer is null.\n"});
}

TEST(ParseDynamicBuffer, StopsBehindTheLineWhoseCallbackSaysSo)
{
    capture_t capture;
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
    capture_t capture;
    list_data_add(capture.info->tmp, "?total 3\r\n!odd\r\nfile\r\n", 22);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.names, lines{"file"});
    EXPECT_EQ(capture.parser.resolved.size(), 2u); // an unknown layout is not resolved
    EXPECT_EQ(
        logged_with_priority(),
        (std::vector<log_line>{{3, "error: curl_wrapper(2313): Unknown 'LIST' format: ?total 3\n"},
                               {3, "error: curl_wrapper(2320): Parsing line has been failed: !odd\n"}}));
}

TEST(ParseDynamicBuffer, PassesTheLayoutOnToTheResolver)
{
    capture_t capture;
    capture.parser.format = LIST_FMT_FLAG_LNK | 7;
    list_data_add(capture.info->tmp, "a\n", 2);
    parse_dynamic_buffer(capture.info);
    EXPECT_EQ(capture.parser.resolved, std::vector<list_format_t>{LIST_FMT_FLAG_LNK | 7});
}

TEST(ParseDynamicBuffer, TakesTheWholeLineThoughTheParserShortensIt)
{
    capture_t capture;
    capture.parser.takes_blank_out = true;
    list_data_add(capture.info->tmp, "d rwx\nnext\n", 11);
    parse_dynamic_buffer(capture.info);
    EXPECT_EQ(capture.names, (lines{"drwx", "next"}));
    EXPECT_EQ(capture.buffered(), "");
}

TEST(ParseDynamicBuffer, HandsOnWhatFitsThePattern)
{
    const std::string listing = "a.txt\nb.txt\nA.TXT\na.txt.bak\n*\n";
    const lines all{"a.txt", "b.txt", "A.TXT", "a.txt.bak", "*"};
    const struct {
        const char *pattern;
        lines names;
    } cases[] = {
        {"*", all}, {"*.txt", all}, {"a.txt", {"a.txt"}}, {"a.*", {}}, {"", {}}, {nullptr, {}}, {"b", {}},
    };
    for (const auto &c : cases) {
        capture_t capture(c.pattern);
        list_data_add(capture.info->tmp, listing.data(), listing.size());
        EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
        EXPECT_EQ(capture.names, c.names) << (c.pattern != nullptr ? c.pattern : "NULL");
        EXPECT_EQ(capture.info->tmp->matched, c.names.empty() ? 0 : 1);
    }
}

TEST(ParseDynamicBuffer, CountsAMatchWithoutACallback)
{
    capture_t capture("a");
    capture.info->callback = nullptr;
    list_data_add(capture.info->tmp, "a\n", 2);
    EXPECT_EQ(parse_dynamic_buffer(capture.info), 0);
    EXPECT_EQ(capture.info->tmp->matched, 1);
}

// --- the entry

static file_time_t time_of(uint16_t year, uint16_t month, uint16_t day, uint16_t hour, uint16_t minute)
{
    file_time_t time{};
    time.year = year;
    time.month = month;
    time.day = day;
    time.hour = hour;
    time.minute = minute;
    return time;
}

TEST(Entry, HoldsWhatTheLineGave)
{
    capture_t capture;
    capture.parser.size = 5000000000;
    capture.parser.time = time_of(2024, 12, 31, 23, 59);
    capture.parser.attributes = 0x7755;
    capture.parser.owner = "joe";
    capture.parser.is_link = 1;
    capture.parser.valid = FILE_INFO_DATE | FILE_INFO_TIME | FILE_INFO_SIZE | FILE_INFO_ATTR;
    const list_info_t &entry = capture.entry_of("the name");
    EXPECT_EQ(capture.line, "the name");
    EXPECT_STREQ(entry.name, "the name");
    EXPECT_STREQ(entry.owner, "joe");
    EXPECT_EQ(entry.size, 5000000000);
    EXPECT_EQ(entry.year, 2024);
    EXPECT_EQ(entry.month, 12);
    EXPECT_EQ(entry.day, 31);
    EXPECT_EQ(entry.hour, 23);
    EXPECT_EQ(entry.minute, 59);
    EXPECT_EQ(entry.attributes, 0x7755);
    EXPECT_EQ(entry.is_link, 1);
    EXPECT_EQ(entry.kind, LIST_KIND_FILE);
}

TEST(Entry, TellsWhatTheLineDidNotGive)
{
    capture_t capture;
    capture.parser.size = 1;
    capture.parser.time = time_of(1, 1, 1, 1, 1);
    capture.parser.attributes = 1;
    const list_info_t &entry = capture.entry_of("f");
    EXPECT_EQ(entry.size, -1);
    EXPECT_EQ(entry.year, 65535);
    EXPECT_EQ(entry.month, 255);
    EXPECT_EQ(entry.day, 255);
    EXPECT_EQ(entry.hour, 255);
    EXPECT_EQ(entry.minute, 255);
    EXPECT_EQ(entry.attributes, -1);
    EXPECT_EQ(entry.is_link, 0);
}

TEST(Entry, TakesAZeroInADateForNotGivenAndInATimeForMidnight)
{
    capture_t capture;
    capture.parser.valid = FILE_INFO_DATE | FILE_INFO_TIME;
    const list_info_t &entry = capture.entry_of("f");
    EXPECT_EQ(entry.year, 65535);
    EXPECT_EQ(entry.month, 255);
    EXPECT_EQ(entry.day, 255);
    EXPECT_EQ(entry.hour, 0);
    EXPECT_EQ(entry.minute, 0);
}

TEST(Entry, EachBitStandsForItsOwnMembers)
{
    for (const uint32_t bit : {FILE_INFO_DATE, FILE_INFO_TIME, FILE_INFO_SIZE, FILE_INFO_ATTR}) {
        capture_t capture;
        capture.parser.size = 10;
        capture.parser.time = time_of(2000, 2, 3, 4, 5);
        capture.parser.attributes = 6;
        capture.parser.valid = bit;
        const list_info_t &entry = capture.entry_of("f");
        EXPECT_EQ(entry.year, bit == FILE_INFO_DATE ? 2000 : 65535);
        EXPECT_EQ(entry.month, bit == FILE_INFO_DATE ? 2 : 255);
        EXPECT_EQ(entry.day, bit == FILE_INFO_DATE ? 3 : 255);
        EXPECT_EQ(entry.hour, bit == FILE_INFO_TIME ? 4 : 255);
        EXPECT_EQ(entry.minute, bit == FILE_INFO_TIME ? 5 : 255);
        EXPECT_EQ(entry.size, bit == FILE_INFO_SIZE ? 10 : -1);
        EXPECT_EQ(entry.attributes, bit == FILE_INFO_ATTR ? 6 : -1);
    }
}

TEST(Entry, KindFollowsTheParsersType)
{
    const struct {
        int type;
        int kind;
    } cases[] = {{0, 1}, {1, 2}, {2, 3}, {-1, 0}, {3, 0}};
    for (const auto &c : cases) {
        capture_t capture;
        capture.parser.type = c.type;
        EXPECT_EQ(capture.entry_of("f").kind, c.kind) << c.type;
    }
}

TEST(Entry, OfALineThatFailedButGaveANameIsAMatchOfNoKind)
{
    capture_t capture;
    capture.parser.type = -1;
    EXPECT_EQ(capture.entry_of("f").kind, 0);
    EXPECT_EQ(capture.names, lines{"f"});
    EXPECT_EQ(capture.info->tmp->matched, 1);
}

// --- cb_list_write

TEST(CbListWrite, YieldsALineOnceHoweverItArrives)
{
    const std::string listing = "first\r\n\r\nsecond\nthird\rfourth\r\n";
    for (size_t cut = 0; cut <= listing.size(); ++cut) {
        for (size_t second_cut = cut; second_cut <= listing.size(); ++second_cut) {
            capture_t capture;
            EXPECT_EQ(capture.write(listing.substr(0, cut)), cut);
            EXPECT_EQ(capture.write(listing.substr(cut, second_cut - cut)), second_cut - cut);
            EXPECT_EQ(capture.write(listing.substr(second_cut)), listing.size() - second_cut);
            EXPECT_EQ(capture.names, (lines{"first", "second", "third", "fourth"}))
                << cut << " " << second_cut;
            EXPECT_EQ(capture.buffered(), "");
        }
    }
    EXPECT_EQ(logged(), lines{});
}

TEST(CbListWrite, YieldsLinesByteByByte)
{
    capture_t capture;
    for (const char byte : std::string("one\r\ntwo\r\n"))
        EXPECT_EQ(capture.write(std::string(1, byte)), 1u);
    EXPECT_EQ(capture.names, (lines{"one", "two"}));
}

TEST(CbListWrite, CountsItemsOfAnySize)
{
    capture_t capture;
    char data[] = "a\nbc\nd";
    EXPECT_EQ(cb_list_write(data, 3, 2, capture.info), 6u);
    EXPECT_EQ(capture.names, (lines{"a", "bc"}));
    EXPECT_EQ(cb_list_write(data, 1, 0, capture.info), 0u);
    EXPECT_EQ(cb_list_write(data, 0, 1, capture.info), 0u);
    EXPECT_EQ(logged(), lines{});
}

TEST(CbListWrite, AbortsOnNullPointers)
{
    capture_t capture;
    char data[] = "a\n";
    EXPECT_EQ(cb_list_write(nullptr, 1, 2, capture.info), 0u);
    EXPECT_EQ(cb_list_write(data, 1, 2, nullptr), 0u);
    list_capture_free(capture.info);
    EXPECT_EQ(cb_list_write(data, 1, 2, capture.info), 0u);
    EXPECT_EQ(logged_with_priority(),
              (std::vector<log_line>{{3, "error: curl_wrapper(2189): Download data pointer is null.\n"},
                                     {3, "error: curl_wrapper(2195): CURLOPT_WRITEDATA has not been set.\n"},
                                     {3, "error: curl_wrapper(2201): 'tmp' data pointer is null.\n"}}));
}

TEST(CbListWrite, AbortsWithoutMemory)
{
    capture_t capture;
    const failing_heap heap(1);
    EXPECT_EQ(capture.write("a\n"), 0u);
    EXPECT_EQ(logged(), (lines{"error: curl_wrapper(2447): dynamic_buffer_alloc(): Failed\n",
                               "error: curl_wrapper(2214): add_list_data(): Failed\n"}));
}

TEST(CbListWrite, AbortsWhenALineDoesNotEnd)
{
    capture_t capture;
    const std::string piece(16384, 'x');
    for (int i = 0; i < 64; ++i)
        ASSERT_EQ(capture.write(piece), piece.size());
    EXPECT_EQ(capture.write("x"), 0u);
    EXPECT_EQ(logged(), (lines{"error: curl_wrapper(2458): dynamic_buffer_realloc(): Failed\n",
                               "error: curl_wrapper(2214): add_list_data(): Failed\n"}));
    EXPECT_EQ(capture.names, lines{});
}

TEST(CbListWrite, DropsTheRestAfterTheCallbackHasStopped)
{
    capture_t capture;
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

TEST(CbListWrite, HoldsNoMoreThanTheUnfinishedLine)
{
    capture_t capture;
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(capture.write("a line of twenty nine bytes\r\nunfini"), 35u);
    EXPECT_LE(capture.info->tmp->buffer->capacity, 35u + 35u + 256u);
    EXPECT_EQ(capture.buffered(), "unfini");
}

// --- start and end

TEST(ListCapture, EndHandsOnALastLineWithoutAnEnd)
{
    capture_t capture("last");
    capture.write("first\r\nlast");
    EXPECT_EQ(capture.names, lines{});
    EXPECT_TRUE(list_capture_end(capture.info));
    EXPECT_EQ(capture.names, lines{"last"});
}

TEST(ListCapture, EndTellsWhetherAnEntryFitted)
{
    capture_t nothing;
    EXPECT_FALSE(list_capture_end(nothing.info));
    capture_t other("x");
    other.write("a\nb");
    EXPECT_FALSE(list_capture_end(other.info));
    capture_t earlier("a");
    earlier.write("a\nb\n");
    EXPECT_TRUE(list_capture_end(earlier.info));
}

TEST(ListCapture, EndLeavesTheLastLineOutWithoutMemory)
{
    capture_t capture("a");
    capture.write("a");
    const failing_heap heap(1);
    EXPECT_FALSE(list_capture_end(capture.info));
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2458): dynamic_buffer_realloc(): Failed\n"});
}

TEST(ListCapture, StartsEmptyInPlaceOfOneThatIsLeft)
{
    capture_t capture;
    capture.write("left");
    EXPECT_TRUE(list_capture_start(capture.info)); // the old one is freed: the leak check would tell
    EXPECT_EQ(capture.info->tmp->buffer, nullptr);
    EXPECT_EQ(capture.info->tmp->stop, 0);
    EXPECT_EQ(capture.info->tmp->matched, 0);
    const failing_heap heap(1);
    EXPECT_FALSE(list_capture_start(capture.info));
    EXPECT_EQ(capture.info->tmp, nullptr);
}
