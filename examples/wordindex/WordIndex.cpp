#include "WordIndex.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <numeric>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusCursor.h"
#include "containers/Stacks.h"
#include "text/CStringBuffer.h"

namespace wordindex {

namespace {

// The tree's normalizer: ASCII letters fold to lower case, so "Whale" and
// "whale" are one key and the comparison of two keys is a single memcmp.
int foldCase(char* text, int* length, int /*data*/)
{
    for (int i = 0; i < *length; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 'A' && c <= 'Z') {
            text[i] = static_cast<char>(c - 'A' + 'a');
        }
    }
    return 0;
}

WordData& dataOf(BPlusKey* key)
{
    return *static_cast<WordData*>(key->GetData());
}

}  // namespace

WordIndex::WordIndex(int blockSize, int keySize, IQorLogger& log)
    : log(log), words(new BPlusNode(blockSize, keySize, 1.0f))
{
    BPlusKey::SetNormalizer(foldCase, 0);
}

WordIndex::~WordIndex()
{
    BPlusNode::DeleteTree(words);
    BPlusKey::SetNormalizer(nullptr, 0);
}

namespace {

// One counted word, ready for the tree, followed by its NUL-terminated text.
struct PackedWord {
    long count;
    long line;
    int fileIndex;
    std::uint32_t length;
};

// A tree key for one packed word, carrying its count and first occurrence.
BPlusKey* makeKey(char const* text, const PackedWord& word)
{
    auto* data = new WordData(word.fileIndex, word.line);
    data->count = word.count;
    BPlusKey* key = BPlusKey::NewCharKey(text);
    key->SetData(data);
    return key;
}

constexpr std::size_t kPieceBytes = 1u << 20;

// Appends the words of table, in the tree's key order, as PackedWord records
// to pieces of about kPieceBytes each.
void pack(const WordTable& table, const std::vector<InputFile>& inputs,
          const std::deque<ChunkCount>& chunks, std::deque<std::vector<char>>& pieces)
{
    // Line of the first byte of every chunk, counted from 1 in each input,
    // and the input of every chunk.
    std::vector<long> firstLine(chunks.size(), 1);
    std::vector<int> inputOf(chunks.size(), 0);
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        long line = 1;
        for (std::uint32_t c = inputs[i].firstChunk; c < inputs[i].endChunk; ++c) {
            firstLine[c] = line;
            inputOf[c] = static_cast<int>(i);
            line += chunks[c].newlines;
        }
    }
    std::vector<std::uint32_t> order(table.size());
    std::iota(order.begin(), order.end(), 0u);
    // The tree's own order: the words are stored folded to lower case, so
    // the normalized texts are the texts themselves, compared bytewise with
    // the shorter first where one is a prefix of the other.
    std::sort(order.begin(), order.end(), [&table](std::uint32_t a, std::uint32_t b) {
        const WordEntry& x = table.entry(a);
        const WordEntry& y = table.entry(b);
        const int common = std::memcmp(table.text(x), table.text(y), std::min(x.length, y.length));
        return common != 0 ? common < 0 : x.length < y.length;
    });
    for (std::uint32_t index : order) {
        const WordEntry& e = table.entry(index);
        const std::size_t bytes = (sizeof(PackedWord) + e.length + 1 + 7) & ~std::size_t(7);
        if (pieces.empty() || pieces.back().size() + bytes > pieces.back().capacity()) {
            pieces.emplace_back();
            pieces.back().reserve(std::max(kPieceBytes, bytes));
        }
        std::vector<char>& piece = pieces.back();
        const std::size_t at = piece.size();
        piece.resize(at + bytes);
        const PackedWord word{e.count, firstLine[e.first.chunk] + e.first.line,
                              inputOf[e.first.chunk], e.length};
        std::memcpy(piece.data() + at, &word, sizeof word);
        std::memcpy(piece.data() + at + sizeof word, table.text(e), e.length + 1);
    }
}

}  // namespace

