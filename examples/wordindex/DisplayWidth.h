// Display width of UTF-8 words, for the aligned columns of --top and
// --range: a byte count misaligns every word with a non-ASCII letter.
#ifndef WORDINDEX_DISPLAYWIDTH_H
#define WORDINDEX_DISPLAYWIDTH_H

#include <string>

namespace wordindex {

// The columns word takes on a terminal: the width of each UTF-8 character
// (0 for combining marks, 2 for East Asian wide ones, 1 otherwise), and one
// for each byte that belongs to no well-formed character.
int columns(const char* word);

// word, then spaces up to width columns (as "%-*s" does for ASCII).
std::string padded(const char* word, int width);

}  // namespace wordindex

#endif
