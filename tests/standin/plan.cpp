#include "tests/standin/plan.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <pthread.h>
#include <string_view>

namespace
{

constexpr const char *FUNCTIONS[] = {
    "zixi_version",
    "zixi_configure_logging",
    "zixi_configure_credentials",
    "zixi_prepare_configuration",
    "zixi_upload_file",
    "zixi_get_upload_progress",
    "zixi_close_stream",
};
constexpr size_t FUNCTION_COUNT = sizeof FUNCTIONS / sizeof *FUNCTIONS;
constexpr size_t PLAN_SIZE = 2048;

struct plan_t {
    char text[PLAN_SIZE]; // the ZIXI_FEEDER_FAIL to which the counts belong
    long calls[FUNCTION_COUNT];
};

pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
plan_t plan_;

struct plan_lock {
    plan_lock() { pthread_mutex_lock(&mutex_); }
    ~plan_lock() { pthread_mutex_unlock(&mutex_); }
    plan_lock(const plan_lock &) = delete;
    plan_lock &operator=(const plan_lock &) = delete;
};

// One part of the plan, `function:code[:times[:after]]`: the `times` calls after the first `after` fail.
struct rule_t {
    char function[64];
    long code;
    long times;
    long after;
};

bool read_rule(std::string_view text, rule_t *rule)
{
    char line[128];
    if (text.size() >= sizeof line)
        return false;
    memcpy(line, text.data(), text.size());
    line[text.size()] = '\0';
    *rule = rule_t{"", 0, LONG_MAX, 0};
    int length = 0;
    if (sscanf(line, "%63[a-z_]:%ld%n", rule->function, &rule->code, &length) < 2)
        return false;
    const char *rest = line + length;
    for (long *number : {&rule->times, &rule->after}) {
        length = 0;
        if (sscanf(rest, ":%ld%n", number, &length) == 1)
            rest += length;
    }
    return *rest == '\0' && rule->code >= INT_MIN && rule->code <= INT_MAX;
}

long count_call(const char *function)
{
    for (size_t i = 0; i < FUNCTION_COUNT; i++)
        if (strcmp(FUNCTIONS[i], function) == 0)
            return ++plan_.calls[i];
    return 0;
}

bool meets(const rule_t &rule, const char *function, long call)
{
    return strcmp(rule.function, function) == 0 && call > rule.after && call - rule.after <= rule.times;
}

} // namespace

int plan_next(const char *function)
{
    const char *text = getenv("ZIXI_FEEDER_FAIL");
    std::string_view rest = text == nullptr ? "" : text;
    const plan_lock held;
    if (rest.substr(0, PLAN_SIZE - 1) != plan_.text) {
        plan_ = {};
        memcpy(plan_.text, rest.data(), rest.size() < PLAN_SIZE ? rest.size() : PLAN_SIZE - 1);
    }
    const long call = count_call(function);
    while (!rest.empty()) {
        const size_t comma = rest.find(',');
        rule_t rule;
        const std::string_view part = rest.substr(0, comma);
        if (!read_rule(part, &rule))
            fprintf(stderr, "ZIXI_FEEDER_FAIL: not understood: '%.*s'\n", static_cast<int>(part.size()),
                    part.data());
        else if (meets(rule, function, call))
            return static_cast<int>(rule.code);
        rest.remove_prefix(comma == std::string_view::npos ? rest.size() : comma + 1);
    }
    return 0;
}