void WordIndex::build(WordTable&& counted, const std::vector<InputFile>& inputs,
                      const std::deque<ChunkCount>& chunks)
{
    // The words move to compact pieces in key order and the table goes; each
    // piece goes as soon as its words are keys, so the counts and the keys
    // are never held in full at the same time. The sorted keys are then
    // loaded in one pass, leaves filled to capacity.
    std::deque<std::vector<char>> pieces;
    {
        WordTable table = std::move(counted);
        pack(table, inputs, chunks, pieces);
    }
    std::vector<BPlusKey*> keys;
    while (!pieces.empty()) {
        const std::vector<char>& piece = pieces.front();
        for (std::size_t at = 0; at < piece.size();) {
            PackedWord word;
            std::memcpy(&word, piece.data() + at, sizeof word);
            keys.push_back(makeKey(piece.data() + at + sizeof word, word));
            keyBytes += word.length;
            total += word.count;
            at += (sizeof word + word.length + 1 + 7) & ~std::size_t(7);
        }
        pieces.pop_front();
    }
    BPlusNode* root = words->BuildFromSorted(keys.data(), static_cast<int>(keys.size()));
    if (root->GetFirstLeaf() == nullptr && !keys.empty()) {
        // Refused (the order above disagrees with the keys' own): fall back
        // to adding them one by one, which sorts them itself.
        log.Warning("index", 0, "bulk load refused; adding %zu words one by one", keys.size());
        for (BPlusKey* key : keys) {
            root = root->Add(key, false);
        }
    }
    words = root;
    distinct = static_cast<long>(keys.size());
    log.Debug("index", "tree of height %d holds %ld distinct word%s", treeHeight(), distinct,
              distinct == 1 ? "" : "s");
}

WordData* WordIndex::find(char const* word)
{
    BPlusKey* probe = BPlusKey::NewCharKey(word);
    BPlusKey* stored = words->Search(probe);
    delete probe;
    return stored != nullptr ? &dataOf(stored) : nullptr;
}

void WordIndex::forEachWithPrefix(char const* prefix,
                                  const std::function<void(char const*, WordData&)>& visit)
{
    CStringBuffer folded(prefix);
    folded.toLowerCase();
    BPlusKey* probe = BPlusKey::NewCharKey(folded);
    BPlusNode* leaf = words->Search(probe, nullptr);
    for (; leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        for (int i = 0; i < leaf->GetKeyCount(); ++i) {
            BPlusKey* key = leaf->GetKey(i);
            if (BPlusKey::Compare(key, probe) < 0) {
                continue;  // before the prefix, in the first leaf only
            }
            char* text = key->GetCharValue(nullptr);
            if (std::strncmp(text, folded, static_cast<size_t>(folded.length())) != 0) {
                delete probe;
                return;  // the first word past the prefix: no later word has it
            }
            visit(text, dataOf(key));
        }
    }
    delete probe;
}

void WordIndex::forEachInRange(char const* from, char const* to,
                               const std::function<void(char const*, WordData&)>& visit)
{
    BPlusKey* low = BPlusKey::NewCharKey(from);
    BPlusKey* high = BPlusKey::NewCharKey(to);
    BPlusCursor cursor(words);
    for (bool on = cursor.Seek(low); on && BPlusKey::Compare(cursor.Key(), high) <= 0;
         on = cursor.Next()) {
        visit(cursor.Key()->GetCharValue(nullptr), dataOf(cursor.Key()));
    }
    delete low;
    delete high;
}

void WordIndex::removeRarerThan(long minCount)
{
    // Removing invalidates the cursor, so the words go in batches: collect
    // probes for the next batch, remove them, then seek past the last one.
    constexpr std::size_t kBatch = 4096;
    std::vector<BPlusKey*> batch;
    BPlusKey* resumeAt = nullptr;
    const long distinctBefore = distinct, totalBefore = total;
    for (;;) {
        BPlusCursor cursor(words);
        for (bool on = resumeAt != nullptr ? cursor.Seek(resumeAt) : cursor.First();
             on && batch.size() < kBatch; on = cursor.Next()) {
            if (dataOf(cursor.Key()).count < minCount) {
                batch.push_back(cursor.Key()->Clone());
                total -= dataOf(cursor.Key()).count;  // the batch is removed in full below
            }
        }
        delete resumeAt;
        resumeAt = nullptr;
        if (batch.empty()) {
            const long removed = distinctBefore - distinct;
            log.Debug("index",
                      "removed %ld word%s seen fewer than %ld time%s (%ld occurrence%s); %ld "
                      "distinct word%s left",
                      removed, removed == 1 ? "" : "s", minCount, minCount == 1 ? "" : "s",
                      totalBefore - total, totalBefore - total == 1 ? "" : "s", distinct,
                      distinct == 1 ? "" : "s");
            return;
        }
        for (BPlusKey* probe : batch) {
            int length = 0;
            probe->GetCharValue(&length);
            words = words->Remove(probe, nullptr);
            --distinct;
            keyBytes -= length;
        }
        resumeAt = batch.back();
        batch.pop_back();
        for (BPlusKey* probe : batch) {
            delete probe;
        }
        batch.clear();
    }
}

