// Replaces libFuzzer in an ordinary build: runs the fuzzer once on each file of the named folders.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

static void replay(const std::filesystem::path &file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> input{std::istreambuf_iterator<char>(stream), {}};
    fprintf(stderr, "%s\n", file.c_str()); // the last one is the one that failed
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
}

int main(int argc, char **argv)
{
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto &file : std::filesystem::directory_iterator(argv[i])) {
            replay(file.path());
            ++replayed;
        }
    }
    printf("%d inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
