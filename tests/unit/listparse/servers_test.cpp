// Lines as servers of many kinds send them. What each must give follows from the rules, not from what its
// server meant: a line that is read oddly is here with its odd reading.
#include "listing.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

namespace
{

struct server_row {
    const char *line;
    list_format_t format;
    entry_t entry;
};

void expect_read(std::initializer_list<server_row> table)
{
    for (const server_row &row : table) {
        std::string left;
        ASSERT_EQ(detect(row.line, &left), row.format) << testing::PrintToString(row.line);
        EXPECT_EQ(resolve(left, row.format), row.entry) << testing::PrintToString(row.line);
    }
}

TEST(Servers, UnixServersWithTimeOrYear)
{
    expect_read({
        // numeric owner and group
        {"-rw-r--r--    1 1000     1000        12345 Nov 20 09:18 report.txt",
         0x200,
         {.type = 1,
          .name = "report.txt",
          .size = 12345,
          .date = {0, 11, 20},
          .time = {9, 18},
          .attributes = 0x644,
          .owner = "1000",
          .valid = 15}},
        {"-rw-rw-rw-   1 ftp      ftp       1048576 Dec  3  2010 image.bin",
         0x200,
         {.type = 1,
          .name = "image.bin",
          .size = 1048576,
          .date = {2010, 12, 3},
          .attributes = 0x666,
          .owner = "ftp",
          .valid = 13}},
        {"drwxrwxrwt  12 root     root         4096 Jul  1 00:00 tmp",
         0x200,
         {.type = 0,
          .name = "tmp",
          .size = 4096,
          .date = {0, 7, 1},
          .time = {0, 0},
          .attributes = 0x1777,
          .owner = "root",
          .valid = 15}},
        {"-rwsr-xr-x   1 root     wheel       31337 Feb 29  2008 su",
         0x200,
         {.type = 1,
          .name = "su",
          .size = 31337,
          .date = {2008, 2, 29},
          .attributes = 0x4755,
          .owner = "root",
          .valid = 13}},
        {"lrwxrwxrwx    1 root     root            11 May  9 23:01 current -> releases/12",
         0x200,
         {.type = 0,
          .name = "current -> releases/12",
          .size = 11,
          .date = {0, 5, 9},
          .time = {23, 1},
          .attributes = 0x777,
          .owner = "root",
          .is_link = 1,
          .valid = 15}},
        // capital months, a file of more than 4 GiB
        {"-RW-R--R--   1 USER GROUP 5368709120 AUG 31 17:45 MOVIE.MXF",
         0x200,
         {.type = 1,
          .name = "MOVIE.MXF",
          .size = 5368709120,
          .date = {0, 8, 31},
          .time = {17, 45},
          .attributes = 0x644,
          .owner = "USER",
          .valid = 15}},
    });
}

TEST(Servers, UnixServersWithMoreOrFewerColumns)
{
    entry_t file{.type = 1,
                 .name = "name",
                 .size = 1234,
                 .date = {0, 1, 15},
                 .time = {12, 34},
                 .attributes = 0x644,
                 .owner = "user",
                 .valid = 15};
    entry_t ownerless = file;
    ownerless.owner = "1"; // the link count stands where 12 has the owner
    entry_t domain = file;
    domain.owner = "DOMAIN\\user";
    expect_read({
        {"-rw-r--r--   1 user         1234 Jan 15 12:34 name", 0x206, file},
        {"-rw-r--r--   user         1234 Jan 15 12:34 name", 0x20C, file},
        {"-rw-r--r--   1         1234 Jan 15 12:34 name", 0x20C, ownerless},
        // a group of two words
        {"-rw-r--r--   1 DOMAIN\\user Domain Users  1234 Jan 15 12:34 name", 0x22A, domain},
        // access lists, security contexts, extended attributes
        {"-rw-r--r--+  1 user group  1234 Jan 15 12:34 name", 0x200, file},
        {"-rw-r--r--.  1 user group  1234 Jan 15 12:34 name", 0x200, file},
        {"-rw-r--r--@  1 user group  1234 Jan 15 12:34 name", 0x200, file},
        // a link count of three digits
        {"-rw-r--r--123 user group  1234 Jan 15 12:34 name", 0x202, file},
    });
}

TEST(Servers, DevicesAndPipesAreNoEntriesButHaveTheirNames)
{
    expect_read({
        {"brw-rw----    1 root     disk       8,   0 Jan 15 12:34 sda",
         0x22A,
         {.type = -1,
          .name = "sda",
          .size = 0,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x660,
          .owner = "root",
          .valid = 15}},
        {"crw-rw-rw-    1 root     root       1,   3 Jan 15  2012 null",
         0x22A,
         {.type = -1,
          .name = "null",
          .size = 3,
          .date = {2012, 1, 15},
          .attributes = 0x666,
          .owner = "root",
          .valid = 13}},
        {"crw--w----    1 root     tty        5,1 Jan 15 12:34 tty1",
         0x200,
         {.type = -1,
          .name = "tty1",
          .size = 0,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x620,
          .owner = "root",
          .valid = 15}},
        {"prw-r--r--    1 root     root          0 Jan 15 12:34 pipe",
         0x200,
         {.type = -1,
          .name = "pipe",
          .size = 0,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x644,
          .owner = "root",
          .valid = 15}},
    });
}

TEST(Servers, JapaneseAndChineseDates)
{
    entry_t file{.type = 1,
                 .name = "name",
                 .size = 1234,
                 .date = {0, 1, 15},
                 .time = {12, 34},
                 .attributes = 0x644,
                 .owner = "user",
                 .valid = 15};
    entry_t of_2012 = file;
    of_2012.date.year = 2012;
    of_2012.time = {};
    of_2012.valid = 13;
    expect_read({
        {"-rw-r--r-- 1 user group 1234 1" MONTH_SJIS " 15" DAY_SJIS " 12:34 name", 0x200, file},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_EUC " 15" DAY_EUC " 12:34 name", 0x200, file},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_UTF8 " 15" DAY_UTF8 " 12:34 name", 0x200, file},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_GB " 15" DAY_GB " 12:34 name", 0x200, file},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_SJIS "15" DAY_SJIS " 12" HOUR_SJIS "34" MINUTE_SJIS " name",
         0x201, file},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_EUC "15" DAY_EUC " 12" HOUR_EUC "34" MINUTE_EUC " name",
         0x201, file},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_UTF8 "15" DAY_UTF8 " 12" HOUR_UTF8 "34" MINUTE_UTF8 " name",
         0x201, file},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_UTF8 " 15 2012 name", 0x200, of_2012},
        {"-rw-r--r-- 1 user group 1234 1" MONTH_UTF8 "15" DAY_UTF8 " 2012 name", 0x201, of_2012},
        {"-rw-r--r-- 1 user group 1234 2012 1" MONTH_GB " 15" DAY_GB " name", 0x204, of_2012},
        {"-rw-r--r--12 user group 1234 2012 1" MONTH_GB " 15" DAY_GB " name", 0x205, of_2012},
        // a slash, two digits for the year
        {"-rw-r--r-- 1 user group 1234 1/15 12:34 name", 0x201, file},
    });
}

