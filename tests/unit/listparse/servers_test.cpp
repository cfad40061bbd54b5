// Lines of many kinds of servers. The expected entry follows from the parser's rules, not from what the
// server meant, so some lines have an odd reading.
#include "listing.h"

#include <gtest/gtest.h>

namespace
{

TEST(Servers, UnixServersWithTimeOrYear)
{
    expect_read({
        {"time", "-rw-r--r--   1 user group   1234 Jan 15 12:34 my file.txt", 0x200,
         file("my file.txt").bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644).owned("user")},
        {"slash of a directory", "drwxr-xr-x   2 user group   4096 Jan 15  2012 dir/", 0x200,
         directory("dir").bytes(4096).dated(2012, 1, 15).mode(0x755).owned("user")},
        {"numeric owner", "-rw-r--r--    1 1000     1000        12345 Nov 20 09:18 report.txt", 0x200,
         file("report.txt").bytes(12345).dated(0, 11, 20).at(9, 18).mode(0x644).owned("1000")},
        {"year", "-rw-rw-rw-   1 ftp      ftp       1048576 Dec  3  2010 image.bin", 0x200,
         file("image.bin").bytes(1048576).dated(2010, 12, 3).mode(0x666).owned("ftp")},
        {"midnight, sticky", "drwxrwxrwt  12 root     root         4096 Jul  1 00:00 tmp", 0x200,
         directory("tmp").bytes(4096).dated(0, 7, 1).at(0, 0).mode(0x1777).owned("root")},
        {"set user", "-rwsr-xr-x   1 root     wheel       31337 Feb 29  2008 su", 0x200,
         file("su").bytes(31337).dated(2008, 2, 29).mode(0x4755).owned("root")},
        {"link", "lrwxrwxrwx 1 user group 7 Jan 15 12:34 link -> target", 0x200,
         directory("link -> target").linked().bytes(7).dated(0, 1, 15).at(12, 34).mode(0x777).owned("user")},
        {"capital months, more than 4 GiB", "-RW-R--R--   1 USER GROUP 5368709120 AUG 31 17:45 MOVIE.MXF",
         0x200, file("MOVIE.MXF").bytes(5368709120).dated(0, 8, 31).at(17, 45).mode(0x644).owned("USER")},
    });
}

TEST(Servers, UnixServersWithMoreOrFewerColumns)
{
    const entry_t name = file("name").bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644).owned("user");
    expect_read({
        {"no group", "-rw-r--r--   1 user         1234 Jan 15 12:34 name", 0x206, name},
        {"no link count", "-rw-r--r--   user         1234 Jan 15 12:34 name", 0x20C, name},
        {"no owner: taken from the link count", "-rw-r--r--   1         1234 Jan 15 12:34 name", 0x20C,
         name.owned("1")},
        {"group of two words", "-rw-r--r--   1 DOMAIN\\user Domain Users  1234 Jan 15 12:34 name", 0x22A,
         name.owned("DOMAIN\\user")},
        {"access list", "-rw-r--r--+  1 user group  1234 Jan 15 12:34 name", 0x200, name},
        {"security context", "-rw-r--r--.  1 user group  1234 Jan 15 12:34 name", 0x200, name},
        {"extended attributes", "-rw-r--r--@  1 user group  1234 Jan 15 12:34 name", 0x200, name},
        {"link count of three digits", "-rw-r--r--123 user group  1234 Jan 15 12:34 name", 0x202, name},
    });
}

TEST(Servers, DevicesAndPipesAreNoEntriesButHaveTheirNames)
{
    const entry_t none = no_entry("dev").bytes(0).dated(0, 1, 15).at(12, 34).mode(0x660).owned("root");
    expect_read({
        {"block device", "brw-rw----    1 root     disk       8,   0 Jan 15 12:34 dev", 0x22A, none},
        {"character device", "crw-rw-rw-    1 root     root       1,   3 Jan 15  2012 null", 0x22A,
         no_entry("null").bytes(3).dated(2012, 1, 15).mode(0x666).owned("root")},
        {"numbers without a blank", "crw-rw----    1 root     tty        5,1 Jan 15 12:34 dev", 0x200, none},
        {"pipe", "prw-rw----    1 root     root          0 Jan 15 12:34 dev", 0x200, none},
    });
}

TEST(Servers, JapaneseAndChineseDates)
{
    const entry_t of_2012 = file("name").bytes(1234).dated(2012, 1, 15).mode(0x644).owned("user");
    const entry_t timed = file("name").bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644).owned("user");
    const std::string line = "-rw-r--r-- 1 user group 1234 ";
    expect_read({
        {"Shift_JIS", line + "1" MONTH_SJIS " 15" DAY_SJIS " 12:34 name", 0x200, timed},
        {"EUC-JP", line + "1" MONTH_EUC " 15" DAY_EUC " 12:34 name", 0x200, timed},
        {"UTF-8", line + "1" MONTH_UTF8 " 15" DAY_UTF8 " 12:34 name", 0x200, timed},
        {"GB2312", line + "1" MONTH_GB " 15" DAY_GB " 12:34 name", 0x200, timed},
        {"Shift_JIS, one field", line + "1" MONTH_SJIS "15" DAY_SJIS " 12" HOUR_SJIS "34" MINUTE_SJIS " name",
         0x201, timed},
        {"EUC-JP, one field", line + "1" MONTH_EUC "15" DAY_EUC " 12" HOUR_EUC "34" MINUTE_EUC " name", 0x201,
         timed},
        {"UTF-8, one field", line + "1" MONTH_UTF8 "15" DAY_UTF8 " 12" HOUR_UTF8 "34" MINUTE_UTF8 " name",
         0x201, timed},
        {"year", line + "1" MONTH_UTF8 " 15 2012 name", 0x200, of_2012},
        {"year, one field", line + "1" MONTH_UTF8 "15" DAY_UTF8 " 2012 name", 0x201, of_2012},
        {"Chinese order", line + "2012 1" MONTH_GB " 15" DAY_GB " name", 0x204, of_2012},
        {"Chinese order, glued links", "-rw-r--r--12 user group 1234 2012 1" MONTH_GB " 15" DAY_GB " name",
         0x205, of_2012},
        {"slash", line + "1/15 12:34 name", 0x201, timed},
    });
}

