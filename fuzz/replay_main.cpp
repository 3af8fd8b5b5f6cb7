// Replays the files of the folders named on the command line through a fuzz target, after one empty input.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    // A vector never lends null, and an exact buffer lets the address sanitizer see a read past the input.
    const std::vector<uint8_t> empty(1);
    LLVMFuzzerTestOneInput(empty.data(), 0);
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code error;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i], error)) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)), {});
            input.shrink_to_fit();
            LLVMFuzzerTestOneInput(input.empty() ? empty.data() : input.data(), input.size());
            ++replayed;
        }
    }
    std::printf("replayed %d inputs\n", replayed);
    return 0;
}
