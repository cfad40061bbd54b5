#include "listparse/layouts.h"
#include "listparse/values.h"

#define GB_MONTH "\xd4\xc2"
#define GB_DAY "\xc8\xd5"
#define UTF8_MONTH "\xe6\x9c\x88"
#define UTF8_DAY "\xe6\x97\xa5"

// --- the `ls -l` family

constexpr const char *COMMON = "nearly every server, on Unix and elsewhere";
constexpr const char *ONE_FIELD_DATE = "Japanese locales; a slash does as well";
constexpr const char *GLUED_LINKS = "old Unix: a link count of three digits leaves no blank";
constexpr const char *CHINESE = "Chinese locales";
constexpr const char *NO_GROUP = "BSD without -g, and devices that know no groups";
constexpr const char *NO_OWNER = "devices that know no owners";
constexpr const char *ONE_MORE = "Unix in a Windows domain: a group of two words";
constexpr const char *TWO_MORE = "the same with a user of two words as well";
// No server sends these. Detection wants a month where they have their year, and 65537 truncated to 16 bits
// is month 1.
constexpr const char *BY_CHANCE = "nobody";

// clang-format off
constexpr unix_layout_t UNIX[] = {
    {0, 0, ALONE, MONTH_FIRST, 2, "-rw-r--r--   1 user group   1234 Jan 15 12:34 name", COMMON},
    {1, 0, ALONE, DAY_IN_MONTH, 2, "-rw-r--r-- 1 u g 1234 1" UTF8_MONTH "15" UTF8_DAY " 12:34 name", ONE_FIELD_DATE},
    {2, 0, GLUED, MONTH_FIRST, 1, "drwxr-xr-x123 user group 4096 Jan 15  2012 name", GLUED_LINKS},
    {3, 0, GLUED, DAY_IN_MONTH, 1, "drwxr-xr-x123 user group 4096 1/15 12:34 name", GLUED_LINKS},
    {4, 0, ALONE, YEAR_FIRST, 2, "-rw-r--r-- 1 u g 1234 2012 1" GB_MONTH " 15" GB_DAY " name", CHINESE},
    {5, 0, GLUED, YEAR_FIRST, 1, "drwxr-xr-x123 u g 4096 2012 1" GB_MONTH " 15" GB_DAY " name", CHINESE},
    {6, -1, ALONE, MONTH_FIRST, 2, "-rw-r--r--   1 user     1234 Jan 15 12:34 name", NO_GROUP},
    {7, -1, ALONE, DAY_IN_MONTH, 2, "-rw-r--r--   1 user     1234 1/15 12:34 name", NO_GROUP},
    {8, -1, GLUED, MONTH_FIRST, 1, "drwxr-xr-x123 user     4096 Jan 15 12:34 name", NO_GROUP},
    {9, -1, GLUED, DAY_IN_MONTH, 1, "drwxr-xr-x123 user     4096 1/15 12:34 name", NO_GROUP},
    {10, -1, ALONE, YEAR_FIRST, 2, "-rw-r--r-- 1 user 1234 65537/ 1" GB_MONTH " 15" GB_DAY " name", BY_CHANCE},
    {11, -1, GLUED, YEAR_FIRST, 1, "drwxr-xr-x123 user 4096 65537/ 1" GB_MONTH " 15" GB_DAY " name", BY_CHANCE},
    {12, -2, EITHER, MONTH_FIRST, 1, "-rw-r--r--   1     1234 Jan 15 12:34 name", NO_OWNER},
    {13, -2, EITHER, DAY_IN_MONTH, 1, "-rw-r--r--   1     1234 1/15 12:34 name", NO_OWNER},
    {14, -2, EITHER, YEAR_FIRST, 2, "-rw-r--r-- 1 1234 65537/ 1" GB_MONTH " 15" GB_DAY " name", BY_CHANCE},
    {15, 2, ALONE, MONTH_FIRST, 2, "-rw-r--r-- 1 guest account domain users 1234 Jan 15 12:34 name", TWO_MORE},
    {16, 2, ALONE, DAY_IN_MONTH, 2, "-rw-r--r-- 1 guest account domain users 1234 1/15 12:34 name", TWO_MORE},
    {17, 2, GLUED, MONTH_FIRST, 1, "drwxr-xr-x123 guest account domain users 4096 Jan 15 12:34 name", TWO_MORE},
    {18, 2, GLUED, DAY_IN_MONTH, 1, "drwxr-xr-x123 guest account domain users 4096 1/15 12:34 name", TWO_MORE},
    {19, 2, ALONE, YEAR_FIRST, 2, "-rw-r--r-- 1 u g x x 1234 65537/ 1" GB_MONTH " 15 name", BY_CHANCE},
    {20, 2, GLUED, YEAR_FIRST, 1, "drwxr-xr-x123 u g x x 4096 65537/ 1" GB_MONTH " 15 name", BY_CHANCE},
    {42, 1, ALONE, MONTH_FIRST, 2, "-rw-r--r-- 1 user domain users 1234 Jan 15 12:34 name", ONE_MORE},
    {43, 1, ALONE, DAY_IN_MONTH, 2, "-rw-r--r-- 1 user domain users 1234 1/15 12:34 name", ONE_MORE},
    {44, 1, GLUED, MONTH_FIRST, 1, "drwxr-xr-x123 user domain users 4096 Jan 15 12:34 name", ONE_MORE},
    {45, 1, GLUED, DAY_IN_MONTH, 1, "drwxr-xr-x123 user domain users 4096 1/15 12:34 name", ONE_MORE},
    {46, 1, ALONE, YEAR_FIRST, 2, "-rw-r--r-- 1 u g x 1234 65537/ 1" GB_MONTH " 15 name", BY_CHANCE},
    {47, 1, GLUED, YEAR_FIRST, 1, "drwxr-xr-x123 u g x 4096 65537/ 1" GB_MONTH " 15 name", BY_CHANCE},
};
// clang-format on

