// Runs the worker to its end on the test's own thread, with scripted transfers.
#pragma once

#include "curl_func/worker.h"
#include "job_fixture.h"

#include <functional>
#include <string>
#include <utility>

inline const calls END{"limit_farewell()", "cleanup()", "global_cleanup()"};

inline const calls SETTINGS{
    "path_as_is(1)",     "url_ex(0, \"srv\", \"d/f.bin\")", "port(0)",        "username_password(\"\", \"\")",
    "proxy(0, \"\", 0)", "tcp_keepalive(1, 60, 60)",        "maxconnects(1)", "ftp_use_eprt_epsv(0)"};

class Worker : public JobFixture
{
protected:
    Worker()
    {
        job_.record.module_info.running = 1;
        SET_TEXT(request.host, "srv");
        SET_TEXT(request.remote_path, "d/f.bin");
        request.passive_mode = 1;
        set_local_path(path("local"));
    }

    ~Worker() override { logged(); } // of a test that is not about the log

    void set_local_path(const std::string &name) { SET_TEXT(request.local_path, name); }

    uint32_t run(uint32_t kind)
    {
        job_.record.module_info.exec = kind;
        th_exec(&job_);
        EXPECT_TRUE(wrapper_.tries.empty()) << "a try was not made";
        return job_.record.module_info.result;
    }

    void script(std::function<void(curl_e_handle_t *)> play) { wrapper_.tries.push_back(std::move(play)); }

    static size_t receive(std::string data)
    {
        return wrapper_.write(data.data(), 1, data.size(), wrapper_.write_data);
    }

    static std::string send(size_t size)
    {
        std::string data(size, '\0');
        data.resize(wrapper_.read(data.data(), 1, size, wrapper_.read_data));
        wrapper_.size_upload += static_cast<double>(data.size());
        return data;
    }

    static void send_all(curl_e_handle_t *) { send(1000); }

    static int progress(double dltotal, double dlnow, double ultotal = 0, double ulnow = 0)
    {
        return wrapper_.progress(wrapper_.progress_data, dltotal, dlnow, ultotal, ulnow);
    }

    // A try during which the job is cancelled.
    static void meets_a_cancel(curl_e_handle_t *handle)
    {
        job_.record.module_info.cancel = 1;
        EXPECT_EQ(progress(10, 5, 10, 5), 1);
        handle->curl_code = 42;
    }

    static int list(const char *name, int64_t size)
    {
        list_info_t entry{};
        entry.name = const_cast<char *>(name);
        entry.size = size;
        entry.kind = LIST_KIND_FILE;
        return wrapper_.list(&entry, wrapper_.list_context, 1);
    }

    static void expect_all_given_back()
    {
        const calls &asked = wrapper_.asked;
        ASSERT_GE(asked.size(), 3u);
        EXPECT_EQ(calls(asked.end() - 3, asked.end()), END);
    }

    // The job ends at each of these options when it is refused.
    void expect_stops_at_each(uint32_t kind, const calls &options)
    {
        for (const std::string &refused : options) {
            wrapper_ = {};
            wrapper_.refused = refused;
            EXPECT_EQ(run(kind), 5u) << refused;
            EXPECT_EQ(wrapper_.performed, 0);
            expect_all_given_back();
            const std::string &last = wrapper_.asked[wrapper_.asked.size() - 1 - END.size()];
            EXPECT_EQ(last.substr(0, last.find('(')), refused);
        }
    }

    transfer_request_t &request = job_.record.request;
    exec_info_t &shown = job_.record.exec_info;
    remote_file_t &remote_file = job_.record.remote_file;
};

class Upload : public Worker
{
protected:
    // Makes the job resume after `size` bytes.
    void resume_at(int64_t size) { remote_file = {1, 1, size, 0, 0, 0, 0, 0, 0, 0, 0}; }

    const std::string local = write("local", "0123456789");
    const std::string upload_from_start = "upload(\"" + local + "\", 0, -1)";
};

// The wrapper calls of a job: those before and after every transfer, and `transfer` between them.
inline calls frame(const calls &transfer)
{
    calls all{"global_init(3)",         "init()",           "verbose(1)",
              "copy.quick_exit(1)",     "copy.nosignal(1)", "copy.closesocketfunc_data()",
              "copy.sockoptfunc_data()"};
    for (const calls &part : {transfer, END})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// The same for a transfer with the settings of plain FTP.
inline calls story(calls transfer)
{
    transfer.insert(transfer.begin(), SETTINGS.begin(), SETTINGS.end());
    return frame(transfer);
}
