#include "WordIndex.h"

#include <cstring>

#include "btree/BPlusCompositeKey.h"
#include "containers/Stacks.h"

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

// Word bytes: ASCII letters and digits, and any byte of a multi-byte UTF-8
// sequence; everything else, NUL included, separates words.
bool isWordByte(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c >= 0x80;
}

}  // namespace

WordIndex::WordIndex(int blockSize, int keySize, int mapSlots, IQorLogger& log)
    : blockSize(blockSize),
      keySize(keySize),
      log(log),
      words(new BPlusNode(blockSize, keySize, 1.0f)),
      byFrequency(nullptr),
      counts(mapSlots, eQorAllocNone),
      wordScratch(64)
{
    BPlusKey::SetNormalizer(foldCase, 0);
}

WordIndex::~WordIndex()
{
    BPlusNode::DeleteTree(words);
    BPlusNode::DeleteTree(byFrequency);
    BPlusKey::SetNormalizer(nullptr, 0);
}

long WordIndex::addLine(CStringBuffer& line, int fileIndex, long lineNumber)
{
    line.convertLinebreaks();
    line.trim();
    line.toLowerCase();
    const int length = line.length();
    long found = 0;
    int start = -1;
    for (int i = 0; i <= length; ++i) {
        const bool inWord = i < length && (isWordByte(static_cast<unsigned char>(line[i])) ||
                                           // an apostrophe inside a word: "don't"
                                           (line[i] == '\'' && start >= 0 && i + 1 < length &&
                                            isWordByte(static_cast<unsigned char>(line[i + 1]))));
        if (inWord && start < 0) {
            start = i;
        } else if (!inWord && start >= 0) {
            wordScratch.getSubStr(line, start, i - start, false);
            addWord(wordScratch, fileIndex, lineNumber);
            ++found;
            start = -1;
        }
    }
    return found;
}

void WordIndex::addWord(CStringBuffer& word, int fileIndex, long lineNumber)
{
    if (WordData* data = static_cast<WordData*>(counts.get(word))) {
        ++data->count;
        return;
    }
    WordData* data = new WordData(fileIndex, lineNumber);
    BPlusKey* key = BPlusKey::NewCharKey(word);
    key->SetData(data);
    BPlusNode* root = words->Add(key, false);
    if (root != words) {
        words = root;  // the root split: the tree is one level taller
        log.Debug("index", "tree grew to height %d after %ld distinct words", treeHeight(),
                  distinct + 1);
    }
    counts.insert(word, data);
    ++distinct;
    keyBytes += word.length();
    BPlusNode::DeleteTree(byFrequency);  // stale once the counts change
    byFrequency = nullptr;
}

WordData* WordIndex::find(char const* word)
{
    BPlusKey* probe = BPlusKey::NewCharKey(word);
    BPlusKey* stored = words->Search(probe);
    delete probe;
    return stored != nullptr ? static_cast<WordData*>(stored->GetData()) : nullptr;
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
            visit(text, *static_cast<WordData*>(key->GetData()));
        }
    }
    delete probe;
}

void WordIndex::buildFrequencyTree()
{
    byFrequency = new BPlusNode(blockSize, keySize, 1.0f);
    for (BPlusNode* leaf = words->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        for (int i = 0; i < leaf->GetKeyCount(); ++i) {
            BPlusKey* word = leaf->GetKey(i);
            WordData* data = static_cast<WordData*>(word->GetData());
            // Negated count first: the most frequent words come first in the
            // leaf chain; equal counts are ordered by the word itself.
            const int negated = data->count > 0x7fffffff ? -0x7fffffff : -static_cast<int>(data->count);
            BPlusCompositeKey* key = BPlusCompositeKey::New(
                BPlusKey::NewIntegerKey(negated), word->Clone(), nullptr);
            byFrequency = byFrequency->Add(key, false);
        }
    }
}

void WordIndex::forEachTop(int n, const std::function<void(char const*, WordData&)>& visit)
{
    if (byFrequency == nullptr) {
        buildFrequencyTree();
    }
    int shown = 0;
    for (BPlusNode* leaf = byFrequency->GetFirstLeaf(); leaf != nullptr && shown < n;
         leaf = leaf->GetNextLeaf()) {
        for (int i = 0; i < leaf->GetKeyCount() && shown < n; ++i, ++shown) {
            char* word = static_cast<BPlusCompositeKey*>(leaf->GetKey(i))
                             ->GetKeyPart(1)
                             ->GetCharValue(nullptr);
            visit(word, *static_cast<WordData*>(counts.get(word)));
        }
    }
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
