#include "Options.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

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
           "Indexes the words of the files (\"-\": standard input; none: a built-in sample)\n"
           "and prints a summary and the most frequent words.\n"
           "\n"
           "  --top N             list the N most frequent words (default 10, 0: none)\n"
           "  --find WORD...      exact search: count and first occurrence of each WORD\n"
           "                      (the words run up to the next option)\n"
           "  --prefix P          list the words starting with P (may be repeated)\n"
           "  --print-tree        print the diagnostic text of the word tree\n"
           "  --block-size N      node block size of the capacity model (default 4096)\n"
           "  --key-size N        bytes per key in the capacity model (default 128)\n"
           "  --log FILE          append log records to FILE (default: standard error)\n"
           "  --log-level LEVEL   none|fatal|error|warning|info|debug (default warning)\n"
           "  --no-date           log records without the date\n"
           "  --print-sample      write the built-in sample text to standard output\n"
           "  --help              show this text\n"
           "  --version           show the version\n";
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
        } else if (arg == "--top" || arg == "--block-size" || arg == "--key-size") {
            const char* text = value(arg.c_str());
            if (text == nullptr) return false;
            int* target = arg == "--top" ? &options.top
                          : arg == "--block-size" ? &options.blockSize : &options.keySize;
            if (!parseInt(text, arg == "--top" ? 0 : 1, *target)) {
                error = arg + ": not a valid number: " + text;
                return false;
            }
        } else if (arg == "--find") {
            // Every following argument up to the next option is a word.
            while (i + 1 < argc && std::strncmp(argv[i + 1], "--", 2) != 0) {
                options.find.push_back(argv[++i]);
            }
            if (options.find.empty()) {
                error = "--find needs at least one word";
                return false;
            }
        } else if (arg == "--prefix") {
            const char* text = value("--prefix");
            if (text == nullptr) return false;
            options.prefixes.push_back(text);
        } else if (arg == "--log") {
            const char* text = value("--log");
            if (text == nullptr) return false;
            options.logFile = text;
        } else if (arg == "--log-level") {
            const char* text = value("--log-level");
            if (text == nullptr) return false;
            if (!parseLevel(text, options.logLevel)) {
                error = std::string("--log-level: unknown level: ") + text;
                return false;
            }
        } else if (arg == "--") {
            for (++i; i < argc; ++i) options.inputs.push_back(argv[i]);
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
