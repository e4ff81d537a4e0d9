// Internal (not installed): the checked build's knowledge of what keys
// carry besides their value: the normalizer each normalized copy was made
// by, and how many keys hold each data object.
//
// With these, installing a normalizer while keys normalized by another one
// are alive, and the release rule deleting data that another key still
// holds, are reported. Both records sit outside the keys, keyed by address.
//
// Cost: one lock when a key gets or loses a normalized copy or data, and
// when the release rule deletes data; none when a key is compared.
#ifndef ZARNCRT_BTREE_CHECKEDKEYS_H
#define ZARNCRT_BTREE_CHECKEDKEYS_H

#ifdef ZARNCRT_CHECKED

class BPlusKey;
class IBPlusData;

namespace zarn {
namespace btreecheck {

// key now holds a normalized copy made by the installed normalizer.
void copyNormalized(BPlusKey const* key);
// target now holds a copy of source's normalized copy.
void copyCopied(BPlusKey const* target, BPlusKey const* source);
// key's normalized copy is gone.
void copyDropped(BPlusKey const* key);
// SetNormalizer is installing normalizer with data: reports text keys alive
// whose copies another normalizer made. Switching normalizing off is
// never reported: the copies are then ignored.
void normalizerInstalled(int (*normalizer)(char*, int*, int), int data);

// A key took hold of data.
void dataHeld(IBPlusData const* data);
// A key let go of data (released, detached or dropped).
void dataLetGo(IBPlusData const* data);
// The release rule is deleting data: reports data that keys still hold.
void dataDeleted(IBPlusData const* data);

}  // namespace btreecheck
}  // namespace zarn

#endif  // ZARNCRT_CHECKED

#endif
