// Differential fuzzer for the records of QorFileLogger against the record
// model (textmodel::logRecord in tests/models/TextModel.h). Arbitrary levels,
// sources and message bytes go through PrintLog and the five reporting
// operations (with "%s", so message bytes are never a format) into an
// in-memory stream; each record written must be the model's, after a date
// of ctime's shape when dates are on. Levels outside 0..5, reports above the
// threshold and records without a stream write nothing; reports cut the
// message to 8191 bytes.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/FuzzInput.h"
#include "log/QorFileLogger.h"
#include "tests/models/TextModel.h"

namespace {

constexpr char kAlphabet[] = {'a', 'Z', ' ', '%', '\n', ':', '#', '\0', 's', '9'};

// "Www Mmm dd hh:mm:ss ": the first 19 characters of ctime and a space.
bool isDate(std::string const& d)
{
    static char const kShape[] = "Aaa Aaa #9 99:99:99 ";
    for (size_t i = 0; i < 20; ++i) {
        const int c = static_cast<unsigned char>(d[i]);
        const bool fits = kShape[i] == 'A'   ? std::isupper(c)
                          : kShape[i] == 'a' ? std::islower(c)
                          : kShape[i] == '9' ? std::isdigit(c)
                          : kShape[i] == '#' ? c == ' ' || std::isdigit(c)
                                             : c == kShape[i];
        if (!fits) {
            return false;
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

// Mostly short texts; now and then a long one without NUL (so that it stays
// long as a C text), repeated from little input.
std::string drawText(FuzzInput& in, size_t usual, size_t rare)
{
    const size_t limit = in.u8() % 16 == 0 ? rare : usual;
    std::string t = in.text(limit, kAlphabet, sizeof kAlphabet);
    if (limit == rare) {
        t.erase(std::remove(t.begin(), t.end(), '\0'), t.end());
    }
    while (t.size() > 64 && t.size() < limit && in.flag()) {
        t += t;
    }
    return t.substr(0, limit);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzInput in(data, size);
    char* out = nullptr;
    size_t outSize = 0, seen = 0;  // seen: bytes already checked
    FILE* stream = open_memstream(&out, &outSize);
    auto* logger = new QorFileLogger();
    logger->ToggleDateUsage(false);
    logger->SetFile(stream, false);
    bool attached = true, dated = false;
    int threshold = 0;
    for (int step = 0; step < 48 && !in.empty(); ++step) {
        const uint8_t op = in.u8() % 16;
        if (op == 15) {  // settings: threshold, dates, the stream taken away and back
            switch (in.range(0, 2)) {
                case 0:
                    threshold = drawLevel(in);
                    break;
                case 1:
                    dated = in.u8() % 4 == 0;
                    break;
                default:
                    attached = !attached;
                    break;
            }
            logger->SetLogLevel(static_cast<IQorLogger::tagELogLevel>(threshold));
            FUZZ_CHECK(logger->GetLogLevel() == threshold, "GetLogLevel");
            logger->ToggleDateUsage(dated);
            logger->SetFile(attached ? stream : nullptr, false);
            continue;
        }
        const int line = in.u8() % 4 == 0 ? static_cast<int>(in.u32()) : in.range(0, 3);
        const std::string sourceBytes = drawText(in, 24, 700);
        char const* source = in.u8() % 8 == 0 ? nullptr : sourceBytes.c_str();
        const std::string bytes = drawText(in, 80, 9000);
        const std::string message = textmodel::visible(bytes);
        const int level = op % 2 == 0 ? drawLevel(in) : in.range(1, 5);
        if (op % 2 == 0) {
            logger->PrintLog(static_cast<IQorLogger::tagELogLevel>(level), source, line,
                             bytes.c_str());
        } else if (level == 1) {
            logger->FatalError(source, line, "%s", bytes.c_str());
        } else if (level == 2) {
            logger->Error(source, line, "%s", bytes.c_str());
        } else if (level == 3) {
            logger->Warning(source, line, "%s", bytes.c_str());
        } else if (level == 4) {
            logger->Information(source, "%s", bytes.c_str());
        } else {
            logger->Debug(source, "%s", bytes.c_str());
        }
        const bool due = attached && (op % 2 == 0 ? level >= 0 && level <= 5 : threshold >= level);
        std::string got(out + seen, outSize - seen);
        seen = outSize;
        if (!due) {
            FUZZ_CHECK(got.empty(), "%zu bytes written where nothing was due", got.size());
            continue;
        }
        if (dated) {
            FUZZ_CHECK(got.size() > 21 && isDate(got.substr(1, 20)), "no date in front");
            got.erase(1, 20);
        }
        const int reportedLine = op % 2 == 0 || level <= 3 ? line : 0;
        const std::string want = textmodel::logRecord(
            level, source, reportedLine, op % 2 == 0 ? message : message.substr(0, 8191));
        FUZZ_CHECK(got == want, "record of %zu bytes differs from the model's %zu bytes",
                   got.size(), want.size());
    }
    delete logger;  // the stream stays the harness's
    std::fclose(stream);
    std::free(out);
    return 0;
}
