// ftpctl: hands jobs to the file-transfer daemon from a shell.
#include "tools/cli.h"
#include "tools/failure.h"

#include <csignal>
#include <cstdio>
#include <exception>

int main(int argc, char **argv)
{
    signal(SIGPIPE, SIG_IGN); // a reader that goes away is an error like others
    options_t options;
    try {
        const std::optional<int> status = cli_parse(argc, argv, options);
        return status ? *status : options.run(options);
    } catch (const failure &error) {
        fprintf(stderr, "ftpctl: %s\n", error.what());
        return error.status;
    } catch (const std::exception &error) {
        fprintf(stderr, "ftpctl: %s\n", error.what());
        return STATUS_LOCAL;
    }
}
