#include "ftpctl/interrupts.h"

#include "program.h"
#include "refused.h"

#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <unistd.h>

namespace
{

bool is_readable(int fd)
{
    pollfd waiting = {fd, POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
}

// Runs `play` in a process of its own.
int status_of_playing(void (*play)())
{
    const pid_t child = fork();
    if (child == 0) {
        play();
        exit(0);
    }
    return status_of(child);
}

void expect(bool right)
{
    if (!right)
        _exit(1);
}

template <int NUMBER> void play_one()
{
    interrupts_catch();
    expect(!interrupts_seen() && !is_readable(interrupts_fd()));
    raise(NUMBER);
    expect(interrupts_seen() && is_readable(interrupts_fd()) && is_readable(interrupts_fd()));
}

} // namespace

TEST(Interrupts, AreRememberedAndASecondOneOfAnyKindEndsTheProgram)
{
    const struct {
        void (*play)();
        int status;
    } rows[] = {
        {[] { expect(interrupts_fd() == -1 && !interrupts_seen()); }, 0},
        {[] { // an ignored hang-up stays ignored
             signal(SIGHUP, SIG_IGN);
             interrupts_catch();
             raise(SIGHUP);
             expect(!interrupts_seen());
             raise(SIGTERM);
             expect(interrupts_seen());
         },
         0},
        {play_one<SIGINT>, 0},
        {play_one<SIGTERM>, 0},
        {play_one<SIGHUP>, 0},
        {[] { play_one<SIGINT>(), raise(SIGINT); }, 128 + SIGINT},
        {[] { play_one<SIGHUP>(), raise(SIGTERM); }, 128 + SIGTERM},
    };
    for (const auto &row : rows)
        EXPECT_EQ(status_of_playing(row.play), row.status) << "row " << &row - rows;
}

TEST(Interrupts, ThatCannotBeCaughtAreReportedInOneLine)
{
    EXPECT_EQ(failure_without_descriptors(interrupts_catch), "1 eventfd: Too many open files");
}

TEST(Interrupts, TheTwoHangupsOfAClosingTerminalAreOne)
{
    const auto two_in_a_row = [] {
        play_one<SIGHUP>();
        raise(SIGHUP);
    };
    int status = -1;
    for (int tries = 0; tries < 5 && status != 0; tries++) // a delay between the two makes them two
        status = status_of_playing(two_in_a_row);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(status_of_playing([] {
                  play_one<SIGHUP>();
                  usleep(1100000);
                  raise(SIGHUP);
              }),
              128 + SIGHUP);
}
