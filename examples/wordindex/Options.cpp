#include "Options.h"

#include <climits>
#include <string>

namespace wordindex {

namespace {

// Reads an optional '-' and then decimal digits, nothing else (no blanks, no
// '+'), and checks the bounds (minimum >= 0). The error names the bound that
// was missed.
bool parseInt(const std::string& option, const char* text, long minimum, long maximum, int& value,
              std::string& error)
{
    const char* digits = text[0] == '-' ? text + 1 : text;
    bool valid = *digits != '\0';
    long magnitude = 0;
    bool huge = false;
    for (const char* c = digits; valid && *c != '\0'; ++c) {
        if (*c < '0' || *c > '9') {
            valid = false;
        } else if (!huge) {
            magnitude = magnitude * 10 + (*c - '0');
            huge = magnitude > INT_MAX;  // also keeps the product far from LONG_MAX
        }
    }
    if (!valid) {
        error = option + ": not a valid number: '" + text + "'";
        return false;
    }
    const bool negative = digits != text && magnitude != 0;  // below every bound ("-0" is 0)
    if (negative) {
        error = option + ": " + text + " is too small (at least " + std::to_string(minimum) + ")";
        return false;
    }
    if (huge || magnitude > maximum) {
        error = option + ": " + text + " is too large (at most " + std::to_string(maximum) + ")";
        return false;
    }
    if (magnitude < minimum) {
        error = option + ": " + text + " is too small (at least " + std::to_string(minimum) + ")";
        return false;
    }
    value = static_cast<int>(magnitude);
    return true;
}

// Splits "FROM..TO" at its one "..". Words never contain '.', so the form
// cannot be mistaken for a file name or a word.
bool parseRange(const std::string& text, std::pair<std::string, std::string>& range,
                std::string& error)
{
    const std::size_t dots = text.find("..");
    if (dots == std::string::npos || dots == 0 || dots + 2 == text.size() ||
        text.find("..", dots + 1) != std::string::npos) {
        error = "--range: expected FROM..TO (for instance --range a..c), not '" + text + "'";
        return false;
    }
    range.first = text.substr(0, dots);
    range.second = text.substr(dots + 2);
    return true;
}

bool parseLevel(const std::string& text, IQorLogger::tagELogLevel& level)
{
    static const char* const names[] = {"none", "fatal", "error", "warning", "info", "debug"};
    for (int i = 0; i < 6; ++i) {
        if (text == names[i]) {
            level = static_cast<IQorLogger::tagELogLevel>(i);
            return true;
        }
    }
    return false;
}

}  // namespace

const char* usageText()
{
    return "usage: wordindex [options] [FILE|-]...\n"
           "Indexes the words of the files (\"-\": standard input; no FILE: a built-in sample "
           "text)\n"
           "and prints a summary and the most frequent words.\n"
           "\n"
           "  --top N             list the N most frequent words (default 10, 0: none)\n"
           "  --find WORD         exact search: count and first occurrence of WORD; one word per\n"
           "                      --find, repeat the option for more words\n"
           "  --prefix P          list the words starting with P (may be repeated)\n"
           "  --range FROM..TO    list, in order, the words from FROM up to TO (both included,\n"
           "                      compared case-insensitively like all words) with their counts;\n"
           "                      one argument, e.g. --range harbour..mariner (may be repeated)\n"
           "  --min-count N       after indexing, remove every word seen fewer than N times; all\n"
           "                      other answers (summary, --top, --find, --prefix, --range,\n"
           "                      --print-tree) are given on what is left\n"
           "  --threads N         worker threads for reading/counting, 1 to 256 (default: the\n"
           "                      number of online CPUs, at most 8; 1: single-threaded); never\n"
           "                      more than there are blocks to count. Output is identical for\n"
           "                      every N.\n"
           "  --stats             after indexing, print to standard error the time spent reading,\n"
           "                      tokenizing and indexing, words per second and peak memory (RSS)\n"
           "  --print-tree        print the diagnostic text of the word tree\n"
           "  --block-size N      node block size of the capacity model (default 4096)\n"
           "  --key-size N        bytes per key in the capacity model (default 128); node "
           "capacity\n"
           "                      is capped at 32 pointers whatever the sizes\n"
           "  --log FILE          append log records to FILE (default: standard error)\n"
           "  --log-level LEVEL   none|fatal|error|warning|info|debug (default warning)\n"
           "  --no-date           log records without the date\n"
           "  --print-sample      write the built-in sample text to standard output\n"
           "  --help              show this text\n"
           "  --version           show the version\n"
           "  --                  end of options: every later argument is a FILE\n"
           "\n"
           "Word rule: a word is a maximal run of ASCII letters, ASCII digits and bytes >= 0x80,\n"
           "plus apostrophes that stand between two such characters (an inner apostrophe:\n"
           "\"don't\" is one word, \"'tis\" and \"dogs'\" lose the outer apostrophe). Case folding "
           "is\n"
           "ASCII only: \"Whale\" and \"WHALE\" are one word; non-ASCII capitals are not folded\n"
           "(\"\xc3\x89mile\" and \"\xc3\xa9mile\" are two words). UTF-8 punctuation (e.g. "
           "\xe2\x80\x9c \xe2\x80\x9d \xe2\x80\x94 \xe2\x80\xa6) consists of bytes\n"
           ">= 0x80 and is therefore part of words. Words are listed with their ASCII letters in\n"
           "lower case.\n"
           "\n"
           "Exit status: 0 success; 1 an input could not be read (the others are still indexed),\n"
           "standard output or the --log file could not be written/closed, or memory ran out\n"
           "(message on standard error); 2 bad command line (including numbers out of bounds,\n"
           "node sizes that give fewer than 3 pointers per node, and a --log file that cannot\n"
           "be opened, with the reason).\n";
}

bool parseOptions(int argc, char** argv, Options& options, std::string& error)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                error = std::string(name) + " needs a value";
                return nullptr;
            }
            return argv[++i];
        };
        if (arg == "--help" || arg == "-h") {
            options.help = true;
        } else if (arg == "--version") {
            options.version = true;
        } else if (arg == "--print-sample") {
            options.printSample = true;
        } else if (arg == "--print-tree") {
            options.printTree = true;
        } else if (arg == "--no-date") {
            options.logDate = false;
        } else if (arg == "--top" || arg == "--block-size" || arg == "--key-size" ||
                   arg == "--min-count" || arg == "--threads") {
            const char* text = value(arg.c_str());
            if (text == nullptr)
                return false;
            int* target = arg == "--top"          ? &options.top
                          : arg == "--block-size" ? &options.blockSize
                          : arg == "--key-size"   ? &options.keySize
                          : arg == "--min-count"  ? &options.minCount
                                                  : &options.threads;
            const long minimum = arg == "--top" || arg == "--min-count" ? 0 : 1;
            const long maximum = arg == "--threads" ? kMaxThreads : INT_MAX;
            if (!parseInt(arg, text, minimum, maximum, *target, error)) {
                return false;
            }
        } else if (arg == "--find") {
            const char* text = value("--find");
            if (text == nullptr)
                return false;
            options.find.push_back(text);
        } else if (arg == "--range") {
            const char* text = value("--range");
            if (text == nullptr)
                return false;
            std::pair<std::string, std::string> range;
            if (!parseRange(text, range, error))
                return false;
            options.ranges.push_back(range);
        } else if (arg == "--stats") {
            options.stats = true;
        } else if (arg == "--prefix") {
            const char* text = value("--prefix");
            if (text == nullptr)
                return false;
            options.prefixes.push_back(text);
        } else if (arg == "--log") {
            const char* text = value("--log");
            if (text == nullptr)
                return false;
            options.logFile = text;
        } else if (arg == "--log-level") {
            const char* text = value("--log-level");
            if (text == nullptr)
                return false;
            if (!parseLevel(text, options.logLevel)) {
                error = std::string("--log-level: unknown level: ") + text;
                return false;
            }
        } else if (arg == "--") {
            for (++i; i < argc; ++i)
                options.inputs.push_back(argv[i]);
        } else if (arg.size() > 1 && arg[0] == '-') {
            error = "unknown option: " + arg;
            return false;
        } else {
            options.inputs.push_back(arg);
        }
    }
    return true;
}

}  // namespace wordindex
