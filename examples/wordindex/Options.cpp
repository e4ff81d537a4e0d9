#include "Options.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace wordindex {

namespace {

bool parseInt(const char* text, int minimum, int& value)
{
    char* end = nullptr;
    errno = 0;
    const long parsed = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || parsed < minimum || parsed > INT_MAX) {
        return false;
    }
    value = static_cast<int>(parsed);
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
           "  --range FROM TO     list, in order, the words from FROM up to TO (both included,\n"
           "                      compared case-insensitively like all words) with their counts\n"
           "  --min-count N       after indexing, remove every word seen fewer than N times; all\n"
           "                      other answers (summary, --top, --find, --prefix, --range,\n"
           "                      --print-tree) are given on what is left\n"
           "  --threads N         worker threads for reading/counting (default: the number of\n"
           "                      online CPUs, at most 8; 1: single-threaded). Output is "
           "identical\n"
           "                      for every N.\n"
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
           "Exit status: 0 success; 1 an input could not be read (the others are still indexed) "
           "or\n"
           "standard output could not be written/closed (message on standard error); 2 bad "
           "command\n"
           "line (including node sizes that give fewer than 3 pointers per node, and a --log file\n"
           "that cannot be opened, with the reason).\n";
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
            const int minimum = arg == "--top" || arg == "--min-count" ? 0 : 1;
            if (!parseInt(text, minimum, *target)) {
                error = arg + ": not a valid number: " + text;
                return false;
            }
        } else if (arg == "--find") {
            const char* text = value("--find");
            if (text == nullptr)
                return false;
            options.find.push_back(text);
        } else if (arg == "--range") {
            if (i + 2 >= argc) {
                error = "--range needs two values";
                return false;
            }
            options.ranges.emplace_back(argv[i + 1], argv[i + 2]);
            i += 2;
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
