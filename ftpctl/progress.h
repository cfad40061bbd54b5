// Shows a running job on standard error: a bar on a terminal, plain lines elsewhere. A failure to write is
// ignored: the job continues.
#pragma once

#include "ftpctl/progress_text.h"

#include <string>

class progress_display
{
public:
    // If `show` is false, it shows no progress.
    explicit progress_display(bool show);
    // Erases the bar.
    ~progress_display() { clear(); }
    progress_display(const progress_display &) = delete;
    progress_display &operator=(const progress_display &) = delete;

    // Shows the current progress: a bar at once, a plain line when one is due.
    void update(const ftpclient_progress_t &progress);

    // Prints a separate line; a bar continues below it.
    void say(const std::string &line);

private:
    bool show_;
    bool is_terminal_;
    bool has_bar_ = false;
    rate_meter rate_;
    line_pace pace_;

    void clear();
};
