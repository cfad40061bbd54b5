// One line of any bytes through the listing parser: detection, then resolution by the detected layout and by
// some other numbers. All must stay within bounds and agree with the model.
#include "listparse/listparse.h"
#include "reading.h"

#include <numeric>

// The parser trusts the number: with a wrong one the result may be nonsense, but must come from within the
// line. Each line is tried with a few numbers that its bytes choose.
static void check_other_numbers(std::string_view line)
{
    constexpr unsigned NUMBERS = 50;
    constexpr unsigned TRIED = 4;
    constexpr list_format_t FLAGS[] = {0, LIST_FMT_FLAG_NAME14, LIST_FMT_FLAG_LNK,
                                       LIST_FMT_FLAG_NAME14 | LIST_FMT_FLAG_LNK};
    unsigned sum = std::accumulate(line.begin(), line.end(), 0u, [](unsigned before, char byte) {
        return before * 31 + static_cast<uint8_t>(byte);
    });
    for (unsigned i = 0; i < TRIED; i++) {
        list_format_t format = static_cast<list_format_t>((sum + i * 13) % NUMBERS) | FLAGS[i];
        check_resolution_by(line, format);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view line = line_of_input(data, size);
    check_reading(line);
    check_other_numbers(line);
    return 0;
}
