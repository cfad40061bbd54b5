// The engine's callbacks, called in any order with any sizes while the job is cancelled and retried: each
// call must return, store and log what an independent model says.
//
// Input: the calls with their arguments (see step). Missing arguments are zeros.
#include "callbacks_bench.h"
#include "local_file.h"
#include "require.h"
#include "wire/result_codes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace
{

constexpr int MOST_STEPS = 200;
constexpr size_t MOST_BYTES = 6000; // in a local file

// libcurl's items always have 1 byte.
size_t item_bytes_from(dice_t *dice)
{
    const uint8_t drawn = dice->byte();
    return drawn < 200 ? 1 : drawn % 4;
}

size_t count_from(dice_t *dice)
{
    const size_t few = dice->byte();
    return dice->one_in(4) ? few + 256U * (dice->byte() % 20) : few;
}

void step_write(bench_t *bench, written_file_t *file)
{
    cb_file_info_t info = {&bench->handle, file->stream()};
    const size_t item_bytes = item_bytes_from(&bench->dice);
    const size_t count = count_from(&bench->dice);
    const uint8_t lacking = bench->dice.byte();
    std::string data(item_bytes * count, static_cast<char>(lacking));
    if (lacking == 1)
        return bench->refuses("curl_func(1442)", "Download data pointer is null.",
                              cb_write(nullptr, item_bytes, count, &info) == 0);
    if (lacking == 2)
        return bench->refuses("curl_func(1448)", "CURLOPT_WRITEDATA has not been set.",
                              cb_write(data.data(), item_bytes, count, nullptr) == 0);
    const std::string before = file->content();
    errno = 0;
    const size_t written = cb_write(data.data(), item_bytes, count, &info);
    const int number = errno;
    require(written <= count, "no more is written than there is");
    const std::string taken = file->content().substr(before.size());
    require(file->content().starts_with(before) && data.starts_with(taken),
            "the data goes behind what is there");
    require(item_bytes == 0 || written == taken.size() / item_bytes, "what is reported is in the file");
    require(item_bytes == 0 || written == count || file->is_full(), "all is written while there is room");
    if (written == count)
        return;
    bench->expect_errno_line("curl_func(1454)", number);
    bench->expected.error = FTPCD_ERR_LOCAL_WRITE;
}

void step_write_null(bench_t *bench)
{
    const size_t size = bench->dice.byte();
    const size_t count = bench->dice.byte();
    require(cb_write_null(nullptr, size, count, nullptr) == size * count, "everything is taken");
}

void step_read(bench_t *bench, read_file_t *file)
{
    cb_file_info_t info = {&bench->handle, file->stream()};
    const size_t item_bytes = item_bytes_from(&bench->dice);
    const size_t count = count_from(&bench->dice);
    const uint8_t lacking = bench->dice.byte();
    const auto buffer = std::make_unique<char[]>(item_bytes * count); // ends with its block
    if (lacking == 1)
        return bench->refuses("curl_func(1491)", "Upload data pointer is null.",
                              cb_read(nullptr, item_bytes, count, &info) == 0);
    if (lacking == 2)
        return bench->refuses("curl_func(1497)", "CURLOPT_READDATA has not been set.",
                              cb_read(buffer.get(), item_bytes, count, nullptr) == 0);
    const std::string_view next = file->take(item_bytes * count);
    const size_t whole_items = item_bytes == 0 ? 0 : next.size() / item_bytes;
    errno = 0;
    const size_t got = cb_read(buffer.get(), item_bytes, count, &info);
    const int number = errno;
    if (whole_items < count && file->has_failed()) {
        require(got == 0x10000000, "a file that cannot be read aborts the transfer");
        bench->expect_errno_line("curl_func(1504)", number);
        bench->expected.error = FTPCD_ERR_LOCAL_READ;
        return;
    }
    require(got == whole_items, "all is read that is there");
    require(std::equal(next.begin(), next.begin() + static_cast<ptrdiff_t>(got * item_bytes), buffer.get()),
            "what is read is the file's");
}

// Names that are sometimes equal, sometimes NULL.
const char *name_from(dice_t *dice)
{
    constexpr const char *NAMES[] = {"a", "b", "A", "", "a%s", nullptr};
    return NAMES[dice->byte() % std::size(NAMES)];
}

void expect_entry(bench_t *bench, const list_info_t &entry, const char *wanted)
{
    if (!(entry.is_link == 0 && entry.kind == 2) || entry.name == nullptr || wanted == nullptr)
        return;
    bench->expect_info_line("curl_func(1778)", entry.name + (", size: " + std::to_string(entry.size)));
    if (std::string_view(entry.name) != wanted)
        return;
    remote_file_t &found = bench->expected.remote_file;
    found = {1,           1,          entry.size,   entry.year,       entry.month,
             entry.day,   entry.hour, entry.minute, entry.attributes, entry.is_link,
             found.unused};
}

void step_list(bench_t *bench)
{
    dice_t *dice = &bench->dice;
    cb_list_info_t wanted = {name_from(dice), &job_};
    list_info_t entry = {};
    entry.name = const_cast<char *>(name_from(dice));
    entry.size = dice->word();
    entry.size *= dice->one_in(2) ? -1 : 4097;
    entry.year = static_cast<uint16_t>(dice->word());
    entry.month = dice->byte();
    entry.day = dice->byte();
    entry.hour = dice->byte();
    entry.minute = dice->byte();
    entry.attributes = static_cast<int16_t>(dice->word());
    entry.is_link = dice->one_in(4) ? dice->byte() : 0;
    entry.kind = dice->one_in(4) ? dice->byte() : 2;
    if (dice->one_in(8))
        return bench->refuses("curl_func(1754)", "'struct list_info_t' is not available.",
                              cb_list(nullptr, &wanted, 1) == 0);
    if (dice->one_in(8))
        return bench->refuses("curl_func(1760)", "'struct cb_list_info_t' has not been set.",
                              cb_list(&entry, nullptr, 1) == 1);
    expect_entry(bench, entry, wanted.name);
    require(cb_list(&entry, &wanted, 1) == 0, "the listing goes on");
}

// Text for the debug callback, with line ends and libcurl's own lines.
std::string conversation_from(dice_t *dice)
{
    constexpr std::string_view PARTS[] = {"\r\n",
                                          "\n",
                                          "\r",
                                          std::string_view("", 1),
                                          "Callback aborted",
                                          "Callback aborte",
                                          "Callback aborted now",
                                          "Operation timed out"};
    std::string text;
    while (!dice->is_empty()) {
        const uint8_t drawn = dice->byte();
        if (drawn == 0xFF)
            break;
        if (drawn >= 0xF0)
            text += PARTS[drawn % std::size(PARTS)];
        else
            text += static_cast<char>(drawn);
    }
    return text;
}

void expect_conversation(bench_t *bench, unsigned type, std::string_view text)
{
    if (type >= 3)
        return;
    text = text.substr(0, text.find('\0'));
    size_t begin = 0;
    for (size_t at = 0; at < text.size(); at++) {
        if (text[at] != '\r' && text[at] != '\n')
            continue;
        const std::string line(text.substr(begin, at - begin));
        begin = at + 1;
        if (line.empty())
            continue;
        if (type == CURLINFO_TEXT &&
            (line.starts_with("Operation timed out") ||
             line.starts_with("Could not open directory for reading: Unknown error")))
            bench->operation_timed_out = 1;
        if (line.starts_with("Callback aborted")) {
            if (bench->callback_aborted_logged != 0)
                continue;
            bench->callback_aborted_logged = 1;
        }
        bench->log.push_back(std::string(1, "*<>"[type]) + " " + line);
    }
}

void step_debug(bench_t *bench)
{
    const unsigned type = bench->dice.byte() % 8;
    const std::string text = conversation_from(&bench->dice);
    const auto exact = std::make_unique<char[]>(text.size()); // ends with its block
    std::copy(text.begin(), text.end(), exact.get());
    const bool lacking = bench->dice.one_in(16);
    if (!lacking)
        expect_conversation(bench, type, text);
    require(debug_cb(nullptr, static_cast<curl_infotype>(type), lacking ? nullptr : exact.get(), text.size(),
                     &bench->handle) == 0,
            "the debug callback returns 0");
}

// What happens to the job between calls.
void step_job(bench_t *bench)
{
    const uint8_t drawn = bench->dice.byte();
    switch (drawn % 5) {
    case 0: // command 4
        job_.record.module_info.cancel = drawn >= 128 ? 1 : 0;
        break;
    case 1: // the next try
        bench->timeout.last_updated_time = bench->expected.last_updated_time = 0;
        bench->timeout.timed_out = bench->expected.timed_out = 0;
        bench->timeout.last_amount = bench->last_amount = 0;
        bench->handle.error = bench->expected.error = 0;
        break;
    case 2: // the next perform
        bench->handle.callback_aborted_logged = bench->callback_aborted_logged = 0;
        bench->handle.operation_timed_out = bench->operation_timed_out = 0;
        break;
    case 3:
        bench->timeout.connection_limit = static_cast<int32_t>(bench->dice.byte()) * 8 - 16;
        break;
    default: // the next job
        job_.record.module_info.exec = drawn >= 250 ? drawn : drawn / 5 % 4U;
    }
}

void step(bench_t *bench, written_file_t *written, read_file_t *read)
{
    switch (bench->dice.byte() % 11) {
    case 0:
        return step_write(bench, written);
    case 1:
        return step_write_null(bench);
    case 2:
        return step_read(bench, read);
    case 3:
    case 4:
        return step_progress(bench);
    case 5:
        return step_progress_null(bench);
    case 6:
        return step_list(bench);
    case 7:
        return step_debug(bench);
    case 8:
        return bench->dice.one_in(4) ? step_ssl_ctx(bench) : step_verify(bench);
    case 9:
        return step_sshkey(bench);
    default:
        return step_job(bench);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    bench_t bench({data, size});
    const size_t room_bytes = bench.dice.word() % MOST_BYTES;
    const size_t size_bytes = bench.dice.word() % MOST_BYTES;
    const size_t broken_at = bench.dice.one_in(4) ? bench.dice.word() % MOST_BYTES : SIZE_MAX;
    written_file_t written(room_bytes);
    read_file_t read(size_bytes, broken_at);
    for (int steps = 0; steps < MOST_STEPS && !bench.dice.is_empty(); steps++) {
        step(&bench, &written, &read);
        bench.check();
    }
    return 0;
}
