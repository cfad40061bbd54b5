#include "ftpctl/progress.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

static double now_s()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static bool can_show_bar()
{
    const char *term = getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && term != nullptr && std::string_view(term) != "dumb";
}

static size_t terminal_width()
{
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col - 1u : 79;
}

progress_display::progress_display(bool show) : show_(show), is_terminal_(can_show_bar()) {}

void progress_display::update(const ftpclient_progress_t &progress)
{
    if (!show_)
        return;
    rate_.sample(now_s(), progress.transferred_bytes);
    if (is_terminal_) {
        fprintf(stderr, "\r%s\033[K", progress_bar(progress, rate_.bytes_per_s(), terminal_width()).c_str());
        has_bar_ = true;
    } else if (pace_.is_due(now_s(), progress)) {
        fprintf(stderr, "%s\n", progress_line(progress, rate_.bytes_per_s()).c_str());
    }
}

void progress_display::say(const std::string &line)
{
    clear();
    fprintf(stderr, "%s\n", line.c_str());
}

void progress_display::clear()
{
    if (has_bar_)
        fputs("\r\033[K", stderr);
    has_bar_ = false;
}
