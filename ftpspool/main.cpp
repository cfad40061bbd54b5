// ftpspool: an upload queue that survives crashes and power cuts.
#include "ftpspool/spool_commands.h"

#include <csignal>

int main(int argc, char **argv)
{
    signal(SIGPIPE, SIG_IGN); // a closed reader is an ordinary write error
    spool_options_t options;
    const std::optional<int> status = spool_cli_parse(argc, argv, options);
    return status ? *status : spool_main(options);
}
