#include "InputReader.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace wordindex {

namespace {

// Inputs at least this large get a progress line on a terminal.
constexpr long long kProgressThreshold = 4LL << 20;
constexpr long long kProgressStep = 1LL << 20;
// A line longer than this is indexed in pieces, keeping every buffer well
// inside the library's 32-bit sizes; a word may then be cut in two.
constexpr long kMaxPiece = 16L << 20;

double nowSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

InputReader::InputReader(WordIndex& index, IQorLogger& log, bool showProgress)
    : index(index), log(log), showProgress(showProgress), line(256)
{
}

void InputReader::indexLine(const char* bytes, long length, int fileIndex, long lineNumber)
{
    long offset = 0;
    do {
        const long piece = length - offset < kMaxPiece ? length - offset : kMaxPiece;
        line.set(bytes + offset, static_cast<int>(piece));
        total.words += index.addLine(line, fileIndex, lineNumber);
        offset += piece;
    } while (offset < length);
    ++total.lines;
}

void InputReader::reportProgress(bool last)
{
    const double elapsed = nowSeconds() - startSeconds;
    const double rate = elapsed > 0 ? total.words / elapsed : 0;
    std::fprintf(stderr, "\rwordindex: %.1f MB read, %.0f words/s", total.bytes / 1048576.0,
                 rate);
    if (last) {
        std::fputc('\n', stderr);
    }
    std::fflush(stderr);
}

bool InputReader::readFile(const std::string& name, int fileIndex)
{
    const bool isStdin = name == "-";
    FILE* file = isStdin ? stdin : std::fopen(name.c_str(), "rb");
    if (file == nullptr) {
        std::fprintf(stderr, "wordindex: cannot read '%s': %s\n", name.c_str(), std::strerror(errno));
        return false;
    }
    struct stat info {};
    const bool large = !isStdin && fstat(fileno(file), &info) == 0 && info.st_size >= kProgressThreshold;
    bool progress = showProgress && (large || isStdin);
    const long linesBefore = total.lines, wordsBefore = total.words;
    const long long startBytes = total.bytes;
    startSeconds = nowSeconds();
    nextProgressAt = total.bytes + kProgressThreshold;

    char* raw = nullptr;
    size_t capacity = 0;
    ssize_t length;
    long lineNumber = 0;
    while ((length = getline(&raw, &capacity, file)) > 0) {
        total.bytes += length;
        indexLine(raw, raw[length - 1] == '\n' ? length - 1 : length, fileIndex, ++lineNumber);
        if (progress && total.bytes >= nextProgressAt) {
            reportProgress(false);
            nextProgressAt = total.bytes + kProgressStep;
        }
    }
    const bool failed = std::ferror(file) != 0;
    const int readErrno = errno;
    std::free(raw);
    if (progress && total.bytes - startBytes >= kProgressThreshold) {
        reportProgress(true);
    }
    if (!isStdin) {
        std::fclose(file);
    }
    if (failed) {
        std::fprintf(stderr, "wordindex: cannot read '%s': %s\n", name.c_str(), std::strerror(readErrno));
        return false;
    }
    log.Information("input", "read %s: %ld lines, %ld words", isStdin ? "standard input" : name.c_str(),
                    total.lines - linesBefore, total.words - wordsBefore);
    return true;
}

void InputReader::readText(const char* text, int fileIndex)
{
    const long linesBefore = total.lines, wordsBefore = total.words;
    long lineNumber = 0;
    while (*text != '\0') {
        const char* end = std::strchr(text, '\n');
        const long length = end != nullptr ? end - text : static_cast<long>(std::strlen(text));
        total.bytes += length + (end != nullptr);
        indexLine(text, length, fileIndex, ++lineNumber);
        text += length + (end != nullptr);
    }
    log.Information("input", "read the built-in sample: %ld lines, %ld words", total.lines - linesBefore,
                    total.words - wordsBefore);
}

}  // namespace wordindex
