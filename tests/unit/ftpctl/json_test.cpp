#include "ftpctl/json.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;
using testing::HasSubstr;

namespace
{

ftpclient_progress_t moved() { return {5368709120, 4294967296, 12500, 28, -77, 1, 426, 4, 0}; }

json moved_json()
{
    return {{"total_bytes", 5368709120}, {"transferred_bytes", 4294967296},
            {"elapsed_s", 12.5},         {"curl_code", 28},
            {"zixi_error", nullptr},     {"response_type", 1},
            {"response_code", 426},      {"retries", 4}};
}

report_t report_of(int status, const std::string &message)
{
    report_t report;
    report.command = "put";
    report.status = status;
    report.message = message;
    return report;
}

// An object with every key and all values unknown.
json empty_json(int status, const json &error, const std::string &message)
{
    return {{"command", "put"}, {"status", status},  {"error", error},     {"message", message},
            {"local", nullptr}, {"remote", nullptr}, {"job", nullptr},     {"upload", nullptr},
            {"file", nullptr},  {"state", nullptr},  {"identity", nullptr}};
}

ftpclient_outcome_t outcome_of(int result)
{
    ftpclient_outcome_t outcome = {};
    outcome.result = result;
    outcome.jobs = 1;
    outcome.local_bytes = outcome.remote_bytes = FTPCLIENT_UNKNOWN;
    outcome.progress = moved();
    return outcome;
}

report_t report_of_job(int job, int status = 0)
{
    report_t report = report_of(status, "");
    report.job = job;
    report.outcome = outcome_of(0);
    report.outcome->file = {5368709120, 0, 1, 1, 2024, 5, 1, 12, 34, 0x644, 0, 0};
    return report;
}

} // namespace

TEST(Json, EveryKeyIsAlwaysThere)
{
    EXPECT_EQ(json::parse(json_report(report_of(0, "done"))), empty_json(0, nullptr, "done"));
    EXPECT_EQ(json::parse(json_report(report_of(50, "no"))), empty_json(50, "login-refused", "no"));
    EXPECT_EQ(json::parse(json_report(report_of(3, "no"))), empty_json(3, "no-daemon", "no"));
}

TEST(Json, AFailureReportedBeforeHasTheMeaningOfItsStatus)
{
    EXPECT_EQ(json::parse(json_report(report_of(9, "")))["message"],
              "watch, listen: a command of --exec failed");
}

TEST(Json, IsOneLineOfWholeNumbers)
{
    report_t report = report_of_job(FTPCLIENT_UPLOAD);
    report.message = "two\nlines";
    const std::string text = json_report(report);
    EXPECT_EQ(text.find('\n'), text.npos);
    EXPECT_THAT(text, HasSubstr("\"total_bytes\":5368709120,"));
}

TEST(Json, ANameThatIsNotUtf8StillGivesValidJson)
{
    report_t report = report_of(0, "a\xFF");
    report.local = "/a\xFF";
    EXPECT_EQ(json::parse(json_report(report))["local"], "/a\xEF\xBF\xBD");
}

TEST(Json, AnUploadHasItsJob)
{
    report_t report = report_of_job(FTPCLIENT_UPLOAD);
    report.local = "/tmp/f";
    report.remote = "ftp://h/f";
    const json object = json::parse(json_report(report));
    EXPECT_EQ(object["local"], "/tmp/f");
    EXPECT_EQ(object["remote"], "ftp://h/f");
    EXPECT_EQ(object["job"], (json{{"kind", "upload"},
                                   {"result", 0},
                                   {"result_name", "FTPCD_ERR_NONE"},
                                   {"progress", moved_json()}}));
    EXPECT_EQ(object["file"], nullptr);
}

TEST(Json, EachKindOfUploadHasAWord)
{
    const json words[] = {nullptr, "whole", "rest", "nothing", "mended"};
    for (int upload = 0; upload <= FTPCLIENT_UPLOAD_MENDED; upload++) {
        report_t report = report_of_job(FTPCLIENT_UPLOAD);
        report.outcome->upload = upload;
        report.outcome->local_bytes = upload == 0 ? FTPCLIENT_UNKNOWN : 10;
        report.outcome->remote_bytes = upload == 0 ? FTPCLIENT_UNKNOWN : 12;
        report.outcome->resumed_bytes = 4;
        report.outcome->verified = upload % 2;
        EXPECT_EQ(json::parse(json_report(report))["upload"],
                  (json{{"sent", words[upload]},
                        {"local_bytes", upload == 0 ? json(nullptr) : json(10)},
                        {"resumed_bytes", 4},
                        {"remote_bytes", upload == 0 ? json(nullptr) : json(12)},
                        {"verified", upload % 2 == 1},
                        {"may_be_spoiled", false}}));
    }
}

