// TextModel: what a CStringBuffer and a logger record must hold, computed on
// std::string, for the text and log-record fuzzers (which ctest runs too) and
// the core and logger tests. Texts may hold NUL bytes; whatever reads a C
// text (searches, comparisons, print, insert of a char pointer) sees
// visible(t). The C locale folds case.
#ifndef ZARNCRT_TESTS_MODELS_TEXTMODEL_H
#define ZARNCRT_TESTS_MODELS_TEXTMODEL_H

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace textmodel {

// The bytes from start up to the next NUL.
inline std::string visible(std::string const& t, size_t start = 0)
{
    return start < t.size() ? std::string(t.c_str() + start) : std::string();
}

inline std::string cased(std::string t, bool upper)
{
    for (char& c : t) {
        const auto u = static_cast<unsigned char>(c);
        c = static_cast<char>(upper ? std::toupper(u) : std::tolower(u));
    }
    return t;
}

// find(needle, start, noCase): first match at or after start; -1 for a start
// outside the text.
inline int find(std::string const& t, int start, std::string const& needle, bool noCase)
{
    if (start < 0 || start >= static_cast<int>(t.size())) {
        return -1;
    }
    const std::string seen = visible(t, size_t(start)), n = visible(needle);
    const size_t at = noCase ? cased(seen, true).find(cased(n, true)) : seen.find(n);
    return at == std::string::npos ? -1 : start + static_cast<int>(at);
}

// find(c, start, noCase): as above, and a NUL finds the terminator.
inline int find(std::string const& t, int start, char c, bool noCase)
{
    const int found = find(t, start, std::string(1, c), noCase);
    return c == '\0' && found >= 0 ? found + int(visible(t, size_t(start)).size()) : found;
}

inline int findReverse(std::string const& t, char c, bool noCase)
{
    const std::string seen = noCase ? cased(visible(t), true) : visible(t);
    const size_t at = c == '\0' ? seen.size() : seen.rfind(noCase ? cased({c}, true)[0] : c);
    return t.empty() || at == std::string::npos ? -1 : static_cast<int>(at);
}

// endsWith(suffix, length, noCase): NULL is the empty suffix, a negative
// length measures it, and folded comparison stops at a NUL like strncasecmp.
inline bool endsWith(std::string const& t, char const* suffix, int length, bool noCase)
{
    const size_t n = suffix == nullptr ? 0 : length < 0 ? std::strlen(suffix) : size_t(length);
    if (n > t.size()) {
        return false;
    }
    const std::string tail = t.substr(t.size() - n), wanted(suffix == nullptr ? "" : suffix, n);
    return noCase ? cased(visible(tail), false) == cased(visible(wanted), false) : tail == wanted;
}

// The sign of strcasecmp on the visible texts.
inline int compareNoCase(std::string const& t, std::string const& other)
{
    const int order = cased(visible(t), false).compare(cased(visible(other), false));
    return (order > 0) - (order < 0);
}

inline std::string trim(std::string const& t)
{
    auto space = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    const auto begin = std::find_if_not(t.begin(), t.end(), space);
    const auto end = std::find_if_not(t.rbegin(), t.rend(), space).base();
    return begin < end ? std::string(begin, end) : std::string();
}

// CR LF becomes LF, a lone CR becomes LF, a trailing CR disappears.
inline std::string convertLinebreaks(std::string t)
{
    for (size_t i = t.find('\r'); i != std::string::npos; i = t.find('\r', i)) {
        if (i + 1 < t.size() && t[i + 1] != '\n') {
            t[i] = '\n';
        } else {
            t.erase(i, 1);
        }
    }
    return t;
}

// The bytes getSubStr takes from source.
inline std::string subStr(std::string const& source, int start, int count)
{
    const size_t from = size_t(std::max(start, 0));
    return from < source.size() ? source.substr(from, count < 0 ? std::string::npos : count) : "";
}

// The shortest text that reads back as value, as append(double) writes it;
// to_chars writes nan, inf and -inf too.
inline std::string doubleText(double value)
{
    char scratch[64];
    return std::isnan(value)
               ? "nan"
               : std::string(scratch, std::to_chars(scratch, scratch + 64, value).ptr);
}

// What format() leaves: the formatter's output cut to 16383 bytes.
template <typename... Args>
std::string formatted(char const* fmt, Args... args)
{
    std::vector<char> scratch(16384);
    const int n = std::snprintf(scratch.data(), scratch.size(), fmt, args...);
    return std::string(scratch.data(), static_cast<size_t>(std::clamp(n, 0, 16383)));
}

// A buffer's text and the size bufLength() must report. Storage comes in
// whole growth steps and never shrinks: set keeps it while it exceeds the new
// length, append while it exceeds length + added (else it sizes for one byte
// more), and appending to the empty text is a set.
struct Buffer {
    std::string text;
    int step = 4092;
    int size = 4092;

    void grow(size_t needed, size_t sizeFor)
    {
        size = size_t(size) > needed ? size : int((sizeFor / size_t(step) + 1) * size_t(step));
    }
    void set(std::string const& t)
    {
        grow(t.size(), t.size());
        text = t;
    }
    void append(std::string const& t)
    {
        const size_t total = text.size() + t.size();
        grow(total, text.empty() ? total : total + 1);
        text += t;
    }
    // Numbers are formatted into at least 64 bytes.
    void setNumber(std::string const& digits)
    {
        grow(63, 64);
        set(digits);
    }
    // Before position: negative is 0, at or past the end appends.
    void insert(std::string const& t, int position)
    {
        const size_t at = size_t(std::max(position, 0));
        at >= text.size() ? append(t) : set(std::string(text).insert(at, t));
    }
    // From the end; a match short of room grows the storage for its size plus
    // the replacement.
    void replace(std::string const& search, std::string const& by)
    {
        const long f = long(search.size()), r = long(by.size());
        for (long i = long(text.size()) - f; i >= 0; --i) {
            if (text.compare(size_t(i), size_t(f), search) != 0) {
                continue;
            }
            if (r > f && size - long(text.size()) <= r - f) {
                grow(size_t(size + r - 1), size_t(size + r));
            }
            text.replace(size_t(i), size_t(f), by);
            i -= std::max(f, 1L) - 1;
        }
    }
};

// The record QorFileLogger writes for a message, without the date.
inline std::string logRecord(int level, char const* source, int line, std::string const& message)
{
    static char const* const labels[] = {"       ", "  FATAL", "  ERROR",
                                         "WARNING", "   INFO", "  DEBUG"};
    std::string record = std::string("[") + labels[level] + "] ";
    if (source != nullptr && source[0] != '\0') {
        record += (std::string(source) + ": ").substr(0, 511);
    }
    if (line != 0 && level <= 3) {
        record += "#" + std::to_string(line) + " ";
    }
    return record + message + (message.find('\n') == std::string::npos ? "\n" : "");
}

}  // namespace textmodel

#endif
