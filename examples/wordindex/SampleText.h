// The text wordindex indexes when it is given no input.
#ifndef WORDINDEX_SAMPLETEXT_H
#define WORDINDEX_SAMPLETEXT_H

namespace wordindex {

// A few paragraphs of prose, lines separated by '\n', NUL-terminated.
extern const char kSampleText[];

}  // namespace wordindex

#endif