TEST(Json, AJobThatNeverRanOrIsUnknownIsNull)
{
    report_t report = report_of_job(FTPCLIENT_DOWNLOAD, STATUS_BUSY);
    report.outcome->jobs = 0;
    EXPECT_EQ(json::parse(json_report(report))["job"], nullptr);
    report.outcome->jobs = 1;
    report.status = STATUS_UNKNOWN;
    EXPECT_EQ(json::parse(json_report(report))["job"], nullptr);
}

TEST(Json, OnlyAZixiJobHasAZixiError)
{
    ftpclient_progress_t progress = moved();
    progress.response_type = 3;
    EXPECT_EQ(json::parse(json_progress("put", progress))["progress"]["zixi_error"], -77);
}

TEST(Json, AFileHasTheValuesOfItsListing)
{
    EXPECT_EQ(json::parse(json_report(report_of_job(FTPCLIENT_FILE_INFO)))["file"],
              (json{{"exists", true},
                    {"size_bytes", 5368709120},
                    {"modified", "2024-05-01T12:34"},
                    {"year", 2024},
                    {"month", 5},
                    {"day", 1},
                    {"hour", 12},
                    {"minute", 34},
                    {"permissions", "rw-r--r--"},
                    {"is_link", false}}));
}

TEST(Json, ValuesMissingFromTheListingAreNull)
{
    report_t report = report_of_job(FTPCLIENT_FILE_INFO);
    report.outcome->file = {FTPCLIENT_UNKNOWN, FTPCLIENT_UNKNOWN, 1, 1, -1, -1, -1, -1, -1, -1, 1, 0};
    const json file = json::parse(json_report(report))["file"];
    for (const char *key :
         {"size_bytes", "modified", "year", "month", "day", "hour", "minute", "permissions"})
        EXPECT_EQ(file[key], nullptr) << key;
    EXPECT_EQ(file["is_link"], true);
}

TEST(Json, AMissingFileHasNoOtherValues)
{
    report_t report = report_of_job(FTPCLIENT_FILE_INFO, STATUS_NO_FILE);
    report.outcome->file.exists = 0;
    EXPECT_EQ(json::parse(json_report(report))["file"], (json{{"exists", false}}));
    EXPECT_EQ(json::parse(json_report(report_of_job(FTPCLIENT_FILE_INFO, 36)))["file"], nullptr)
        << "a failed look-up knows no file";
}

TEST(Json, AStateHasItsJob)
{
    report_t report = report_of(0, "");
    report.state = {1, FTPCLIENT_UPLOAD, 0, 1, moved()};
    EXPECT_EQ(json::parse(json_report(report))["state"], (json{{"running", true},
                                                               {"cancelled", true},
                                                               {"kind", "upload"},
                                                               {"result", 0},
                                                               {"result_name", "FTPCD_ERR_NONE"},
                                                               {"progress", moved_json()}}));
    report.state = ftpclient_state_t{};
    EXPECT_EQ(json::parse(json_report(report))["state"]["kind"], nullptr);
}

TEST(Json, ANoticeHasItsJob)
{
    EXPECT_EQ(json::parse(json_notice({FTPCLIENT_NOTICE_UPLOAD_DONE, 16, moved()}, 1700000000)),
              (json{{"event", "upload"},
                    {"time", 1700000000},
                    {"job",
                     {{"kind", "upload"},
                      {"result", 16},
                      {"result_name", "FTPCD_ERR_NETWORK"},
                      {"progress", moved_json()}}}}));
    EXPECT_EQ(
        json::parse(json_notice({FTPCLIENT_NOTICE_STARTED, 5, {}}, 5)),
        (json{{"event", "started"}, {"time", 5}, {"result", 5}, {"result_name", "FTPCD_ERR_INTERNAL"}}));
}

TEST(Json, AnIdentityHasOnlyItsOwnKeys)
{
    report_t report = report_of(0, "");
    server_identity_t identity;
    identity.subject = "CN = a";
    identity.key_type = "RSA";
    identity.key_bits = 2048;
    identity.sha256 = "AA";
    identity.digest = "BB";
    identity.pin = "sha1:BB";
    report.server = "h:990";
    report.identity = identity;
    const json certificate = json::parse(json_report(report))["identity"];
    EXPECT_EQ(certificate["server"], "h:990");
    EXPECT_EQ(certificate["kind"], "certificate");
    EXPECT_EQ(certificate["subject"], "CN = a");
    EXPECT_EQ(certificate["key_bits"], 2048);
    EXPECT_EQ(certificate["sha1"], "BB");
    EXPECT_FALSE(certificate.contains("md5"));
    report.identity->kind = server_identity_t::HOST_KEY;
    report.identity->type = "ssh-rsa";
    const json key = json::parse(json_report(report))["identity"];
    EXPECT_EQ(key["kind"], "host key");
    EXPECT_EQ(key["type"], "ssh-rsa");
    EXPECT_EQ(key["md5"], "BB");
    EXPECT_FALSE(key.contains("subject"));
}
