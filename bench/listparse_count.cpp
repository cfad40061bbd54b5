// Reads a listing repeatedly so that bench/parser can count the instructions.
//
//     listparse_count parse|split unix|dos ROUNDS
//
// The difference between two runs is the cost of the additional rounds, without the start and the creation of
// the listing.
#include "listings.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

constexpr size_t LINES = 60;
constexpr size_t LINES_OF_FOLDER = 2;

int main(int argc, char **argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: listparse_count parse|split unix|dos ROUNDS\n");
        return 2;
    }
    const bool is_dos = std::string_view(argv[2]) == "dos";
    listing_t listing = make_listing(is_dos ? dos_line : unix_line, LINES, LINES_OF_FOLDER);
    void (*const split)(char *line) = is_dos ? split_dos : split_unix;
    void (*const read)(char *line) = std::string_view(argv[1]) == "parse" ? parse : split;
    for (int round = atoi(argv[3]); round > 0; --round) {
        for (const size_t start : listing.starts)
            read(listing.text.data() + start);
    }
    printf("%zu\n", listing.starts.size());
    return 0;
}
