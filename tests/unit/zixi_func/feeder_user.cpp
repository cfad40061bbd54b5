// feeder_user LOCAL_FILE
// Uploads a file through the engine, with whichever libzixiFeeder.so the loader finds, and prints what was
// logged and how it ended.
#include "job_slot/job_record.h"
#include "support/logged.h"
#include "zixi_func/zixi_func.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

int main(int argc, char **argv)
{
    transfer_request_t request = {};
    const auto bytes = reinterpret_cast<char *>(&request);
    snprintf(request.remote_path, sizeof request.remote_path, "in/box/film.ts");
    snprintf(request.local_path, sizeof request.local_path, "%s", argc > 1 ? argv[1] : "");
    snprintf(request.host, sizeof request.host, "zixi.test");
    strcpy(bytes + ZIXI_USER_OFFSET, "ann");
    strcpy(bytes + ZIXI_PASSWORD_OFFSET, "sesame");
    request.port = 2088;

    if (zixif_init() != 0 || zixif_ftp_upload(&request) != FTPCD_ERR_NONE)
        return 1;
    int rc;
    while ((rc = zixif_finished()) == -1)
        usleep(10000);
    job_record_t job;
    zixif_get_state(&job);
    for (const std::string &line : logged())
        fputs(line.c_str(), stdout);
    printf("joined %d result %u error %d sent %.0f of %.0f\n", rc, job.module_info.result,
           static_cast<int>(job.exec_info.zixi_error), job.exec_info.transferred_size,
           job.exec_info.total_size);
    return 0;
}
