// The listing parser's time per line, compared with the minimum that any reader must do: split the line at
// blanks, convert one number, look one month up.
//
// Ends with a table of ratios. Exits with 1 if a ratio is above its limit.
#include "listings.h"
#include "listparse/listparse.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

constexpr size_t LINES = 100'000;
constexpr size_t LINES_OF_FOLDER = 200;

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

// Resolves a line by its detected number.
static std::string name_of_layout(std::string line)
{
    const list_format_t format = AnalizeFileInfo(line.data());
    return format == LIST_FMT_UNKNOWN ? "none" : text("layout-%d", format & 0xff);
}

static std::vector<listing_case_t> all_cases()
{
    std::vector<listing_case_t> cases{
        {"unix", unix_line, split_unix, 1.8},
        {"dos", dos_line, split_dos, 1.6},
        {"mixed", mixed_line, split_other, 0},
    };
    for (const char *line : other_lines())
        cases.push_back({name_of_layout(line), [line](random_t *) { return line; }, split_other, 0});
    return cases;
}

// Prints the ns per line of each run and keeps each benchmark's minimum, because disturbances only add time.
class line_reporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration)
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
        listings.push_back(make_listing(each.line, LINES, LINES_OF_FOLDER));
    for (size_t n = 0; n < listings.size(); ++n) {
        add("parse/" + cases[n].name, &listings[n], parse);
        add("split/" + cases[n].name, &listings[n], cases[n].split);
    }
    benchmark::Initialize(&argc, argv);
    line_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return print_ratios(cases, reporter) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
