#include "listing.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace
{

struct month_row {
    const char *field;
    int month;
    int day;
    const char *left; // the field afterwards; NULL = as it was
};

void expect_months(std::initializer_list<month_row> table)
{
    for (const month_row &row : table) {
        std::string field = row.field;
        uint16_t month = 99;
        uint16_t day = 99;
        GetMonth(field.data(), &month, &day);
        EXPECT_EQ(month, row.month) << testing::PrintToString(row.field);
        EXPECT_EQ(day, row.day) << testing::PrintToString(row.field);
        EXPECT_STREQ(field.c_str(), row.left != nullptr ? row.left : row.field);
    }
}

TEST(GetMonth, EachNameGivesItsNumberInWhateverCase)
{
    expect_months({
        {"Jan", 1, 0, "Jan"},
        {"Feb", 2, 0, "Feb"},
        {"Mar", 3, 0, "Mar"},
        {"Apr", 4, 0, "Apr"},
        {"May", 5, 0, "May"},
        {"Jun", 6, 0, "Jun"},
        {"Jul", 7, 0, "Jul"},
        {"Aug", 8, 0, "Aug"},
        {"Sep", 9, 0, "Sep"},
        {"Oct", 10, 0, "Oct"},
        {"Nov", 11, 0, "Nov"},
        {"Dec", 12, 0, "Dec"},
        {"JAN", 1, 0, "Jan"},
        {"jan", 1, 0, "Jan"},
        {"jAN", 1, 0, "Jan"},
        {"dec", 12, 0, "Dec"},
        {"AUG", 8, 0, "Aug"},
        {"sEP", 9, 0, "Sep"},
    });
}

TEST(GetMonth, NameOfMoreThanThreeLettersIsNoMonth)
{
    expect_months({
        {"Sept", 0, 0, "Sept"},
        {"June", 0, 0, "June"},
        {"JANUARY", 0, 0, "January"},
        {"Dec.", 0, 0, "Dec."},
        {"Jan,", 0, 0, "Jan,"},
        {"DecJan", 0, 0, "Decjan"},
    });
}

TEST(GetMonth, EmptyFieldIsJanuary) { expect_months({{"", 1, 0, ""}}); }

TEST(GetMonth, PartOfANameGivesItsMonth)
{
    expect_months({
        {"J", 1, 0, "J"},
        {"F", 2, 0, "F"},
        {"M", 3, 0, "M"},
        {"A", 4, 0, "A"},
        {"S", 9, 0, "S"},
        {"O", 10, 0, "O"},
        {"N", 11, 0, "N"},
        {"D", 12, 0, "D"},
        {"Ju", 6, 0, "Ju"},
        {"MA", 3, 0, "Ma"},
        {"au", 8, 0, "Au"},
        {"a", 4, 0, "A"},
        {"m", 3, 0, "M"},
        {"n", 11, 0, "N"},
        // not found once folded, but found as it came
        {"an", 1, 0, "An"},
        {"eb", 2, 0, "Eb"},
        {"ar", 3, 0, "Ar"},
        {"pr", 4, 0, "Pr"},
        {"ay", 5, 0, "Ay"},
        {"un", 6, 0, "Un"},
        {"ul", 7, 0, "Ul"},
        {"ug", 8, 0, "Ug"},
        {"ep", 9, 0, "Ep"},
        {"ct", 10, 0, "Ct"},
        {"ov", 11, 0, "Ov"},
        {"ec", 12, 0, "Ec"},
        {"e", 2, 0, "E"},
        {"b", 2, 0, "B"},
        {"u", 6, 0, "U"},
        {"y", 5, 0, "Y"},
    });
}

TEST(GetMonth, FieldThatStraddlesTwoNamesGivesTheFirst)
{
    expect_months({
        {"ebM", 2, 0, "Ebm"},
        {"nF", 1, 0, "Nf"},
        {"anFeb", 1, 0, "Anfeb"},
        {"rA", 3, 0, "Ra"},
        {"NovDec", 11, 0, "Novdec"},
        {"JanFebMarAprMayJunJulAugSepOctNovDec", 1, 0, "Janfebmaraprmayjunjulaugsepoctnovdec"},
    });
}

TEST(GetMonth, OtherWordsAreNoMonth)
{
    expect_months({
        {"x", 0, 0, "X"},
        {"aN", 0, 0, "An"},
        {"AN", 0, 0, "An"},
        {"name", 0, 0, "Name"},
        {"JanFebMarAprMayJunJulAugSepOctNovDecJan", 0, 0, "Janfebmaraprmayjunjulaugsepoctnovdecjan"},
        {"-", 0, 0, nullptr},
        {" Jan", 0, 0, " jan"},
        {"/3", 0, 0, nullptr},
        {MONTH_GB, 0, 0, nullptr},
        {"\xC4"
         "EC",
         0, 0,
         "\xC4"
         "ec"}, // only ASCII letters are folded
    });
}

TEST(GetMonth, NumberAndSlashGiveMonthAndDay)
{
    expect_months({
        {"3/15", 3, 15, nullptr},
        {"12/31", 12, 31, nullptr},
        {"1/1", 1, 1, nullptr},
        {"003/015", 3, 15, nullptr},
        {"3/15/98", 3, 15, nullptr},
        {"3/ 15", 3, 15, nullptr},
        {"3/+15", 3, 15, nullptr},
        {"12/", 12, 0, nullptr},
        {"3/x", 3, 0, nullptr},
        {"3/0", 3, 0, nullptr},
        {"3/32", 3, 0, nullptr},
        {"3/-1", 3, 0, nullptr},
        {"0/5", 0, 0, nullptr},
        {"13/1", 0, 0, nullptr},
        {"2012/01", 0, 0, nullptr},
    });
}

TEST(GetMonth, NumberWithAMonthMarkGivesMonthAndDay)
{
    expect_months({
        {"3" MONTH_SJIS, 3, 0, nullptr},
        {"3" MONTH_SJIS "15", 3, 15, nullptr},
        {"12" MONTH_SJIS "31" DAY_SJIS, 12, 31, nullptr},
        {"3" MONTH_EUC, 3, 0, nullptr},
        {"3" MONTH_EUC "15", 3, 15, nullptr},
        {"12" MONTH_EUC "31" DAY_EUC, 12, 31, nullptr},
        {"3" MONTH_GB, 3, 0, nullptr},
        {"3" MONTH_GB "15", 3, 15, nullptr},
        {"12" MONTH_GB "31" DAY_GB, 12, 31, nullptr},
        {"3" MONTH_UTF8, 3, 0, nullptr},
        {"3" MONTH_UTF8 "15", 3, 15, nullptr},
        {"12" MONTH_UTF8 "31" DAY_UTF8, 12, 31, nullptr},
        {"0" MONTH_SJIS "5", 0, 0, nullptr},
        {"13" MONTH_EUC "5", 0, 0, nullptr},
        {"3" MONTH_GB "32", 3, 0, nullptr},
        {"3" MONTH_GB "0", 3, 0, nullptr},
        {"3" MONTH_UTF8 DAY_UTF8, 3, 0, nullptr},
        {"13" MONTH_UTF8, 0, 0, nullptr},
    });
}

TEST(GetMonth, MarkThatBeginsWithADigitNeverMatches)
{
    expect_months({
        {"3" MONTH_JIS, 0, 0, nullptr},
        {"3" MONTH_JIS "15", 0, 0, nullptr},
        {"12" MONTH_JIS "31", 0, 0, nullptr},
        {MONTH_JIS, 0, 0, nullptr},
    });
}

TEST(GetMonth, BareNumberOrOtherMarkIsNoMonth)
{
    expect_months({
        {"3", 0, 0, nullptr},
        {"12", 0, 0, nullptr},
        {"2012", 0, 0, nullptr},
        {"3-15", 0, 0, nullptr},
        {"12-01-15", 0, 0, nullptr},
        {"12:34", 0, 0, nullptr},
        {"3a", 0, 0, nullptr},
        {"3.15", 0, 0, nullptr},
        {"3\x8C", 0, 0, nullptr},
        {"3\x8C"
         "15",
         0, 0, nullptr},
        {"3\xE6\x9C", 0, 0, nullptr},
        {"3\xE6\x9C"
         "15",
         0, 0, nullptr},
        {"3\xD4", 0, 0, nullptr},
        {"3" DAY_UTF8, 0, 0, nullptr},
    });
}

TEST(GetMonth, NumbersAreCutTo16BitsBeforeTheirRangeIsTested)
{
    expect_months({
        {"65539/15", 3, 15, nullptr}, // 65539 = 65536 + 3
        {"65536/15", 0, 0, nullptr},  // 65536 is 0
        {"65549/15", 0, 0, nullptr},  // 13
        {"65539" MONTH_GB "15", 3, 15, nullptr},
        {"3/65551", 3, 15, nullptr}, // 15
        {"3/65536", 3, 0, nullptr},
        {"3/-65521", 3, 15, nullptr},
    });
}

struct time_row {
    const char *field;
    int result;
    int hour;
    int minute;
};

void expect_times(std::initializer_list<time_row> table)
{
    for (const time_row &row : table) {
        std::string field = row.field;
        uint16_t hour = 99;
        uint16_t minute = 99;
        EXPECT_EQ(GetHourAndMinute(field.c_str(), &hour, &minute), row.result)
            << testing::PrintToString(row.field);
        EXPECT_EQ(hour, row.hour) << testing::PrintToString(row.field);
        EXPECT_EQ(minute, row.minute) << testing::PrintToString(row.field);
    }
}

TEST(GetHourAndMinute, ColonSeparatesHourAndMinute)
{
    expect_times({
        {"12:34", 1, 12, 34},
        {"7:5", 1, 7, 5},
        {"0:00", 1, 0, 0},
        {"00:00", 1, 0, 0},
        {"24:00", 1, 24, 0},
        {"24:59", 1, 24, 59},
        {"23:59:58", 1, 23, 59},
        {"012:034", 1, 12, 34},
        {"12:34PM", 1, 12, 34}, // no 12-hour marker here
        {"12x:30", 1, 12, 30},  // the first ':' counts, wherever it is
        {"7:5x", 1, 7, 5},
    });
}

TEST(GetHourAndMinute, RefusedFieldLeavesBothAtNought)
{
    expect_times({
        {"25:00", 0, 0, 0},  {"12:60", 0, 0, 0},  {"9:", 0, 0, 0},   {"10:", 0, 0, 0},   {"12:x5", 0, 0, 0},
        {"12::30", 0, 0, 0}, {"12: 30", 0, 0, 0}, {"1234", 0, 0, 0}, {"12", 0, 0, 0},    {"7", 0, 0, 0},
        {"", 0, 0, 0},       {"2012", 0, 0, 0},   {":30", 0, 0, 0},  {" 7:30", 0, 0, 0}, {"-7:30", 0, 0, 0},
        {"12h30", 0, 0, 0},  {"1899", 0, 0, 0},   {"012", 0, 0, 0},  {"name", 0, 0, 0},
    });
}

TEST(GetHourAndMinute, HourMarkOfEachEncodingSeparatesToo)
{
    expect_times({
        {"12" HOUR_SJIS "34", 1, 12, 34},
        {"12" HOUR_SJIS "34" MINUTE_SJIS, 1, 12, 34},
        {"7" HOUR_SJIS "5", 1, 7, 5},
        {"12" HOUR_JIS "34", 1, 12, 34},
        {"7" HOUR_JIS "5", 1, 7, 5},
        {"12" HOUR_EUC "34", 1, 12, 34},
        {"12" HOUR_EUC "34" MINUTE_EUC, 1, 12, 34},
        {"12" HOUR_UTF8 "34", 1, 12, 34},
        {"12" HOUR_UTF8 "34" MINUTE_UTF8, 1, 12, 34},
        {"24" HOUR_UTF8 "0", 1, 24, 0},
        {"5" HOUR_EUC MINUTE_EUC, 1, 5, 0}, // minutes that are no number are 0
        {"5" HOUR_SJIS "3:7", 1, 5, 7},     // a ':' is looked for first
    });
}

TEST(GetHourAndMinute, HourMarkWithoutMinutesOrOfAnotherEncodingIsRefused)
{
    expect_times({
        {"12" HOUR_SJIS, 0, 0, 0},
        {"12" HOUR_JIS, 0, 0, 0},
        {"12" HOUR_EUC, 0, 0, 0},
        {"12" HOUR_UTF8, 0, 0, 0},
        {"25" HOUR_SJIS "00", 0, 0, 0},
        {"12" HOUR_UTF8 "60", 0, 0, 0},
        {"12" HOUR_EUC "-3", 0, 0, 0}, // 65533 in 16 bits
        {"12" HOUR_GB "34", 0, 0, 0},
        {"12\xE6\x99", 0, 0, 0},
        {"12\x8E"
         "34",
         0, 0, 0},
        {"12" MONTH_UTF8 "34", 0, 0, 0},
        {"12" HOUR_SJIS "34:", 0, 0, 0},
    });
}

TEST(GetHourAndMinute, NumbersAreCutTo16BitsBeforeTheirRangeIsTested)
{
    expect_times({
        {"65548:30", 1, 12, 30}, // 65548 = 65536 + 12
        {"65561:30", 0, 0, 0},   // 25
        {"12:65566", 1, 12, 30}, // 30
        {"12:65596", 0, 0, 0},   // 60
    });
}

TEST(GetHourAndMinute, BareHalfOfTheDayIsMidnight)
{
    expect_times({
        {"a:m", 1, 0, 0},
        {"A:M", 1, 0, 0},
        {"a:M", 1, 0, 0},
        {"p:m", 1, 0, 0},
        {"P:M", 1, 0, 0},
        {"P:m", 1, 0, 0},
        {"am", 0, 0, 0},
        {"PM", 0, 0, 0},
        {"a:m ", 0, 0, 0},
        {"x:m", 0, 0, 0},
        {"a:", 0, 0, 0},
        {"p;m", 0, 0, 0},
    });
}

} // namespace
