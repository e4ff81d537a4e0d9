// Differential fuzzer for the record builder of QorFileLogger.
//
// Arbitrary level numbers, source and message bytes go to a logger writing
// into an in-memory stream, through PrintLog itself and through the five
// reporting operations (with "%s", so the message bytes are never a format).
// Each record written must be, byte for byte, the one the model builds:
//     "[" date label "] " source-field line-field message terminator
// with the date (19 characters and a space) only when dates are on, the
// seven-character label of the level, the source field "<source>: " cut to
// 511 characters and only for a non-empty source, the line field "#<line> "
// only for levels up to 3 and a non-zero line, the message up to its NUL
// (cut to 8191 bytes by the reporting operations), and a line feed unless
// the message holds one. Levels outside 0..5, reports below the threshold
// and records without a stream write nothing.
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/FuzzInput.h"
#include "log/IQorLogger.h"
#include "log/QorFileLogger.h"

namespace {

constexpr int kMaxRecords = 48;
constexpr size_t kMessageCut = 8191;
constexpr size_t kSourceCut = 511;
constexpr char kAlphabet[] = {'a', 'Z', ' ', '%', '\n', ':', '#', '\0', 's', '9'};
char const* const kLabels[6] = {"       ", "  FATAL", "  ERROR", "WARNING", "   INFO", "  DEBUG"};

std::string visible(std::string const& bytes)
{
    return std::string(bytes.c_str());
}

// The record the logger must write, without the date.
std::string expectedRecord(int level, char const* source, int line, std::string const& message)
{
    std::string record = "[";
    record += kLabels[level];
    record += "] ";
    if (source != nullptr && source[0] != '\0') {
        record += (std::string(source) + ": ").substr(0, kSourceCut);
    }
    if (line != 0 && level <= 3) {
        record += "#" + std::to_string(line) + " ";
    }
    record += message;
    if (message.find('\n') == std::string::npos) {
        record += "\n";
    }
    return record;
}

// "Www Mmm dd hh:mm:ss " as ctime's first 19 characters and a space.
bool looksLikeDate(std::string const& d)
{
    if (d.size() != 20) {
        return false;
    }
    static char const kShape[] = "Aaa Aaa #9 99:99:99 ";
    for (size_t i = 0; i < 20; ++i) {
        const unsigned char c = static_cast<unsigned char>(d[i]);
        switch (kShape[i]) {
            case 'A':
                if (!std::isupper(c)) {
                    return false;
                }
                break;
            case 'a':
                if (!std::islower(c)) {
                    return false;
                }
                break;
            case '9':
                if (!std::isdigit(c)) {
                    return false;
                }
                break;
            case '#':
                if (c != ' ' && !std::isdigit(c)) {
                    return false;
                }
                break;
            default:
                if (c != static_cast<unsigned char>(kShape[i])) {
                    return false;
                }
                break;
        }
    }
    return true;
}

int drawLevel(FuzzInput& in)
{
    switch (in.u8() % 16) {
        case 0:
            return -1 - in.range(0, 3);
        case 1:
            return 6 + in.range(0, 3);
        case 2:
            return in.flag() ? INT_MIN : INT_MAX;
        default:
            return in.range(0, 5);
    }
}

std::string drawText(FuzzInput& in, size_t usual, size_t rare)
{
    const size_t limit = in.u8() % 16 == 0 ? rare : usual;
    std::string t = in.text(limit, kAlphabet, sizeof kAlphabet);
    if (t.size() > 64 && in.flag()) {
        // Long texts from little input: repeat what was drawn.
        while (t.size() < limit) {
            t += t;
        }
        t.resize(limit);
    }
    return t;
}

struct Output {
    char* data = nullptr;
    size_t size = 0;
    size_t seen = 0;  // bytes already checked
};

void checkWritten(Output& out, bool written, bool dated, std::string const& record,
                  char const* what)
{
    const size_t added = out.size - out.seen;
    if (!written) {
        FUZZ_CHECK(added == 0, "%s: %zu bytes written where nothing was due", what, added);
        return;
    }
    std::string got(out.data + out.seen, added);
    out.seen = out.size;
    if (dated) {
        FUZZ_CHECK(got.size() > 21 && got[0] == '[' && looksLikeDate(got.substr(1, 20)),
                   "%s: no date in front of the record", what);
        got.erase(1, 20);
    }
    FUZZ_CHECK(got == record, "%s: record of %zu bytes differs from the model's %zu bytes", what,
               got.size(), record.size());
}

void openOutput(Output& out, FILE*& stream)
{
    out = Output();
    stream = open_memstream(&out.data, &out.size);
    FUZZ_CHECK(stream != nullptr, "open_memstream");
}

void runLogger(FuzzInput& in)
{
    Output out;
    FILE* stream = nullptr;
    openOutput(out, stream);
    const bool owned = in.flag();

    QorFileLogger* logger = new QorFileLogger();
    logger->ToggleDateUsage(false);
    logger->SetFile(stream, owned);
    bool attached = true;
    bool dated = false;
    int threshold = 0;

    for (int step = 0; step < kMaxRecords && !in.empty(); ++step) {
        const uint8_t op = in.u8();
        if (op % 16 == 15) {
            // Settings: the threshold, dates, and the stream taken away and back.
            switch (in.range(0, 3)) {
                case 0:
                    threshold = drawLevel(in);
                    logger->SetLogLevel(static_cast<IQorLogger::tagELogLevel>(threshold));
                    FUZZ_CHECK(logger->GetLogLevel() == threshold, "GetLogLevel");
                    break;
                case 1:
                    dated = (in.u8() % 4) == 0;
                    logger->ToggleDateUsage(dated);
                    break;
                case 2:
                    logger->SetFile(static_cast<FILE*>(nullptr), false);
                    if (attached && owned) {
                        // The logger closed the stream it owned: take its
                        // bytes and start a new one.
                        std::free(out.data);
                        openOutput(out, stream);
                    }
                    attached = false;
                    break;
                default:
                    // Handing over the current stream again never closes it.
                    logger->SetFile(stream, owned);
                    attached = true;
                    break;
            }
            continue;
        }
        const int line = in.u8() % 4 == 0 ? static_cast<int>(in.u32()) : in.range(0, 3);
        const std::string sourceBytes = drawText(in, 24, 700);
        char const* source = in.u8() % 8 == 0 ? nullptr : sourceBytes.c_str();
        const std::string messageBytes = drawText(in, 80, 9000);
        const std::string message = visible(messageBytes);

        if (op % 2 == 0) {
            const int level = drawLevel(in);
            logger->PrintLog(static_cast<IQorLogger::tagELogLevel>(level), source, line,
                             messageBytes.c_str());
            const bool written = attached && level >= 0 && level <= 5;
            checkWritten(out, written, dated,
                         written ? expectedRecord(level, source, line, message) : std::string(),
                         "PrintLog");
            continue;
        }
        // The reporting operations: threshold first, message cut to 8191 bytes.
        const int level = in.range(1, 5);
        char const* text = messageBytes.c_str();
        switch (level) {
            case 1:
                logger->FatalError(source, line, "%s", text);
                break;
            case 2:
                logger->Error(source, line, "%s", text);
                break;
            case 3:
                logger->Warning(source, line, "%s", text);
                break;
            case 4:
                logger->Information(source, "%s", text);
                break;
            default:
                logger->Debug(source, "%s", text);
                break;
        }
        const bool written = attached && threshold >= level;
        const int reportedLine = level <= 3 ? line : 0;
        checkWritten(
            out, written, dated,
            written ? expectedRecord(level, source, reportedLine, message.substr(0, kMessageCut))
                    : std::string(),
            "report");
    }

    delete logger;  // closes the stream only when it owns it
    if (!(attached && owned)) {
        std::fclose(stream);
    }
    std::free(out.data);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzInput in(data, size);
    runLogger(in);
    return 0;
}
