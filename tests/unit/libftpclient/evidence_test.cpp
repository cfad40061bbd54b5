// Whose job a state shows. Times are in ms since the start was queued; a pass of the daemon takes 100 ms.
#include <gtest/gtest.h>

#include <string>
#include <vector>

extern "C" {
#include "libftpclient/evidence.h"
}

static ftpclient_state_t state_of(int job, int64_t total, int64_t moved, int64_t elapsed, int retries = 0)
{
    return {1, job, 0, 0, {total, moved, elapsed, 0, 0, 0, 0, retries, 0}};
}

static ftpclient_state_t ended_of(int job, int64_t total, int64_t moved, int64_t elapsed, int result = 0)
{
    return {0, job, result, 0, {total, moved, elapsed, 0, 0, 0, 0, 0, 0}};
}

struct seen_t {
    int64_t queued_ms;
    int64_t replied_ms;
    ftpclient_state_t state;
    int verdict;
    bool is_adjacent = false;
};

struct case_t {
    std::string name;
    int64_t expected_bytes;
    std::vector<seen_t> seen; // in order
};

constexpr int64_t UNKNOWN = FTPCLIENT_UNKNOWN;
constexpr int UP = FTPCLIENT_UPLOAD;
constexpr int64_t T0 = 5000000; // when the start was queued

static void PrintTo(const case_t &c, std::ostream *out) { *out << c.name; }

class Evidence : public testing::TestWithParam<case_t>
{
};

TEST_P(Evidence, TellsWhoseJobItIs)
{
    ftpc_evidence_t evidence;
    ftpc_evidence_begin(&evidence, UP, GetParam().expected_bytes, T0);
    for (const seen_t &seen : GetParam().seen) {
        const ftpc_look_t look = {T0 + seen.queued_ms, T0 + seen.replied_ms, seen.is_adjacent};
        EXPECT_EQ(ftpc_evidence_judge(&evidence, &seen.state, &look), seen.verdict)
            << "answered after " << seen.replied_ms << " ms";
        if (seen.verdict == FTPC_OWN) {
            EXPECT_EQ(evidence.last.progress.elapsed_ms, seen.state.progress.elapsed_ms);
        }
    }
}

// A contradiction means another program's job, however closely it follows.
static const case_t CONTRADICTIONS[] = {
    {"AnotherKind", 1000, {{1, 100, state_of(FTPCLIENT_DOWNLOAD, 1000, 10, 90), FTPC_FOREIGN, true}}},
    {"AnotherKindOfSameAge", UNKNOWN, {{1, 100, state_of(FTPCLIENT_FILE_INFO, 0, 0, 90), FTPC_FOREIGN}}},
    {"NoJobAtAll", 1000, {{1, 100, state_of(FTPCLIENT_NO_JOB, 0, 0, 0), FTPC_FOREIGN}}},
    {"AnotherSize", 1000, {{1, 100, state_of(UP, 1001, 10, 90), FTPC_FOREIGN, true}}},
    {"SizeNotYetTold", 1000, {{1, 100, state_of(UP, 0, 0, 90), FTPC_OWN}}},
    {"RightSize", 1000, {{1, 100, state_of(UP, 1000, 10, 90), FTPC_OWN}}},
    {"AnySizeWhereNoneIsExpected", UNKNOWN, {{1, 100, state_of(UP, 77, 10, 90), FTPC_OWN}}},
    {"OlderThanItsStart", 1000, {{1, 100, state_of(UP, 1000, 10, 500), FTPC_FOREIGN, true}}},
    {"OlderThanItsStartLater",
     1000,
     {{1, 100, state_of(UP, 1000, 10, 90), FTPC_OWN},
      {170, 200, state_of(UP, 1000, 20, 3000), FTPC_FOREIGN}}},
    {"BytesWentBack",
     1000,
     {{1, 100, state_of(UP, 1000, 50, 90), FTPC_OWN}, {170, 200, state_of(UP, 1000, 40, 190), FTPC_FOREIGN}}},
    {"ClockWentBack",
     1000,
     {{1, 100, state_of(UP, 1000, 50, 90), FTPC_OWN}, {170, 200, state_of(UP, 1000, 60, 20), FTPC_FOREIGN}}},
    {"RetriesWentBack",
     1000,
     {{1, 100, state_of(UP, 1000, 50, 90, 2), FTPC_OWN},
      {170, 200, state_of(UP, 1000, 60, 190, 1), FTPC_FOREIGN}}},
    {"ARetryBeginsAnew",
     1000,
     {{1, 100, state_of(UP, 1000, 50, 90), FTPC_OWN}, {170, 200, state_of(UP, 1000, 5, 3, 1), FTPC_OWN}}},
    {"SftpBeginsItsClockAnewOnceLoggedIn",
     1000,
     {{1, 100, state_of(UP, 0, 0, 90), FTPC_OWN}, {170, 200, state_of(UP, 1000, 0, 5), FTPC_OWN}}},
};

