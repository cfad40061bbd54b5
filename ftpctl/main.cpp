// ftpctl: command-line client of the file-transfer daemon.
#include "ftpctl/report.h"

#include <csignal>

int main(int argc, char **argv)
{
    signal(SIGPIPE, SIG_IGN); // a closed reader is an ordinary write error
    options_t options;
    const std::optional<int> status = cli_parse(argc, argv, options);
    return status ? *status : report_run(options);
}
