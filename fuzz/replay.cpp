// Replays the inputs of a directory: a test that needs no libFuzzer.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    std::size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(argc == 2 ? argv[1] : ".")) {
        std::ifstream stream(file.path(), std::ios::binary);
        std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
        std::fprintf(stderr, "%s\n", file.path().c_str()); // the last one is the one that failed
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    // What the library prints of faults does not end its line.
    std::fprintf(stderr, "\ninputs replayed: %zu\n", count);
    return count == 0 ? 2 : 0;
}
