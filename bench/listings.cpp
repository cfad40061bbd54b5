#include "listings.h"
#include "listparse/listparse.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

// --- listings

std::string text(const char *format, ...)
{
    char buffer[512];
    va_list values;
    va_start(values, format);
    vsnprintf(buffer, sizeof buffer, format, values);
    va_end(values);
    return buffer;
}

static std::string any_name(random_t *random, bool directory)
{
    static constexpr const char *WORDS[] = {"clip",   "report", "IMG", "backup", "Holiday Pictures",
                                            "readme", "A"};
    static constexpr const char *ENDS[] = {".txt", ".mxf", ".jpeg", ".tar.gz", ".MOV"};
    return text("%s_%zu%s", random->of_folder(WORDS), random->below(100'000),
                directory ? "" : random->of_folder(ENDS));
}

static unsigned long any_size(random_t *random) { return random->engine() >> random->below(24); }

std::string unix_line(random_t *random)
{
    static constexpr const char *USERS[] = {"root", "ftp", "editor", "1000", "www-data", "production"};
    static constexpr const char *GROUPS[] = {"root", "ftp", "staff", "1000", "www-data"};
    static constexpr const char *MONTHS[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const bool directory = random->one_in(8);
    const bool recent = random->one_in(8) != (random->folder % 2 == 0);
    const std::string when = recent ? text("%02zu:%02zu", random->below(24), random->below(60))
                                    : text(" %zu", 1990 + random->below(35));
    return text("%s %4zu %-8s %-8s %10lu %s %2zu %s %s", directory ? "drwxr-xr-x" : "-rw-r--r--",
                directory ? 2 + random->below(20) : 1, random->of_folder(USERS), random->of_folder(GROUPS),
                directory ? 4096 : any_size(random), MONTHS[random->below(12)], 1 + random->below(28),
                when.c_str(), any_name(random, directory).c_str());
}

std::string dos_line(random_t *random)
{
    const bool directory = random->one_in(8);
    const std::string size = directory ? "      <DIR>         " : text("%20lu", any_size(random));
    return text("%02zu-%02zu-%02zu  %02zu:%02zu%s %s %s", 1 + random->below(12), 1 + random->below(28),
                random->below(30), 1 + random->below(12), random->below(60), random->one_in(2) ? "AM" : "PM",
                size.c_str(), any_name(random, directory).c_str());
}

constexpr const char *OTHERS[] = {
    "QSYS 77824 12/31/98 10:20:30 *DIR docs/",
    "AB12 VOL 0001 0002 x 98/12/31 DATA.SET",
    "d 98-12-31 10:20:30 a b 512 docs",
    "15-01-12 10:00 555 report.txt",
    "report.txt 555 01-15-12 10:00",
    "2012-01-15 10:20:30 <DIR> docs",
    "docs <DIR> Jan 15 2012 10:20",
    "drwxr-xr-x owner 512 98-12-31 10:20:30 docs",
    "-rw-r--r-- 98-12-31 10:20:30 report.txt",
    "512 a b Jan 15 10:20 2012 report.txt",
    "owner 98-12-31 1020 d b 512 docs",
    "VOL001 3390 2012/01/15 1 2 FB 80 27920 PO DATA.SET",
    "-rw-r--r--12 editor ftp 1234 Jan 15 12:34 clip.mxf",
    "-rw-r--r--   1 editor   1234 Jan 15 12:34 clip.mxf",
    "total 1234",
};

std::string mixed_line(random_t *random)
{
    switch (random->below(3)) {
    case 0:
        return unix_line(random);
    case 1:
        return dos_line(random);
    default:
        return OTHERS[random->below(std::size(OTHERS))];
    }
}

const std::vector<const char *> &other_lines()
{
    static const std::vector<const char *> lines(std::begin(OTHERS), std::end(OTHERS));
    return lines;
}

static void append(listing_t *listing, const std::string &line)
{
    listing->starts.push_back(listing->text.size());
    listing->text.insert(listing->text.end(), line.c_str(), line.c_str() + line.size() + 1);
}

listing_t make_listing(const std::function<std::string(random_t *)> &line, size_t lines,
                       size_t lines_of_folder)
{
    listing_t listing;
    random_t random;
    for (size_t n = 0; n < lines; ++n) {
        random.folder = n / lines_of_folder;
        append(&listing, line(&random));
    }
    return listing;
}

// --- the measured code

// Keeps the compiler from removing the calculation of an unused value.
template <typename Value> static void keep(const Value &value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

void parse(char *line)
{
    static char name[FILE_INFO_NAME_SIZE];
    static char owner[FILE_INFO_OWNER_SIZE];
    static file_time_t time;
    int64_t size;
    uint32_t attributes, is_link, valid;
    const list_format_t format = AnalizeFileInfo(line);
    if (format == LIST_FMT_UNKNOWN)
        return;
    keep(ResolvFileInfo(line, format, name, &size, &time, &attributes, owner, &is_link, &valid));
    keep(name);
}

template <size_t NUMBER, size_t MONTH> static void split(char *line)
{
    constexpr size_t MOST = 16;
    struct {
        const char *begin;
        size_t length;
    } fields[MOST];
    size_t count = 0;
    for (const char *at = line; count < MOST; ++count) {
        while (*at == ' ')
            ++at;
        if (*at == '\0')
            break;
        fields[count].begin = at;
        while (*at != '\0' && *at != ' ')
            ++at;
        fields[count].length = static_cast<size_t>(at - fields[count].begin);
    }
    keep(fields);
    if (count <= NUMBER || count <= MONTH)
        return;
    keep(strtol(fields[NUMBER].begin, nullptr, 10));
    char month[4] = {};
    memcpy(month, fields[MONTH].begin, std::min<size_t>(fields[MONTH].length, 3));
    keep(strstr("JanFebMarAprMayJunJulAugSepOctNovDec", month));
}

void split_unix(char *line) { split<4, 5>(line); }
void split_dos(char *line) { split<2, 0>(line); }
void split_other(char *line) { split<2, 2>(line); }
