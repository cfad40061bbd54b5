// Records in words, for people: one line each, without a newline.
#pragma once

#include "wire/wire.h"

#include <cstdint>
#include <string>

// The response_code_type of Zixi jobs, which have a library error instead of codes.
constexpr uint32_t TEXT_ZIXI_RESPONSE_CODE_TYPE = 3;

// "4096 B", "1.5 kB", "5.4 GB": decimal units, one decimal.
std::string text_size(double bytes);

// "0:07", "12:34", "1:02:03".
std::string text_duration(double seconds);

// A count of bytes as it came, whole; 0 for what is no count.
int64_t text_bytes(double bytes);

// "download", "upload", "file information"; "no job" for anything else.
const char *text_job_kind(uint32_t exec);

// What a result alone does not tell, e.g. "libcurl code 28, server answered 426, 4 retries"; "" when there is
// nothing.
std::string text_details(const exec_info_t &info);

// How far the job came: "1234 of 5678 bytes in 3.2 s", and the details.
std::string text_outcome(const exec_info_t &info);

std::string text_state(const module_info_t &module_info, const exec_info_t &exec_info);

// `name` is how the user calls the file.
std::string text_remote_file(const std::string &name, const remote_file_t &file);

// The local time now, "2024-05-01 12:34:56".
std::string text_now();
