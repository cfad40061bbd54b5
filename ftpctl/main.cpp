// ftpctl: hands jobs to the file-transfer daemon from a shell.
#include "ftpctl/report.h"

#include <csignal>

int main(int argc, char **argv)
{
    signal(SIGPIPE, SIG_IGN); // a reader that goes away is an error like others
    options_t options;
    const std::optional<int> status = cli_parse(argc, argv, options);
    return status ? *status : report_run(options);
}