std::span<const unix_layout_t> listparse_unix_layouts() { return UNIX; }

int listparse_unix_number(int shift, links_t links, date_order_t order)
{
    for (const unix_layout_t &layout : UNIX) {
        if (layout.shift == shift && layout.order == order &&
            (layout.links == links || layout.links == EITHER))
            return layout.number;
    }
    return -1;
}

const unix_layout_t &listparse_unix_layout(int number)
{
    for (const unix_layout_t &layout : UNIX) {
        if (layout.number == number)
            return layout;
    }
    return UNIX[0];
}

// --- other layouts

static bool is_4_long(field_t text) { return text.size() == 4; }
static bool is_10_long(field_t text) { return text.size() == 10; }
static bool is_4_long_number(field_t text) { return begins_with_digit(text) && text.size() == 4; }
static bool is_size_or_dir(field_t text) { return begins_with(text, '<') || begins_with_digit(text); }

static bool is_masked_number(field_t text)
{
    return begins_with_digit(text) || text.find_first_not_of('*') == field_t::npos;
}

static bool is_time(field_t text)
{
    if (begins_with_time(text))
        return true;
    return text.size() > 2 && is_digit(text[0]) && begins_with_digit(behind(text, find_colon(text) + 1));
}

static bool has_hour_and_colon(field_t text)
{
    return text.size() > 2 && is_digit(text[0]) && find_colon(text) < text.size();
}

static bool is_no_date(field_t text) { return !is_date(text); }
static bool is_masked_date(field_t text) { return listparse_has_shape(text, "99-99-99", '*'); }
static bool is_long_date(field_t text) { return listparse_has_shape(text, SHAPE_4_2_2); }
static bool is_date9(field_t text) { return date_shape(text) != 0; }

static bool is_month_first_date9(field_t text)
{
    if (!is_date9(text))
        return false;
    const int first = is_digit(text[2]) ? to_int(text) : two_digits(text, 0);
    return first >= 1 && first <= 12;
}

static bool is_month(field_t text) { return listparse_read_month(text).month != 0; }

