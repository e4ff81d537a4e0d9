// WordIndex: the words of some texts, indexed with the library's B+ tree and
// string map.
//
//  - a B+ tree of text keys, ordered case-insensitively through a case-folding
//    normalizer, each key carrying a WordData (count, first occurrence);
//  - a QorStringMap from the lower-cased word to the same WordData, made large
//    enough up front, so that counting a word already seen is one hash lookup;
//  - on demand, a second tree ordered by composite keys (negated count, word)
//    whose leaf chain lists the most frequent words first.
#ifndef WORDINDEX_WORDINDEX_H
#define WORDINDEX_WORDINDEX_H

#include <cstdio>
#include <functional>

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "containers/QorStringMap.h"
#include "log/IQorLogger.h"
#include "text/CStringBuffer.h"

namespace wordindex {

// What the index knows of one word. The tree key holding it deletes it.
class WordData : public IBPlusData {
public:
    WordData(int fileIndex, long line) : fileIndex(fileIndex), firstLine(line) {}
    bool Dealloc() override { return true; }

    long count = 1;
    int fileIndex;   // input in which the word first occurred
    long firstLine;  // line of that input
};

class WordIndex {
public:
    // blockSize/keySize choose the node capacity; mapSlots sizes the string
    // map (about two slots per distinct word keep it from ever growing).
    WordIndex(int blockSize, int keySize, int mapSlots, IQorLogger& log);
    ~WordIndex();
    WordIndex(WordIndex const&) = delete;
    WordIndex& operator=(WordIndex const&) = delete;

    // Splits one line of input into words and counts each of them.
    // Returns the number of words found.
    long addLine(CStringBuffer& line, int fileIndex, long lineNumber);

    // The data of a word (any case), or NULL when it never occurred.
    WordData* find(char const* word);
    // Calls visit(word, data) for each word starting with prefix (any case),
    // in order, by walking the leaf chain from where prefix would go.
    void forEachWithPrefix(char const* prefix,
                           const std::function<void(char const*, WordData&)>& visit);
    // Calls visit(word, data) for the n most frequent words, most frequent
    // first, ties in word order.
    void forEachTop(int n, const std::function<void(char const*, WordData&)>& visit);

    long distinctWords() const { return distinct; }
    long keyTextBytes() const { return keyBytes; }
    int treeHeight();
    long leafCount();
    int nodeCapacity();
    // Writes the tree's diagnostic text.
    void printTree(FILE* stream);

private:
    void addWord(CStringBuffer& word, int fileIndex, long lineNumber);
    void buildFrequencyTree();

    int blockSize;
    int keySize;
    IQorLogger& log;
    BPlusNode* words;            // root of the word tree
    BPlusNode* byFrequency;      // root of the frequency tree, built on demand
    QorStringMap counts;         // lower-cased word -> WordData (not owned)
    CStringBuffer wordScratch;   // reused for every word of every line
    long distinct = 0;
    long keyBytes = 0;
};

}  // namespace wordindex

#endif
