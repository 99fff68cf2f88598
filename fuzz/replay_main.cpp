// Feeds every file below the directories named on the command line to the fuzz target once, so
// that its seed corpus runs as an ordinary test without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<uint8_t> ReadAll(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv)
{
    size_t replayed = 0;
    try {
        for (int arg = 1; arg < argc; ++arg) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[arg])) {
                if (entry.is_regular_file()) {
                    const std::vector<uint8_t> input = ReadAll(entry.path());
                    LLVMFuzzerTestOneInput(input.data(), input.size());
                    ++replayed;
                }
            }
        }
    } catch (const std::filesystem::filesystem_error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
    std::printf("replayed %zu inputs\n", replayed);
    // An empty or missing corpus would otherwise pass without testing anything.
    return replayed == 0 ? 1 : 0;
}