static bool is_month_alone(field_t text)
{
    const month_day_t found = listparse_read_month(text);
    return found.month != 0 && found.day == 0;
}

constexpr const char *DOS = "Windows and DOS";
constexpr const char *NOT_KNOWN = "not known";

// The tests of a row run from left to right and stop at the first that fails; rows are tried from the top.
// clang-format off
constexpr other_layout_t OTHERS[] = {
    {26, 6, {{2, is_date}, {3, is_date}, {1, begins_with_digit}},
     "QSYSOPR        1234 01/15/12 10:20:30 *FILE      REPORT.FILE", "IBM i (AS/400)"},
    {27, 7, {{0, is_4_long}, {5, is_masked_date}, {2, is_masked_number}, {3, is_masked_number}},
     "AB12 VOL 0001 **** PO 98/12/31 DATA.SET", "mainframes that mask what a user may not see"},
    {29, 7, {{1, is_date}, {2, is_date}, {5, begins_with_digit}},
     "d 98-12-31 10:20:30 owner group 512 docs", NOT_KNOWN},
    {22, 4, {{1, is_time}, {2, is_size_or_dir}, {0, is_month_first_date9}},
     "01-15-12  03:04PM       <DIR>          Program Files", DOS},
    {21, 4, {{1, is_time}, {2, is_size_or_dir}, {0, is_date9}},
     "98-12-31  15:04                  123456 setup.exe", "the same set to put the year first"},
    {23, 4, {{3, has_hour_and_colon}, {1, is_size_or_dir}, {2, is_date9}},
     "CONFIG.SYS     1234 01-15-12 10:20", "DOS servers that begin with the name"},
    {24, 4, {{0, is_long_date}, {1, is_date}, {2, is_size_or_dir}},
     "2012-01-15 10:20:30 <DIR> docs", NOT_KNOWN},
    {28, 6, {{2, is_month_alone}, {1, is_size_or_dir}, {5, is_time}},
     "docs <DIR> Jan 15 2012 10:20", NOT_KNOWN},
    {33, 6, {{0, is_10_long}, {3, is_date}, {4, is_date}, {2, begins_with_digit}},
     "drwxr-xr-x owner 512 98-12-31 10:20:30 docs", NOT_KNOWN},
    {32, 4, {{0, is_10_long}, {3, is_no_date}, {1, is_date}, {2, is_date}},
     "-rw-r--r-- 98-12-31 10:20:30 report.txt", NOT_KNOWN},
    {37, 7, {{0, is_size_or_dir}, {5, is_time}, {3, is_month}, {6, begins_with_digit}},
     "512 a b Jan 15 10:20 2012 report.txt", NOT_KNOWN},
    {38, 7, {{1, is_date}, {2, is_4_long_number}, {5, begins_with_digit}},
     "0.0  98/12/31 1020  d-ewrewr  3A   512 docs", "OS-9"},
    {39, 10, {{2, is_long_date}, {1, begins_with_digit}, {7, begins_with_digit}},
     "WRK001 3390   2012/01/15  1   15  FB      80 27920  PO  MY.DATA", "IBM z/OS"},
    {30, 0, {},
     "CONFIG.SYS     1234 01-15-12 10:20 name", "nobody: 23 takes its lines"},
    {25, 0, {},
     "name", NOT_KNOWN},
    {35, 0, {},
     "name", NOT_KNOWN},
};
// clang-format on

std::span<const other_layout_t> listparse_other_layouts() { return OTHERS; }

static bool has_layout(fields_t &fields, const other_layout_t &layout)
{
    for (const test_t &test : layout.tests) {
        if (test.passes == nullptr)
            break;
        if (!test.passes(field(fields, test.field)))
            return false;
    }
    return layout.tests[0].passes != nullptr && has_field(fields, layout.least_fields - 1);
}

int listparse_other_number(fields_t &fields)
{
    for (const other_layout_t &layout : OTHERS) {
        if (has_layout(fields, layout))
            return layout.number;
    }
    return -1;
}
