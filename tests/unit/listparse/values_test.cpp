#include "listing.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

constexpr const char *NAMES[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Upper case first letter, then lower case; only ASCII letters change.
std::string folded(std::string text)
{
    for (char &c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

// Each text gives this month and day. A name is left case-folded, a number unchanged.
void expect_month(int month, int day, std::initializer_list<std::string> texts)
{
    for (const std::string &text : texts) {
        std::string field = text;
        uint16_t month_given = 99;
        uint16_t day_given = 99;
        GetMonth(field.data(), &month_given, &day_given);
        EXPECT_EQ(month_given, month) << testing::PrintToString(text);
        EXPECT_EQ(day_given, day) << testing::PrintToString(text);
        EXPECT_EQ(field, folded(text));
    }
}

TEST(GetMonth, EachNameGivesItsNumberInWhateverCase)
{
    for (int month = 1; month <= 12; month++) {
        const std::string name = NAMES[month - 1];
        std::string small = name;
        std::string capital = name;
        small[0] = static_cast<char>(name[0] - 'A' + 'a');
        for (size_t at : {1u, 2u})
            capital[at] = static_cast<char>(name[at] - 'a' + 'A');
        expect_month(month, 0, {name, small, capital, small.substr(0, 1) + capital.substr(1)});
    }
}

TEST(GetMonth, NameOfMoreThanThreeLettersIsNoMonth)
{
    expect_month(0, 0, {"Sept", "June", "JANUARY", "Dec.", "Jan,", "DecJan"});
}

TEST(GetMonth, EmptyFieldIsJanuary) { expect_month(1, 0, {""}); }

// A part is searched case-folded, then as it is; one that spans two names gives the first.
TEST(GetMonth, PartOfANameGivesItsMonth)
{
    expect_month(1, 0, {"J", "an", "nF", "anFeb", "JanFebMarAprMayJunJulAugSepOctNovDec"});
    expect_month(2, 0, {"F", "eb", "e", "b", "ebM"});
    expect_month(3, 0, {"M", "MA", "m", "ar", "rA"});
    expect_month(4, 0, {"A", "a", "pr"});
    expect_month(5, 0, {"ay", "y"});
    expect_month(6, 0, {"Ju", "un", "u"});
    expect_month(7, 0, {"ul"});
    expect_month(8, 0, {"au", "ug"});
    expect_month(9, 0, {"S", "ep"});
    expect_month(10, 0, {"O", "ct"});
    expect_month(11, 0, {"N", "n", "ov", "NovDec"});
    expect_month(12, 0, {"D", "ec"});
}

TEST(GetMonth, OtherWordsAreNoMonth)
{
    expect_month(0, 0, {"x", "aN", "AN", "name", "JanFebMarAprMayJunJulAugSepOctNovDecJan"});
    expect_month(0, 0, {"-", " Jan", "/3", MONTH_GB, MONTH_JIS});
    expect_month(0, 0, {std::string("\xC4") + "EC"});
}

TEST(GetMonth, NumberAndItsMarkGiveMonthAndDay)
{
    for (const std::string mark : {"/", MONTH_SJIS, MONTH_EUC, MONTH_GB, MONTH_UTF8}) {
        expect_month(3, 0, {"3" + mark, "3" + mark + "x", "3" + mark + "0", "3" + mark + "32"});
        expect_month(3, 0, {"3" + mark + "-1", "3" + mark + DAY_UTF8});
        expect_month(3, 15,
                     {"3" + mark + "15", "003" + mark + "015", "3" + mark + " 15", "3" + mark + "+15"});
        expect_month(3, 15, {"3" + mark + "15" DAY_SJIS, "3" + mark + "15/98"});
        expect_month(12, 31, {"12" + mark + "31"});
        expect_month(12, 0, {"12" + mark});
        expect_month(1, 1, {"1" + mark + "1"});
        expect_month(0, 0, {"0" + mark + "5", "13" + mark, "13" + mark + "1", "2012" + mark + "01"});
        // cut to 16 bits before the range check: 65539 = 65536 + 3
        expect_month(3, 15, {"65539" + mark + "15", "3" + mark + "65551", "3" + mark + "-65521"});
        expect_month(3, 0, {"3" + mark + "65536"});
        expect_month(0, 0, {"65536" + mark + "15", "65549" + mark + "15"});
    }
}

TEST(GetMonth, MarkThatBeginsWithADigitNeverMatches)
{
    expect_month(0, 0, {"3" MONTH_JIS, "3" MONTH_JIS "15", "12" MONTH_JIS "31"});
}

TEST(GetMonth, BareNumberOrOtherMarkIsNoMonth)
{
    expect_month(0, 0, {"3", "12", "2012", "3-15", "12-01-15", "12:34", "3a", "3.15", "3" DAY_UTF8});
    for (const std::string half : {"\x8C", "\xD4", "\xE6\x9C"})
        expect_month(0, 0, {"3" + half, "3" + half + "15"});
}

// Each text is this time.
void expect_time(int hour, int minute, std::initializer_list<std::string> texts, int result = 1)
{
    for (const std::string &text : texts) {
        uint16_t hour_given = 99;
        uint16_t minute_given = 99;
        EXPECT_EQ(GetHourAndMinute(text.c_str(), &hour_given, &minute_given), result)
            << testing::PrintToString(text);
        EXPECT_EQ(hour_given, hour) << testing::PrintToString(text);
        EXPECT_EQ(minute_given, minute) << testing::PrintToString(text);
    }
}

void expect_no_time(std::initializer_list<std::string> texts) { expect_time(0, 0, texts, 0); }

TEST(GetHourAndMinute, ColonSeparatesHourAndMinute)
{
    expect_time(12, 34, {"12:34", "012:034", "12:34PM"}); // no 12-hour marker here
    expect_time(7, 5, {"7:5", "7:5x"});
    expect_time(0, 0, {"0:00", "00:00"});
    expect_time(24, 0, {"24:00"});
    expect_time(24, 59, {"24:59"});
    expect_time(23, 59, {"23:59:58"});
    expect_time(12, 30, {"12x:30"}); // the first ':' counts, wherever it is
}

TEST(GetHourAndMinute, RefusedFieldLeavesBothZero)
{
    expect_no_time({"25:00", "12:60", "9:", "10:", "12:x5", "12::30", "12: 30", "1234", "12", "7", "", "2012",
                    ":30", " 7:30", "-7:30", "12h30", "1899", "012", "name"});
}

TEST(GetHourAndMinute, HourMarkOfEachEncodingAlsoSeparates)
{
    for (const std::string mark : {HOUR_SJIS, HOUR_JIS, HOUR_EUC, HOUR_UTF8}) {
        expect_time(12, 34, {"12" + mark + "34", "12" + mark + "34" MINUTE_SJIS});
        expect_time(7, 5, {"7" + mark + "5"});
        expect_time(24, 0, {"24" + mark + "0"});
        expect_time(5, 0, {"5" + mark + MINUTE_EUC}); // invalid minutes are 0
        expect_time(5, 7, {"5" + mark + "3:7"});      // a ':' is searched first
        expect_no_time({"12" + mark, "25" + mark + "00", "12" + mark + "60", "12" + mark + "34:"});
        expect_no_time({"12" + mark + "-3"}); // 65533 in 16 bits
    }
}

TEST(GetHourAndMinute, HourMarkOfAnotherEncodingIsRefused)
{
    expect_no_time({"12" HOUR_GB "34", "12" MONTH_UTF8 "34", "12\xE6\x99", std::string("12\x8E") + "34"});
}

TEST(GetHourAndMinute, NumbersAreCutTo16BitsBeforeTheRangeCheck)
{
    expect_time(12, 30, {"65548:30", "12:65566"}); // 65548 = 65536 + 12
    expect_no_time({"65561:30", "12:65596"});      // 25, 60
}

TEST(GetHourAndMinute, AmOrPmAloneIsMidnight)
{
    expect_time(0, 0, {"a:m", "A:M", "a:M", "p:m", "P:M", "P:m"});
    expect_no_time({"am", "PM", "a:m ", "x:m", "a:", "p;m"});
}

} // namespace
