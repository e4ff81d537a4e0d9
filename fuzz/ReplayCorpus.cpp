// Replays fuzz inputs without libFuzzer: every file named on the command
// line, and every regular file in every directory named, is read whole and
// handed once to the harness's LLVMFuzzerTestOneInput. A harness reports a
// failure by aborting, so the replay fails exactly when one input does.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);

namespace {

void replay(std::filesystem::path const& file)
{
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::printf("%s (%zu bytes)\n", file.c_str(), bytes.size());
    std::fflush(stdout);  // the name is on record should the input abort
    LLVMFuzzerTestOneInput(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv)
{
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(argv[i])) {
            for (auto const& entry : std::filesystem::directory_iterator(argv[i])) {
                if (entry.is_regular_file()) {
                    files.push_back(entry.path());
                }
            }
        } else if (std::filesystem::is_regular_file(argv[i])) {
            files.push_back(argv[i]);
        } else {
            std::fprintf(stderr, "%s: no such file or directory\n", argv[i]);
            return 2;
        }
        std::sort(files.begin(), files.end());  // the same order on every run
        for (auto const& file : files) {
            replay(file);
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
