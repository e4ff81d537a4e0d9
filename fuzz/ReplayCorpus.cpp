// Runs a fuzz harness without libFuzzer, as an ordinary test:
//
//   Replay<Harness> [--random COUNT:MAXBYTES] [file-or-directory ...]
//
// Every file named, and every regular file in every directory named, is read
// whole and handed once to the harness's LLVMFuzzerTestOneInput. --random
// then hands it COUNT pseudo-random inputs of 0 to MAXBYTES bytes, the same
// on every run (ZARNCRT_RANDOM_SEED picks another series), so that a plain
// test run explores well beyond the seeds. A harness reports a failure by
// aborting; the replay then names the input, and a random input is written
// to ./failed-random-input so that it can be replayed or minimized.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);

namespace {

// The random input being run, for the abort handler.
std::string gCurrent;
char gWhich[96];

// Async-signal-safe: only write, open and close.
void onAbort(int)
{
    if (gWhich[0] != '\0') {
        const ssize_t said = write(STDERR_FILENO, gWhich, std::strlen(gWhich));
        const int fd = open("failed-random-input", O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const ssize_t kept = fd < 0 ? 0 : write(fd, gCurrent.data(), gCurrent.size());
        (void)said;
        (void)kept;
        close(fd);
    }
    std::signal(SIGABRT, SIG_DFL);
    std::raise(SIGABRT);
}

void run(std::string const& bytes)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size());
}

void replay(std::filesystem::path const& file)
{
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::printf("%s (%zu bytes)\n", file.c_str(), bytes.size());
    std::fflush(stdout);  // the name is on record should the input abort
    run(bytes);
}

int replayRandom(unsigned long count, size_t maxBytes)
{
    char const* seedText = std::getenv("ZARNCRT_RANDOM_SEED");
    const unsigned long seed = seedText != nullptr ? std::strtoul(seedText, nullptr, 10) : 1;
    std::mt19937_64 random(seed);
    for (unsigned long i = 0; i < count; ++i) {
        gCurrent.resize(random() % (maxBytes + 1));
        std::generate(gCurrent.begin(), gCurrent.end(), [&] { return char(random()); });
        std::snprintf(gWhich, sizeof gWhich, "failed: random input %lu of seed %lu (%zu bytes)\n",
                      i, seed, gCurrent.size());
        run(gCurrent);
    }
    gWhich[0] = '\0';
    std::printf("%lu random inputs of up to %zu bytes, seed %lu\n", count, maxBytes, seed);
    return static_cast<int>(count);
}

}  // namespace

int main(int argc, char** argv)
{
    std::signal(SIGABRT, onAbort);
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        unsigned long count = 0;
        size_t maxBytes = 0;
        if (std::strcmp(argv[i], "--random") == 0) {
            if (i + 1 == argc || std::sscanf(argv[++i], "%lu:%zu", &count, &maxBytes) != 2) {
                std::fprintf(stderr, "--random takes COUNT:MAXBYTES\n");
                return 2;
            }
            replayed += replayRandom(count, maxBytes);
            continue;
        }
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
