// The lower bound for the daemon's figures: only runs each job in libcurl with the same options.
//   floor SOCKET         without a log
//   floor SOCKET log     logs libcurl's and the server's lines, as the daemon does
// A job is a line "KIND<tab>URL<tab>LOCAL FILE", KIND upload, upload-twice (logs in once before, as the
// daemon does over SFTP), download, list or wildcard (local file unused); the reply is its CURLcode. Logs in
// as alice unless the URL says otherwise; accepts any server's certificate or key. Runs one job at a time, on
// its only thread.
#include <cstdio>
#include <cstring>
#include <curl/curl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace
{

struct job_t {
    std::string kind, url, local;
};

int take_any_key(CURL *, const curl_khkey *, const curl_khkey *, curl_khmatch, void *)
{
    return CURLKHSTAT_FINE;
}

bool logs_;

int log_lines(CURL *, curl_infotype type, char *data, size_t size, void *)
{
    if (type > CURLINFO_HEADER_OUT)
        return 0;
    while (size > 0 && (data[size - 1] == '\n' || data[size - 1] == '\r'))
        --size;
    syslog(LOG_INFO, "%c %.*s\n", "*<>"[type], static_cast<int>(size), data);
    return 0;
}

size_t drop(char *, size_t size, size_t count, void *) { return size * count; }

long skip(const curl_fileinfo *, void *, int) { return CURL_CHUNK_BGN_FUNC_SKIP; }

void set_connection(CURL *curl, const job_t &job)
{
    curl_easy_setopt(curl, CURLOPT_URL, job.url.c_str());
    if (job.url.find('@') == std::string::npos) {
        curl_easy_setopt(curl, CURLOPT_USERNAME, "alice");
        curl_easy_setopt(curl, CURLOPT_PASSWORD, "secret");
    }
    curl_easy_setopt(curl, CURLOPT_VERBOSE, logs_ ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, log_lines);
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXCONNECTS, 1L);
    curl_easy_setopt(curl, CURLOPT_FTP_USE_EPSV, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_SSH_KNOWNHOSTS, "");
    curl_easy_setopt(curl, CURLOPT_SSH_KEYFUNCTION, take_any_key);
    curl_easy_setopt(curl, CURLOPT_SSH_AUTH_TYPES, static_cast<long>(CURLSSH_AUTH_PASSWORD));
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 60L);
    if (job.url.starts_with("ftps:"))
        curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
}

// The open local file, nullptr if the job has none.
FILE *set_file(CURL *curl, const job_t &job)
{
    if (job.kind == "list" || job.kind == "wildcard") {
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, drop);
        curl_easy_setopt(curl, CURLOPT_WILDCARDMATCH, job.kind == "wildcard" ? 1L : 0L);
        curl_easy_setopt(curl, CURLOPT_CHUNK_BGN_FUNCTION, skip);
        return nullptr;
    }
    const bool upload = job.kind.starts_with("upload");
    FILE *file = fopen(job.local.c_str(), upload ? "rb" : "wb");
    if (file == nullptr || !upload) {
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, file);
        return file;
    }
    struct stat status;
    fstat(fileno(file), &status);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_READDATA, file);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(status.st_size));
    if (job.url.starts_with("sftp:"))
        curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, 2L << 20);
    return file;
}

CURLcode log_in(CURL *curl)
{
    curl_easy_setopt(curl, CURLOPT_CONNECT_ONLY, 1L);
    const CURLcode code = curl_easy_perform(curl);
    curl_easy_setopt(curl, CURLOPT_CONNECT_ONLY, 0L);
    return code;
}

CURLcode run(const job_t &job)
{
    CURL *curl = curl_easy_init();
    set_connection(curl, job);
    if (job.kind == "upload-twice")
        log_in(curl);
    FILE *file = set_file(curl, job);
    const CURLcode code = curl_easy_perform(curl);
    if (file != nullptr)
        fclose(file);
    curl_easy_cleanup(curl);
    return code;
}

job_t read_job(int connection)
{
    std::string line;
    for (char byte = 0; read(connection, &byte, 1) == 1 && byte != '\n';)
        line += byte;
    const size_t first = line.find('\t'), second = line.find('\t', first + 1);
    return {line.substr(0, first), line.substr(first + 1, second - first - 1), line.substr(second + 1)};
}

} // namespace

int main(int argc, char **argv)
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (argc < 2 || strlen(argv[1]) >= sizeof address.sun_path)
        return 2;
    logs_ = argc > 2;
    openlog("floor", LOG_PID, LOG_USER);
    strcpy(address.sun_path, argv[1]);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, 8) != 0)
        return 1;
    curl_global_init(CURL_GLOBAL_DEFAULT);
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection == -1)
            return 1;
        dprintf(connection, "%d\n", run(read_job(connection)));
        close(connection);
    }
}