// Could another program's request have been served between two of ours?
static const case_t GAPS[] = {
    {"EveryPass",
     1000,
     {{1, 100, state_of(UP, 1000, 10, 90), FTPC_OWN},
      {170, 200, state_of(UP, 1000, 20, 190), FTPC_OWN},
      {270, 300, ended_of(UP, 1000, 1000, 210), FTPC_OWN}}},
    {"QueuedTogether", 1000, {{1, 2500, ended_of(UP, 1000, 1000, 10), FTPC_OWN, true}}},
    {"RoomForOneOther",
     1000,
     {{1, 100, state_of(UP, 1000, 10, 90), FTPC_OWN},
      {170, 320, ended_of(UP, 1000, 1000, 100), FTPC_UNSURE}}},
    {"RoomForTwoOthers",
     1000,
     {{1, 100, state_of(UP, 1000, 10, 90), FTPC_OWN},
      {170, 420, ended_of(UP, 1000, 1000, 150), FTPC_UNSURE}}},
    {"RoomForAnotherButTheJobIsOlder", // another's began 200 ms ago at most
     1000,
     {{1, 100, state_of(UP, 1000, 10, 90), FTPC_OWN}, {170, 400, ended_of(UP, 1000, 1000, 380), FTPC_OWN}}},
    {"RoomForAnotherAsOldAsTheJob",
     1000,
     {{1, 100, state_of(UP, 1000, 10, 90), FTPC_OWN},
      {1170, 1200, ended_of(UP, 1000, 1000, 900), FTPC_UNSURE}}},
    {"UnsureThenOldEnough",
     1000,
     {{1, 400, state_of(UP, 1000, 1, 100), FTPC_UNSURE}, {470, 500, state_of(UP, 1000, 10, 480), FTPC_OWN}}},
    {"UnsureStaysUnsure",
     1000,
     {{1, 400, state_of(UP, 1000, 1, 100), FTPC_UNSURE},
      {470, 500, state_of(UP, 1000, 10, 200), FTPC_UNSURE}}},
    // Our job may have failed at once and been joined in the pass that started it.
    {"RoomForOneOtherAtTheStart", 1000, {{60, 280, ended_of(UP, 1000, 1000, 60), FTPC_UNSURE}}},
    {"RoomForOneOtherThatRunsAtTheStart", 1000, {{60, 280, state_of(UP, 1000, 10, 60), FTPC_UNSURE}}},
    {"AnEarlyStartOfAnotherWipedOurResult",
     1000,
     {{60, 280, ended_of(UP, 0, 0, 0, FTPCLIENT_RESULT_INTERNAL), FTPC_UNSURE}}},
    {"RoomForTwoOthersAtTheStart", 1000, {{60, 380, ended_of(UP, 1000, 1000, 60), FTPC_UNSURE}}},
};

static std::string name_of(const testing::TestParamInfo<case_t> &info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Contradictions, Evidence, testing::ValuesIn(CONTRADICTIONS), name_of);
INSTANTIATE_TEST_SUITE_P(Gaps, Evidence, testing::ValuesIn(GAPS), name_of);

TEST(TwoReplies, AreConsecutiveOnlyWithoutRoomForAnother)
{
    const struct {
        ftpc_look_t look;
        int follows;
    } cases[] = {
        {{T0 + 170, T0 + 200, 0}, 1},
        {{T0 + 170, T0 + 310, 0}, 0},
        {{T0 + 170, T0 + 400, 0}, 0},
        {{T0 + 101, T0 + 4000, 1}, 1}, // queued directly behind the first
    };
    for (const auto &c : cases) {
        ftpc_evidence_t evidence;
        ftpc_evidence_begin(&evidence, UP, UNKNOWN, T0);
        const ftpclient_state_t state = state_of(UP, 0, 0, 90);
        const ftpc_look_t first = {T0 + 1, T0 + 100, 0};
        ASSERT_EQ(ftpc_evidence_judge(&evidence, &state, &first), FTPC_OWN);
        EXPECT_EQ(ftpc_evidence_follows(&evidence, &c.look), c.follows) << c.look.replied_ms - T0;
    }
}
