#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

// A copy at any alignment that ends with its heap block, so that the sanitizer sees any further read.
class exact_copy
{
public:
    explicit exact_copy(std::string_view line)
    {
        constexpr size_t ALIGNMENTS = 16;
        size_t front = line.empty() ? 0 : static_cast<uint8_t>(line.back()) % ALIGNMENTS;
        block_ = std::make_unique<char[]>(front + line.size() + 1);
        text_ = block_.get() + front;
        std::copy(line.begin(), line.end(), text_);
    }
    char *get() const { return text_; }

private:
    std::unique_ptr<char[]> block_;
    char *text_;
};
