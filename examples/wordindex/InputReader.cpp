#include "InputReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "Tokenizer.h"

namespace wordindex {

namespace {

// Inputs at least this large get a progress line on a terminal.
constexpr long long kProgressThreshold = 4LL << 20;
constexpr long long kProgressStep = 1LL << 20;

double nowSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

std::string inputLabel(const std::string& name, bool quoted)
{
    if (name == "-") {
        return "standard input";
    }
    return quoted ? "'" + name + "'" : name;
}

InputReader::~InputReader()
{
    pool.abandon();
}

InputReader::InputReader(CountingPool& pool, std::size_t blockBytes, bool showProgress)
    : pool(pool), blockBytes(blockBytes < 1 ? 1 : blockBytes), showProgress(showProgress)
{
}

void InputReader::submit(std::vector<char>& buffer, std::size_t size)
{
    counts.emplace_back();
    const auto chunk = static_cast<std::uint32_t>(counts.size() - 1);
    inputs.back().endChunk = chunk + 1;
    pool.submit(std::move(buffer), size, chunk, &counts.back());
}

void InputReader::reportProgress(bool last)
{
    const double elapsed = nowSeconds() - startSeconds;
    const double rate = elapsed > 0 ? totalBytes / elapsed / 1048576.0 : 0;
    std::fprintf(stderr, "\rwordindex: %.1f MB read, %.1f MB/s", totalBytes / 1048576.0, rate);
    if (last) {
        std::fputc('\n', stderr);
    }
    std::fflush(stderr);
}

bool InputReader::readFile(const std::string& name)
{
    inputs.emplace_back();
    InputFile& input = inputs.back();
    input.name = name;
    input.firstChunk = input.endChunk = static_cast<std::uint32_t>(counts.size());
    const bool isStdin = name == "-";
    const int fd = isStdin ? STDIN_FILENO : open(name.c_str(), O_RDONLY);
    if (fd < 0) {
        const int openErrno = errno;
        std::fprintf(stderr, "wordindex: cannot read %s: %s\n", inputLabel(name, true).c_str(),
                     std::strerror(openErrno));
        input.readable = false;
        return false;
    }
    struct stat info {};
    const bool large = !isStdin && fstat(fd, &info) == 0 && info.st_size >= kProgressThreshold;
    const bool progress = showProgress && (large || isStdin);
    long long nextProgressAt = totalBytes + kProgressThreshold;
    const long long startBytes = totalBytes;
    startSeconds = nowSeconds();

    // buffer holds used bytes: the tail of the previous block that a word
    // may continue from, then what was read since. No separator lies in
    // that tail, so only newly read bytes are searched for a cut.
    std::vector<char> buffer = pool.takeBuffer();
    std::size_t used = 0;
    int readErrno = 0;
    for (;;) {
        if (buffer.size() < used + blockBytes) {
            buffer.resize(used + blockBytes);
        }
        const double before = nowSeconds();
        const ssize_t got = read(fd, buffer.data() + used, blockBytes);
        readSeconds += nowSeconds() - before;
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            readErrno = got < 0 ? errno : 0;
            break;
        }
        const std::size_t cutFrom = used;
        used += static_cast<std::size_t>(got);
        totalBytes += got;
        input.bytes += got;
        input.endsInNewline = buffer[used - 1] == '\n';
        const std::size_t cut = cutPoint(buffer.data() + cutFrom, used - cutFrom);
        if (cut > 0) {
            const std::size_t end = cutFrom + cut;
            std::vector<char> next = pool.takeBuffer();
            if (next.size() < used - end + blockBytes) {
                next.resize(used - end + blockBytes);
            }
            std::memcpy(next.data(), buffer.data() + end, used - end);
            submit(buffer, end);
            buffer = std::move(next);
            used -= end;
        }
        if (progress && totalBytes >= nextProgressAt) {
            reportProgress(false);
            nextProgressAt = totalBytes + kProgressStep;
        }
    }
    if (used > 0) {
        submit(buffer, used);
    }
    if (progress && totalBytes - startBytes >= kProgressThreshold) {
        reportProgress(true);
    }
    if (!isStdin) {
        close(fd);
    }
    if (readErrno != 0) {
        std::fprintf(stderr, "wordindex: cannot read %s: %s\n", inputLabel(name, true).c_str(),
                     std::strerror(readErrno));
        input.readable = false;
        return false;
    }
    return true;
}

void InputReader::readText(const char* text, const std::string& name)
{
    inputs.emplace_back();
    InputFile& input = inputs.back();
    input.name = name;
    input.firstChunk = input.endChunk = static_cast<std::uint32_t>(counts.size());
    const std::size_t length = std::strlen(text);
    input.bytes = static_cast<long long>(length);
    input.endsInNewline = length > 0 && text[length - 1] == '\n';
    if (length > 0) {
        std::vector<char> buffer(text, text + length);
        submit(buffer, length);
    }
}

}  // namespace wordindex
