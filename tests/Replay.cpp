#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Gives a fuzz target every input of its corpus once, in the place of the fuzzer: what a fuzzer
/// has once found stays found with any compiler. `fuzz-NAME CORPUS`
int main(int count, char** arguments) {
    std::size_t replayed = 0;
    for (int index = 1; index < count; ++index)
        for (const auto& entry : std::filesystem::directory_iterator(arguments[index])) {
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            std::ifstream file(entry.path(), std::ios::binary);
            // Exactly as large as the input, so that a sanitizer sees what is read beyond it.
            const std::vector<std::uint8_t> input(std::istreambuf_iterator<char>(file), {});
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++replayed;
        }
    return replayed > 0 ? 0 : 1;
}