void WordIndex::forEachTop(int n, const std::function<void(char const*, WordData&)>& visit)
{
    // The leaf chain lists the words in word order; a stable choice by count
    // then gives ties in word order.
    std::vector<BPlusKey*> keys;
    keys.reserve(static_cast<size_t>(distinct));
    for (BPlusNode* leaf = words->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        for (int i = 0; i < leaf->GetKeyCount(); ++i) {
            keys.push_back(leaf->GetKey(i));
        }
    }
    // Counts beyond the int range rank as equal, as in a tree keyed by int.
    auto rankOf = [](BPlusKey* key) {
        const long count = dataOf(key).count;
        return count > INT_MAX ? static_cast<long>(INT_MAX) : count;
    };
    std::vector<std::uint32_t> position(keys.size());
    std::iota(position.begin(), position.end(), 0u);
    const size_t shown = std::min(keys.size(), static_cast<size_t>(n < 0 ? 0 : n));
    std::partial_sort(position.begin(), position.begin() + static_cast<std::ptrdiff_t>(shown),
                      position.end(), [&](std::uint32_t a, std::uint32_t b) {
                          const long ra = rankOf(keys[a]), rb = rankOf(keys[b]);
                          return ra != rb ? ra > rb : a < b;
                      });
    // The chosen words go, in that order, into a frequency tree keyed by
    // (negated count, word): bulk-loaded, as they are sorted already; its
    // leaf chain then lists them most frequent first.
    std::vector<BPlusKey*> ranked(shown);
    for (size_t i = 0; i < shown; ++i) {
        BPlusKey* word = keys[position[i]];
        ranked[i] = BPlusCompositeKey::New(BPlusKey::NewIntegerKey(-static_cast<int>(rankOf(word))),
                                           word->Clone(), nullptr);
    }
    BPlusNode* byFrequency = words->New();  // same node sizes as the word tree
    BPlusNode* root = byFrequency->BuildFromSorted(ranked.data(), static_cast<int>(shown));
    size_t i = 0;
    for (BPlusNode* leaf = root->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        for (int k = 0; k < leaf->GetKeyCount(); ++k, ++i) {
            auto* entry = static_cast<BPlusCompositeKey*>(leaf->GetKey(k));
            visit(entry->GetKeyPart(1)->GetCharValue(nullptr), dataOf(keys[position[i]]));
        }
    }
    if (i == 0 && shown > 0) {
        // Refused (cannot happen with the order above): list them directly.
        for (BPlusKey* entry : ranked) {
            delete entry;
        }
        for (; i < shown; ++i) {
            visit(keys[position[i]]->GetCharValue(nullptr), dataOf(keys[position[i]]));
        }
    }
    BPlusNode::DeleteTree(root);
}

int WordIndex::treeHeight()
{
    // The descent to the smallest key walks one index node per level.
    BPlusNode* first = words->GetFirstLeaf();
    if (first == nullptr || first->GetKeyCount() == 0) {
        return 1;  // the empty root alone
    }
    CPtrStack path;
    words->Search(first->GetKey(0), &path);
    return path.size() + 1;
}

long WordIndex::leafCount()
{
    long leaves = 0;
    for (BPlusNode* leaf = words->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        ++leaves;
    }
    return leaves;
}

int WordIndex::nodeCapacity()
{
    return words->GetMaxPointers();
}

void WordIndex::printTree(FILE* stream)
{
    words->PrintNode(stream, 0);
    std::fputc('\n', stream);
}

}  // namespace wordindex