TEST(Servers, UnixLinesThatAreMisread)
{
    const entry_t name = file("name").bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644).owned("user");
    expect_read({
        {"weekday and seconds: the size is read from the weekday, the year goes into the name",
         "-rw-r--r-- 1 user group 1234 Sun Jan 15 12:34:56 2012 name", 0x22A,
         file("2012 name").bytes(0).dated(0, 1, 15).at(12, 34).mode(0x644).owned("user")},
        {"a name that goes on like a date further right: the size is read from the time",
         "-rw-r--r-- 1 user 1234 Jan 15 12:34 May 3 2012 name", 0x20F,
         file("name").bytes(0).dated(2012, 5, 3).mode(0x644).owned("user")},
        {"year/month/day with slashes passes for month/day",
         "-rw-r--r-- 1 user group 1234 12/01/15 10:20 name", 0x201, name.dated(2012, 1, 15).at(10, 20)},
        {"rights in brackets, glued to the type", "d[RWCEAFMS] admin 512 Jan 16 18:53 login", 0x20C,
         directory("login").bytes(512).dated(0, 1, 16).at(18, 53).mode(0x777).owned("admin")},
        {"a detached type wants a 'B' behind the name", "- rw-r--r-- 1 user group 1234 Jan 15 12:34 name",
         0x300, no_entry("name").bytes(1234).dated(0, 1, 15).at(12, 34).mode(0x644).owned("user")},
        {"the 'B' is there", "- rw-r--r-- 1 user group 1234 Jan 15 12:34 name          B", 0x300, name},
        {"a detached type cuts the name at 14", "d rwxr-xr-x 2 user group 4096 Jan 15 2012 directory_of_many",
         0x300, directory("directory_of_m").bytes(4096).dated(2012, 1, 15).mode(0x755).owned("user")},
    });
}

TEST(Servers, WindowsServers)
{
    const entry_t docs = directory("docs").bytes(0);
    const entry_t setup = file("setup.exe").bytes(123456);
    expect_read({
        {"12-hour clock", "01-15-12  03:04PM       <DIR>          My Dir", 22,
         directory("My Dir").bytes(0).dated(2012, 1, 15).at(15, 4)},
        {"midnight", "12-31-98  12:00AM               123456 setup.exe", 22,
         setup.dated(1998, 12, 31).at(0, 0)},
        {"24-hour clock", "01-15-12  15:04               123456 setup.exe", 22,
         setup.dated(2012, 1, 15).at(15, 4)},
        {"year first, but 12 passes for a month", "12-01-15  15:04       <DIR>          docs", 22,
         docs.dated(2015, 12, 1).at(15, 4)},
        {"year first", "98-12-31  15:04       <DIR>          docs", 21, docs.dated(1998, 12, 31).at(15, 4)},
        {"year counted from 1900", "01-15-112  03:04PM       <DIR>          docs", 22,
         docs.dated(2012, 1, 15).at(15, 4)},
        {"four digits of year", "2012-01-15 10:20:30 <DIR> docs", 24, docs.dated(2012, 1, 15).at(10, 20)},
        {"after midnight", "01-15-98  12:05AM              1234 a.txt", 22,
         file("a.txt").bytes(1234).dated(1998, 1, 15).at(0, 5)},
        {"day first passes for a year", "15-01-12  10:00  555 b c", 21,
         file("b c").bytes(555).dated(2015, 1, 12).at(10, 0)},
        {"four digits of year, a name with blanks", "2012-01-15 10:20:30 555 two  words ", 24,
         file("two  words ").bytes(555).dated(2012, 1, 15).at(10, 20)},
        {"name first, and more behind", "docs <DIR> 01-15-12 10:20 and more", 23,
         docs.dated(2012, 1, 15).at(10, 20)},
        {"name first", "CONFIG.SYS     1234 01-15-12 10:20", 23,
         file("CONFIG.SYS").bytes(1234).dated(2012, 1, 15).at(10, 20)},
    });
}

TEST(Servers, LinesOfNoKnownLayout)
{
    expect_format(LIST_FMT_UNKNOWN,
                  {
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
                      // rights in brackets, detached from the type
                      "d [RWCEAFMS] admin                     512 Jan 16 18:53 login",
                      "- [R----F--] admin                  214059 Oct 20 15:27 cx.exe",
                      // versions and protections
                      "README.TXT;1         2/3     15-JAN-2012 10:20:30  [ANONYMOUS]  (RWED,RWED,RE,RE)",
                      "NAME.TXT;1           12/15   15-JAN-2012 10:20:30  [GRP,USR]    (RWED,RWED,RE,)",
                      "DOCS.DIR;1   1  15-JAN-2012 10:20  [SYSTEM] (RWE,RWE,RE,E)",
                      "Directory DISK$USER:[ANONYMOUS]",
                      // headings, migrated data sets, members of a data set
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
                      " ",
                      "     ",
                      "name",
                      "\xFF\xFE\x80",
                  });
}

} // namespace
