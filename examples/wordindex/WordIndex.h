// WordIndex: the words of some texts in the library's B+ tree.
//
// The counting happens before the tree is touched (see WordTable and
// CountingPool): every distinct word becomes one key, with its final count
// and first occurrence, and the keys, sorted, are bulk-loaded into the tree
// in one pass (BPlusNode::BuildFromSorted), leaves filled to capacity. Keys
// are ordered case-insensitively through a case-folding normalizer and carry
// a WordData each.
#ifndef WORDINDEX_WORDINDEX_H
#define WORDINDEX_WORDINDEX_H

#include <cstdio>
#include <deque>
#include <functional>
#include <vector>

#include "InputReader.h"
#include "WordTable.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "log/IQorLogger.h"

namespace wordindex {

// What the index knows of one word. The tree key holding it deletes it.
class WordData : public IBPlusData {
public:
    WordData(int fileIndex, long line) : fileIndex(fileIndex), firstLine(line) {}
    bool Dealloc() override
    {
        return true;
    }

    long count = 1;
    int fileIndex;   // input in which the word first occurred
    long firstLine;  // line of that input
};

class WordIndex {
public:
    // blockSize/keySize choose the node capacity.
    WordIndex(int blockSize, int keySize, IQorLogger& log);
    ~WordIndex();
    WordIndex(WordIndex const&) = delete;
    WordIndex& operator=(WordIndex const&) = delete;

    // Loads the counted words into the tree. Consumes words.
    void build(WordTable&& words, const std::vector<InputFile>& inputs,
               const std::deque<ChunkCount>& chunks);

    // Takes every word counted fewer than minCount times out of the tree;
    // distinctWords(), occurrences() and keyTextBytes() then count what is
    // left.
    void removeRarerThan(long minCount);

    // The data of a word (any case), or NULL when it never occurred.
    WordData* find(char const* word);
    // Calls visit(word, data) for each word starting with prefix (any case),
    // in order, by walking the leaf chain from where prefix would go.
    void forEachWithPrefix(char const* prefix,
                           const std::function<void(char const*, WordData&)>& visit);
    // Calls visit(word, data) for each word from `from` to `to`, both
    // included, in order (compared as the tree compares: any case).
    void forEachInRange(char const* from, char const* to,
                        const std::function<void(char const*, WordData&)>& visit);
    // Calls visit(word, data) for the n most frequent words, most frequent
    // first, ties in word order.
    void forEachTop(int n, const std::function<void(char const*, WordData&)>& visit);

    long distinctWords() const
    {
        return distinct;
    }
    long keyTextBytes() const
    {
        return keyBytes;
    }
    // The counts of all words in the tree, summed.
    long occurrences() const
    {
        return total;
    }
    int treeHeight();
    long leafCount();
    int nodeCapacity();
    // Writes the tree's diagnostic text.
    void printTree(FILE* stream);

private:
    IQorLogger& log;
    BPlusNode* words;  // root of the word tree
    long distinct = 0;
    long keyBytes = 0;
    long total = 0;
};

}  // namespace wordindex

#endif