TEST(Servers, UnixLinesThatAreReadOddly)
{
    expect_read({
        // weekday and seconds: the size is read from the weekday, the year goes into the name
        {"-rw-r--r-- 1 user group 1234 Sun Jan 15 12:34:56 2012 name",
         0x22A,
         {.type = 1,
          .name = "2012 name",
          .size = 0,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x644,
          .owner = "user",
          .valid = 15}},
        // a name that goes on like a date further right
        {"-rw-r--r-- 1 user 1234 Jan 15 12:34 May 3 2012 name",
         0x20F,
         {.type = 1,
          .name = "name",
          .size = 0, // "12:34"
          .date = {2012, 5, 3},
          .attributes = 0x644,
          .owner = "user",
          .valid = 13}},
        // year/month/day with slashes passes for month/day
        {"-rw-r--r-- 1 user group 1234 12/01/15 10:20 name",
         0x201,
         {.type = 1,
          .name = "name",
          .size = 1234,
          .date = {2012, 1, 15},
          .time = {10, 20},
          .attributes = 0x644,
          .owner = "user",
          .valid = 15}},
        // rights in brackets, glued to the type
        {"d[RWCEAFMS] admin 512 Jan 16 18:53 login",
         0x20C,
         {.type = 0,
          .name = "login",
          .size = 512,
          .date = {0, 1, 16},
          .time = {18, 53},
          .attributes = 0x777,
          .owner = "admin",
          .valid = 15}},
        // a detached type cuts the name at 14 and wants a 'B' behind it
        {"- rw-r--r-- 1 user group 1234 Jan 15 12:34 name",
         0x300,
         {.type = -1,
          .name = "name",
          .size = 1234,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x644,
          .owner = "user",
          .valid = 15}},
        {"- rw-r--r-- 1 user group 1234 Jan 15 12:34 name          B",
         0x300,
         {.type = 1,
          .name = "name",
          .size = 1234,
          .date = {0, 1, 15},
          .time = {12, 34},
          .attributes = 0x644,
          .owner = "user",
          .valid = 15}},
        {"d rwxr-xr-x 2 user group 4096 Jan 15 2012 directory_of_many",
         0x300,
         {.type = 0,
          .name = "directory_of_m",
          .size = 4096,
          .date = {2012, 1, 15},
          .attributes = 0x755,
          .owner = "user",
          .valid = 13}},
    });
}

