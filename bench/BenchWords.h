// Text inputs of the tree's text and composite cases: the case-folding
// normalizer the tree side installs, the case-insensitive order of the
// standard peers that matches it, and stored and absent word lists.
#ifndef ZARNCRT_BENCH_BENCHWORDS_H
#define ZARNCRT_BENCH_BENCHWORDS_H

#include <strings.h>

#include <string>
#include <vector>

#include "BenchUtil.h"
#include "btree/BPlusKey.h"

namespace bench {

// ASCII letters to lower case, so that normalized keys compare (bytes, then
// length) as strcasecmp orders letters-only words.
inline int foldCase(char* text, int* length, int)
{
    for (int i = 0; i < *length; ++i) {
        if (text[i] >= 'A' && text[i] <= 'Z')
            text[i] = static_cast<char>(text[i] - 'A' + 'a');
    }
    return 0;
}

// The standard peers' order of words: the tree's order, with or without the
// normalizer, for the letters-only words of randomWords.
struct NoCaseLess {
    bool operator()(const std::string& a, const std::string& b) const
    {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};

// Installs foldCase (or no normalizer) for one case: the tree's side and the
// key-object peers make and compare their keys under the same setting.
class NormalizerScope {
public:
    explicit NormalizerScope(bool normalize)
    {
        BPlusKey::SetNormalizer(normalize ? foldCase : nullptr, 0);
    }
    ~NormalizerScope()
    {
        BPlusKey::SetNormalizer(nullptr, 0);
    }
    NormalizerScope(const NormalizerScope&) = delete;
    NormalizerScope& operator=(const NormalizerScope&) = delete;
};

// n stored words followed by m words absent from them, case ignored.
struct WordSet {
    std::vector<std::string> stored;
    std::vector<std::string> absent;
};

inline WordSet storedAndAbsentWords(int n, int m, unsigned seed)
{
    std::vector<std::string> words = randomWords(n + m, seed);
    WordSet set;
    set.absent.assign(words.begin() + n, words.end());
    words.resize(static_cast<size_t>(n));
    set.stored = std::move(words);
    return set;
}

}  // namespace bench

#endif
