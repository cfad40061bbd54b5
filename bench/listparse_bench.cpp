// What the listing parser costs for each line, against the least that any reader of listings does: split the
// line on blanks, convert one number, look up one month.
//
// Ends with a table of ratios. Exits 1 when a ratio is above its limit.
#include "listparse/listparse.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

constexpr size_t LINES = 100'000;

// The lines lie behind each other, as in the buffer that a listing is captured in.
struct listing_t {
    std::vector<char> text;
    std::vector<size_t> starts;
};

static void append(listing_t *listing, const std::string &line)
{
    listing->starts.push_back(listing->text.size());
    listing->text.insert(listing->text.end(), line.c_str(), line.c_str() + line.size() + 1);
}

// --- listings

// A stretch of lines is one folder: one owner, names of one kind, files of one age.
struct random_t {
    std::mt19937 engine{20240115};
    size_t folder = 0;
    size_t below(size_t n) { return engine() % n; }
    bool one_in(size_t n) { return below(n) == 0; }
    template <size_t N> const char *of_folder(const char *const (&texts)[N]) const
    {
        return texts[folder % N];
    }
};
constexpr size_t LINES_OF_FOLDER = 200;

template <typename... Values> static std::string text(const char *format, Values... values)
{
    char buffer[512];
    snprintf(buffer, sizeof buffer, format, values...);
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

static std::string unix_line(random_t *random)
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

static std::string dos_line(random_t *random)
{
    const bool directory = random->one_in(8);
    const std::string size = directory ? "      <DIR>         " : text("%20lu", any_size(random));
    return text("%02zu-%02zu-%02zu  %02zu:%02zu%s %s %s", 1 + random->below(12), 1 + random->below(28),
                random->below(30), 1 + random->below(12), random->below(60), random->one_in(2) ? "AM" : "PM",
                size.c_str(), any_name(random, directory).c_str());
}

// One of every other layout that is recognised, and a line that is none.
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

static std::string mixed_line(random_t *random)
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

static listing_t make_listing(const std::function<std::string(random_t *)> &line)
{
    listing_t listing;
    random_t random;
    for (size_t n = 0; n < LINES; ++n) {
        random.folder = n / LINES_OF_FOLDER;
        append(&listing, line(&random));
    }
    return listing;
}

// --- what is measured

static void parse(char *line)
{
    static char name[FILE_INFO_NAME_SIZE];
    static char owner[FILE_INFO_OWNER_SIZE];
    static file_time_t time;
    int64_t size;
    uint32_t attributes, is_link, valid;
    const list_format_t format = AnalizeFileInfo(line);
    if (format == LIST_FMT_UNKNOWN)
        return;
    benchmark::DoNotOptimize(
        ResolvFileInfo(line, format, name, &size, &time, &attributes, owner, &is_link, &valid));
    benchmark::DoNotOptimize(name);
}

// The measuring stick. NUMBER and MONTH are the fields that are converted and looked up.
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
    benchmark::DoNotOptimize(fields);
    if (count <= NUMBER || count <= MONTH)
        return;
    benchmark::DoNotOptimize(strtol(fields[NUMBER].begin, nullptr, 10));
    char month[4] = {};
    memcpy(month, fields[MONTH].begin, std::min<size_t>(fields[MONTH].length, 3));
    benchmark::DoNotOptimize(strstr("JanFebMarAprMayJunJulAugSepOctNovDec", month));
}

static void run(benchmark::State &state, const listing_t *listing, void (*read)(char *line))
{
    listing_t copy = *listing;
    for (auto _ : state) {
        for (const size_t start : copy.starts)
            read(copy.text.data() + start);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * copy.starts.size()));
}

// --- the report

struct listing_case_t {
    std::string name;
    std::function<std::string(random_t *)> line;
    void (*split)(char *line);
    double limit; // of the ratio; 0 = none
};

// By the number that detection gives it.
static std::string name_of_layout(std::string line)
{
    const list_format_t format = AnalizeFileInfo(line.data());
    return format == LIST_FMT_UNKNOWN ? "none" : text("layout-%d", format & 0xff);
}

static std::vector<listing_case_t> all_cases()
{
    std::vector<listing_case_t> cases{
        {"unix", unix_line, split<4, 5>, 1.2},
        {"dos", dos_line, split<2, 0>, 1.1},
        {"mixed", mixed_line, split<2, 2>, 0},
    };
    for (const char *line : OTHERS)
        cases.push_back({name_of_layout(line), [line](random_t *) { return line; }, split<2, 2>, 0});
    return cases;
}

// Prints ns for each line as it comes and keeps the least of each benchmark: what disturbs a run only adds to
// it.
class line_reporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            const double ns = 1e6 * run.GetAdjustedCPUTime() / static_cast<double>(LINES);
            const std::string name = run.run_name.function_name;
            const auto known = least_.find(name);
            least_[name] = known == least_.end() ? ns : std::min(known->second, ns);
        }
        ConsoleReporter::ReportRuns(runs);
    }
    double ns(const std::string &name) const
    {
        const auto found = least_.find(name);
        return found == least_.end() ? 0 : found->second;
    }

private:
    std::map<std::string, double> least_;
};

static int print_ratios(const std::vector<listing_case_t> &cases, const line_reporter &reporter)
{
    int above = 0;
    printf("\n%-10s %14s %14s %8s %8s\n", "listing", "parse ns/line", "split ns/line", "ratio", "limit");
    for (const auto &listing_case : cases) {
        const double parse_ns = reporter.ns("parse/" + listing_case.name);
        const double split_ns = reporter.ns("split/" + listing_case.name);
        if (parse_ns == 0 || split_ns == 0)
            continue; // left out by --benchmark_filter
        const double ratio = parse_ns / split_ns;
        const std::string limit = listing_case.limit != 0 ? text("%8.2f", listing_case.limit) : "       -";
        printf("%-10s %14.1f %14.1f %8.2f %s\n", listing_case.name.c_str(), parse_ns, split_ns, ratio,
               limit.c_str());
        above += listing_case.limit != 0 && ratio > listing_case.limit ? 1 : 0;
    }
    return above;
}

static void add(const std::string &name, const listing_t *listing, void (*read)(char *line))
{
    benchmark::RegisterBenchmark(name.c_str(), run, listing, read)
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(7)
        ->MinTime(0.1);
}

int main(int argc, char **argv)
{
    const std::vector<listing_case_t> cases = all_cases();
    std::vector<listing_t> listings;
    for (const auto &each : cases)
        listings.push_back(make_listing(each.line));
    for (size_t n = 0; n < listings.size(); ++n) {
        add("parse/" + cases[n].name, &listings[n], parse);
        add("split/" + cases[n].name, &listings[n], cases[n].split);
    }
    benchmark::Initialize(&argc, argv);
    line_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return print_ratios(cases, reporter) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