TEST(Servers, WindowsServers)
{
    expect_read({
        {"01-15-12  03:04PM       <DIR>          Program Files",
         22,
         {.type = 0, .name = "Program Files", .size = 0, .date = {2012, 1, 15}, .time = {15, 4}, .valid = 7}},
        {"12-31-98  12:00AM               123456 setup.exe",
         22,
         {.type = 1,
          .name = "setup.exe",
          .size = 123456,
          .date = {1998, 12, 31},
          .time = {0, 0},
          .valid = 7}},
        {"01-15-12  15:04               123456 setup.exe",
         22,
         {.type = 1,
          .name = "setup.exe",
          .size = 123456,
          .date = {2012, 1, 15},
          .time = {15, 4},
          .valid = 7}},
        {"12-01-15  15:04       <DIR>          docs", // year first, but 12 passes for a month
         22,
         {.type = 0, .name = "docs", .size = 0, .date = {2015, 12, 1}, .time = {15, 4}, .valid = 7}},
        {"98-12-31  15:04       <DIR>          docs",
         21,
         {.type = 0, .name = "docs", .size = 0, .date = {1998, 12, 31}, .time = {15, 4}, .valid = 7}},
        {"01-15-112  03:04PM       <DIR>          docs", // a year counted from 1900
         22,
         {.type = 0, .name = "docs", .size = 0, .date = {2012, 1, 15}, .time = {15, 4}, .valid = 7}},
        {"2012-01-15 10:20:30 <DIR> docs",
         24,
         {.type = 0, .name = "docs", .size = 0, .date = {2012, 1, 15}, .time = {10, 20}, .valid = 7}},
        {"CONFIG.SYS     1234 01-15-12 10:20",
         23,
         {.type = 1,
          .name = "CONFIG.SYS",
          .size = 1234,
          .date = {2012, 1, 15},
          .time = {10, 20},
          .valid = 7}},
    });
}

TEST(Servers, MainframesAndMidrangeSystems)
{
    expect_read({
        {"QSYSOPR        1234 01/15/12 10:20:30 *FILE      REPORT.FILE",
         26,
         {.type = 1,
          .name = "REPORT.FILE",
          .size = 1234,
          .date = {2012, 1, 15},
          .time = {10, 20},
          .owner = "QSYSOPR",
          .valid = 7}},
        {"QSYS           4096 15.01.12 10:20:30 *DIR       docs/",
         26,
         {.type = 0,
          .name = "docs",
          .size = 4096,
          .date = {2012, 1, 15},
          .time = {10, 20},
          .owner = "QSYS",
          .valid = 7}},
        {"WRK001 3390   2012/01/15  1   15  FB      80 27920  PO  MY.DATA",
         39,
         {.type = 0, .name = "MY.DATA", .date = {2012, 1, 15}, .valid = 1}},
        {"WRK001 3390   2012/01/15  1   15  FB      80 27920  PS  MY.DATA",
         39,
         {.type = 1, .name = "MY.DATA", .date = {2012, 1, 15}, .valid = 1}},
    });
}

TEST(Servers, LinesOfNoKnownLayout)
{
    for (const char *line : {
             "total 1234",
             // four-digit year last
             "01-15-2012  03:04PM       <DIR>          My Dir",
             "2012-01-15  10:20       <DIR>          docs",
             // ISO dates and day before month in a Unix listing
             "-rw-r--r-- 1 user group 1234 2012-01-15 12:34 name",
             "-rw-r--r-- 1 user group 1234 15 Jan 12:34 name",
             "-rw-r--r-- 1 user group 1234 15. Jan 12:34 name",
             "-rw-r--r-- 1 user 1234 2012 1" MONTH_GB " 15 name",
             "-rw-r--r-- 1 user group 1234 1" MONTH_GB " 15" DAY_GB " 12" HOUR_GB "34 name",
             "-rw-r--r--\t1\tuser\tgroup\t1234\tJan\t15\t12:34\tname",
             // rights in brackets apart from the type
             "d [RWCEAFMS] admin                     512 Jan 16 18:53 login",
             "- [R----F--] admin                  214059 Oct 20 15:27 cx.exe",
             // versions and protections
             "README.TXT;1         2/3     15-JAN-2012 10:20:30  [ANONYMOUS]  (RWED,RWED,RE,RE)",
             "NAME.TXT;1           12/15   15-JAN-2012 10:20:30  [GRP,USR]    (RWED,RWED,RE,)",
             "DOCS.DIR;1   1  15-JAN-2012 10:20  [SYSTEM] (RWE,RWE,RE,E)",
             "Directory DISK$USER:[ANONYMOUS]",
             // heads, migrated data sets, members of a data set
             "Volume Unit    Referred Ext Used Recfm Lrecl BlkSz Dsorg Dsname",
             "Migrated                                                MY.OLD.DATA",
             " MEMBER01  01.02 2012/01/15 2012/01/16 10:20    15    10     0 USER1",
             "QSYSOPR                                    *MEM       FILE.MBR",
             // attributes between size and date
             "         1234      A     01-15-12   10:20  config.sys",
             "            0    DIR     01-15-12   10:20  docs",
             // machine-readable forms
             "+i8388621.29609,m824255902,/,\tdev",
             "type=file;size=1234;modify=20120115123400; name",
             "ls: cannot open directory '.': Permission denied",
             "",
         })
        EXPECT_EQ(detect(line), LIST_FMT_UNKNOWN) << testing::PrintToString(line);
}

} // namespace
