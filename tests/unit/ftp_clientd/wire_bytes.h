// Messages byte by byte as they are on the wire, independent of the records of the code under test.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using bytes = std::vector<uint8_t>;

// Little-endian 32-bit words.
template <typename... Words> bytes words(Words... values)
{
    bytes all;
    for (const int64_t value : {static_cast<int64_t>(values)...})
        for (unsigned shift = 0; shift < 32; shift += 8)
            all.push_back(static_cast<uint8_t>(static_cast<uint64_t>(value) >> shift));
    return all;
}

inline bytes operator+(bytes head, const bytes &tail)
{
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

inline bytes text_bytes(std::string_view text) { return {text.begin(), text.end()}; }

// `count` bytes, each different from its neighbours and from those of another `first`.
inline bytes pattern(size_t count, uint8_t first)
{
    bytes all;
    for (size_t at = 0; at < count; at++)
        all.push_back(static_cast<uint8_t>(first + at * 7));
    return all;
}

// A part of a message.
inline bytes part(const bytes &whole, size_t offset, size_t size)
{
    const auto first = whole.begin() + static_cast<bytes::difference_type>(offset);
    return {first, first + static_cast<bytes::difference_type>(size)};
}

// The 2080-byte body of commands 1, 2 and 5. A new one is valid: the remote path is "f", the host "h",
// every other string is empty, every word 0.
struct raw_request {
    bytes body = bytes(2080);

    raw_request() { text(0, "f").text(768, "h"); }
    raw_request &word(size_t offset, uint32_t value)
    {
        const bytes four = words(value);
        std::copy(four.begin(), four.end(), body.begin() + static_cast<bytes::difference_type>(offset));
        return *this;
    }
    raw_request &protocol(uint32_t value) { return word(1288, value); }
    raw_request &proxy_type(uint32_t value) { return word(1552, value); }
    raw_request &text(size_t offset, std::string_view value)
    {
        std::copy(value.begin(), value.end(), body.begin() + static_cast<bytes::difference_type>(offset));
        return *this;
    }
    // Fills the field without a terminator.
    raw_request &filled(size_t offset, size_t size) { return text(offset, std::string(size, 'a')); }
};
