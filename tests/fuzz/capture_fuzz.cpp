// A listing in pieces of any size must give the same entries and log lines as in one piece.
//
// Input: 4 bytes that seed the piece sizes, 1 byte that chooses the pattern and where the callback stops, the
// rest is the server's listing.
#include "curl_wrapper/curl_wrapper.h"
#include "curl_wrapper/listing_capture.h"
#include "require.h"
#include "support/logged.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

constexpr size_t HEAD_BYTES = 5;
constexpr size_t LONGEST_PIECE = 40;

struct entry_t {
    std::string line;
    std::string name;
    std::string owner;
    list_info_t rest; // its strings are freed
};

struct outcome_t {
    std::vector<entry_t> entries;
    lines log;
    bool matched = false;
};

bool operator==(const entry_t &one, const entry_t &other)
{
    const list_info_t &a = one.rest;
    const list_info_t &b = other.rest;
    return one.line == other.line && one.name == other.name && one.owner == other.owner && a.size == b.size &&
           a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
           a.minute == b.minute && a.attributes == b.attributes && a.is_link == b.is_link && a.kind == b.kind;
}

struct collector_t {
    outcome_t outcome;
    std::string pattern;
    size_t stop_after; // entries; 0 = never

    static int cb_entry(list_info_t *entry, void *context, int flag)
    {
        auto *self = static_cast<collector_t *>(context);
        auto &entries = self->outcome.entries;
        require(flag == 1, "the flag is 1");
        require(self->stop_after == 0 || entries.size() < self->stop_after,
                "no entry follows a callback that stopped");
        require(self->pattern[0] == '*' || self->pattern == entry->name, "an entry fits the pattern");
        require(entry->name[0] != '\0', "an entry has a name");
        require(strpbrk(entry->line, "\r\n") == nullptr && entry->line[0] != '\0',
                "a line is whole, without its end");
        require(entry->kind <= 2, "the kind is 0 to 2");
        entries.push_back({entry->line, entry->name, entry->owner, *entry});
        return entries.size() == self->stop_after ? 1 : 0;
    }
};

void check_buffer(const list_tmp_t *tmp)
{
    const dynamic_buffer_t *buffer = tmp->buffer;
    if (buffer == nullptr)
        return;
    require(buffer->length <= buffer->capacity, "the buffer holds what it has");
    require(std::all_of(buffer->data + buffer->length, buffer->data + buffer->capacity,
                        [](char byte) { return byte == 0; }),
            "the buffer is zero behind what it has");
    require(tmp->stop != 0 || memchr(buffer->data, 0, buffer->length) == nullptr,
            "no complete line is left waiting");
}

// `next_piece` returns the size of the next piece; the last one may be shorter.
outcome_t capture(std::string_view reply, const std::string &pattern, size_t stop_after, auto next_piece)
{
    collector_t collector{{}, pattern, stop_after};
    list_setting_info_t *info = list_setting_malloc(collector_t::cb_entry, &collector);
    require(info != nullptr, "there is memory");
    info->pattern = pattern.c_str();
    require(list_capture_start(info), "there is memory");
    logged();
    errno = 0;
    while (!reply.empty()) {
        std::string piece(reply.substr(0, next_piece()));
        reply.remove_prefix(piece.size());
        require(cb_list_write(piece.data(), 1, piece.size(), info) == piece.size(), "all data is taken");
        check_buffer(info->tmp);
    }
    collector.outcome.matched = list_capture_end(info);
    require(collector.outcome.entries.empty() || collector.outcome.matched, "an entry handed on has matched");
    list_setting_free(info);
    collector.outcome.log = logged();
    return collector.outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size <= HEAD_BYTES)
        return 0;
    uint32_t seed;
    memcpy(&seed, data, sizeof seed);
    uint8_t choice = data[4];
    std::string_view reply(reinterpret_cast<const char *>(data) + HEAD_BYTES, size - HEAD_BYTES);

    std::minstd_rand random(seed);
    auto in_pieces = [&random] { return 1 + random() % LONGEST_PIECE; };
    auto at_once = [&reply] { return reply.size(); };

    outcome_t whole = capture(reply, "*", 0, at_once);
    outcome_t pieces = capture(reply, "*", 0, in_pieces);
    require(whole.entries == pieces.entries, "pieces give the entries of the whole");
    require(whole.log == pieces.log, "pieces give the log of the whole");
    require(whole.matched == pieces.matched, "pieces match as the whole does");
    if (whole.entries.empty())
        return 0;

    // A single name, and an early stop.
    const std::string name = whole.entries[choice % whole.entries.size()].name;
    auto is_wanted = [&](const entry_t &entry) { return entry.name == name; };
    if (name[0] != '*') {
        outcome_t found = capture(reply, name, 0, in_pieces);
        std::vector<entry_t> wanted;
        std::copy_if(whole.entries.begin(), whole.entries.end(), std::back_inserter(wanted), is_wanted);
        require(found.entries == wanted, "the entries of that name are found");
    }
    size_t stop_after = 1 + choice % whole.entries.size();
    outcome_t stopped = capture(reply, "*", stop_after, in_pieces);
    whole.entries.resize(stop_after);
    require(stopped.entries == whole.entries, "the entries before the stop are handed on");
    return 0;
}
