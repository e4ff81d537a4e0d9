// Differential fuzzer for the B+ tree (BPlusNode with BPlusKey and
// BPlusCompositeKey).
//
// Each input builds one tree of one key kind with a random node capacity and
// runs Add and the exact Search against a std::set whose comparator
// implements the key order on its own, from the documented rules (it never
// calls BPlusKey::Compare):
//   - integer and number keys: numeric order;
//   - text keys with a normalizer installed: the bytes of the normalized
//     copies, the shorter first when one is a prefix of the other;
//   - text keys without a normalizer: ASCII case-insensitive, bytes unsigned;
//   - text keys without text sort before every text;
//   - composite keys: part by part, an absent or null-flagged part before any
//     present part, two of them equal.
// Duplicates must be refused (the caller keeps and deletes them), the leaf
// chain must hold exactly the stored key objects in order in both directions,
// and DeleteTree must release every key and every attached data object once.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "containers/Stacks.h"
#include "fuzz/FuzzInput.h"
#include "text/CStringBuffer.h"

namespace {

constexpr int kMaxSteps = 400;
// Keys added in bulk per input, at most (keeps executions fast).
constexpr int kMaxBulkKeys = 1000;
constexpr int kMaxChainChecks = 6;
// Letters of both cases and the characters between 'Z' and 'a', where an
// upper-casing normalizer and the lower-casing QorCompareNoCase disagree.
constexpr char kAlphabet[] = {'a', 'A', 'b', 'B', 'z', 'Z', '_', '[', '`', '~', '0', ' '};

// Attached data; counts live objects so that a lost or doubly released
// object shows up at the end of every input.
class Payload : public IBPlusData {
public:
    Payload()
    {
        ++live;
    }
    ~Payload() override
    {
        --live;
    }
    bool Dealloc() override
    {
        return true;
    }
    static int live;
};
int Payload::live = 0;

// Attached data that stays with its owner: answers Dealloc() with false, so
// no key or holder may delete it. The fuzzer deletes these itself.
class KeptPayload : public IBPlusData {
public:
    KeptPayload()
    {
        ++live;
    }
    ~KeptPayload() override
    {
        --live;
    }
    bool Dealloc() override
    {
        return false;
    }
    static int live;
};
int KeptPayload::live = 0;

enum class Kind { Integer, Number, Text, Composite };
enum class Normalizer { None, Upper, UpperCut };

// The normalizers the fuzzer installs: ASCII upper-casing, optionally cut to
// data bytes (which makes many texts equal and exercises the length rule).
int upperNormalizer(char* text, int* length, int data)
{
    for (int i = 0; i < *length; ++i) {
        if (text[i] >= 'a' && text[i] <= 'z') {
            text[i] = static_cast<char>(text[i] - 'a' + 'A');
        }
    }
    if (data > 0 && *length > data) {
        *length = data;
    }
    return 0;
}

struct Config {
    Kind kind = Kind::Integer;
    Normalizer normalizer = Normalizer::None;
    int cut = 0;  // data of UpperCut
};

// The model's view of one text: nullopt for a key without text, otherwise
// the bytes the order looks at.
std::optional<std::string> orderText(Config const& config, std::optional<std::string> const& raw)
{
    if (!raw) {
        return raw;
    }
    std::string t = *raw;
    if (config.normalizer == Normalizer::None) {
        for (char& c : t) {
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c - 'A' + 'a');  // QorCompareNoCase folds to lower case
            }
        }
        return t;
    }
    for (char& c : t) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    if (config.normalizer == Normalizer::UpperCut && config.cut > 0 &&
        static_cast<int>(t.size()) > config.cut) {
        t.resize(static_cast<size_t>(config.cut));
    }
    return t;
}

// One part slot of a composite key: 0 and 2 hold integer parts, 1 text parts.
constexpr int kSlots = 3;
enum class PartState { Missing, NullFlagged, Present };

struct Value {
    int i = 0;
    double d = 0.0;
    std::optional<std::string> raw;   // text as given
    std::optional<std::string> text;  // text as ordered
    PartState parts[kSlots] = {PartState::Missing, PartState::Missing, PartState::Missing};
    int partInt[kSlots] = {0, 0, 0};
    std::optional<std::string> partRaw;
    std::optional<std::string> partText;
};

int compareText(std::optional<std::string> const& a, std::optional<std::string> const& b)
{
    if (!a || !b) {
        return (a ? 1 : 0) - (b ? 1 : 0);
    }
    const int c = a->compare(*b);  // bytes as unsigned, a prefix first
    return (c > 0) - (c < 0);
}

int compareValues(Kind kind, Value const& a, Value const& b)
{
    switch (kind) {
        case Kind::Integer:
            return (a.i > b.i) - (a.i < b.i);
        case Kind::Number:
            return (a.d > b.d) - (a.d < b.d);
        case Kind::Text:
            return compareText(a.text, b.text);
        case Kind::Composite:
            for (int s = 0; s < kSlots; ++s) {
                const bool pa = a.parts[s] == PartState::Present;
                const bool pb = b.parts[s] == PartState::Present;
                if (pa != pb) {
                    return pa ? 1 : -1;
                }
                if (!pa) {
                    continue;
                }
                const int c = s == 1
                                  ? compareText(a.partText, b.partText)
                                  : (a.partInt[s] > b.partInt[s]) - (a.partInt[s] < b.partInt[s]);
                if (c != 0) {
                    return c;
                }
            }
            return 0;
    }
    return 0;
}

struct Entry {
    Value value;
    BPlusKey* key = nullptr;     // the stored object
    IBPlusData* data = nullptr;  // what the stored key must hold
};

struct EntryOrder {
    Kind kind;
    bool operator()(Entry const& a, Entry const& b) const
    {
        return compareValues(kind, a.value, b.value) < 0;
    }
};

using Model = std::set<Entry, EntryOrder>;

// --- Making keys (and their model values) from the input.

std::optional<std::string> randomText(FuzzInput& in)
{
    if (in.u8() % 16 == 0) {
        return std::nullopt;  // a text key without text
    }
    std::string t = in.text(10, kAlphabet, sizeof kAlphabet);
    // Tree keys are NUL-terminated texts.
    for (char& c : t) {
        if (c == '\0') {
            c = 'q';
        }
    }
    return t;
}

std::string flipCase(std::string t, FuzzInput& in)
{
    for (char& c : t) {
        if (in.flag()) {
            if (c >= 'a' && c <= 'z') {
                c = static_cast<char>(c - 'a' + 'A');
            } else if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c - 'A' + 'a');
            }
        }
    }
    return t;
}

int saturate(double d)
{
    if (std::isnan(d)) {
        return 0;
    }
    if (d >= 2147483647.0) {
        return 2147483647;
    }
    if (d <= -2147483648.0) {
        return -2147483647 - 1;
    }
    return static_cast<int>(d);
}

BPlusKey* makeIntegerKey(FuzzInput& in, int& value)
{
    const int small = in.range(-40, 40);
    switch (in.range(0, 5)) {
        case 0: {
            // Read from text: the low 32 bits of strtol's value.
            char text[32];
            const long long wide =
                static_cast<long long>(static_cast<int64_t>(in.u64()) >> in.range(0, 62));
            std::snprintf(text, sizeof text, " %lld", in.flag() ? wide : small);
            BPlusKey* key = new BPlusKey(BPlusKey::eIntegerKey);
            key->SetKey(text);
            value = static_cast<int>(
                static_cast<uint32_t>(static_cast<uint64_t>(std::strtol(text, nullptr, 10))));
            return key;
        }
        case 1: {
            const double d =
                in.flag()
                    ? small + in.range(0, 99) / 100.0
                    : static_cast<double>(static_cast<int64_t>(in.u64()) >> in.range(0, 63)) * 1.5;
            BPlusKey* key = new BPlusKey(BPlusKey::eIntegerKey);
            key->SetKey(d);
            value = saturate(d);
            return key;
        }
        case 2:
            value = static_cast<int>(in.u32());
            return BPlusKey::NewIntegerKey(value);
        default:
            value = small;
            return BPlusKey::NewIntegerKey(value);
    }
}

BPlusKey* makeNumberKey(FuzzInput& in, double& value)
{
    const int small = in.range(-40, 40);
    switch (in.range(0, 3)) {
        case 0: {
            BPlusKey* key = new BPlusKey(BPlusKey::eNumberKey);
            key->SetKey(small);
            value = small;
            return key;
        }
        case 1: {
            char text[32];
            std::snprintf(text, sizeof text, "%d.%d", small, in.range(0, 9));
            BPlusKey* key = new BPlusKey(BPlusKey::eNumberKey);
            key->SetKey(text);
            value = std::strtod(text, nullptr);
            return key;
        }
        default: {
            double d = small / 4.0;
            if (in.u8() % 8 == 0) {
                const uint64_t bits = in.u64();
                std::memcpy(&d, &bits, sizeof d);
                if (std::isnan(d)) {
                    d = -0.0;  // NaN has no place in an order
                }
            }
            value = d;
            return BPlusKey::NewNumberKey(d);
        }
    }
}

// A text key; raw receives the text it holds.
BPlusKey* makeTextKey(FuzzInput& in, std::optional<std::string>& raw)
{
    switch (in.range(0, 5)) {
        case 0: {
            raw = std::to_string(in.range(-999, 999));
            BPlusKey* key = BPlusKey::NewCharKey("placeholder");
            key->SetKey(std::stoi(*raw));  // "%d", normalized again
            return key;
        }
        case 1: {
            const double d = in.range(-5000, 5000) / 8.0;
            char text[80];
            std::snprintf(text, sizeof text, "%0.2lf", d);
            raw = text;
            BPlusKey* key = BPlusKey::NewCharKey(nullptr);
            key->SetKey(d);
            return key;
        }
        case 2: {
            raw = randomText(in);
            if (!raw) {
                return BPlusKey::NewCharKey(nullptr);
            }
            CStringBuffer buffer(raw->c_str());
            BPlusKey* key = new BPlusKey(BPlusKey::eCharKey);
            key->SetKey(buffer);
            return key;
        }
        default:
            raw = randomText(in);
            return BPlusKey::NewCharKey(raw ? raw->c_str() : nullptr);
    }
}

BPlusKey* makePart(Config const& config, FuzzInput& in, int slot, Value& value)
{
    if (slot == 1) {
        BPlusKey* part = makeTextKey(in, value.partRaw);
        value.partText = orderText(config, value.partRaw);
        return part;
    }
    return makeIntegerKey(in, value.partInt[slot]);
}

BPlusKey* makeCompositeKey(Config const& config, FuzzInput& in, Value& value)
{
    BPlusKey* parts[kSlots] = {nullptr, nullptr, nullptr};
    int count = in.range(0, kSlots);
    for (int s = 0; s < count; ++s) {
        switch (in.range(0, 5)) {
            case 0:
                value.parts[s] = PartState::Missing;  // an absent slot
                break;
            case 1:
                parts[s] = makePart(config, in, s, value);
                parts[s]->SetNull(true);
                value.parts[s] = PartState::NullFlagged;
                break;
            default:
                parts[s] = makePart(config, in, s, value);
                value.parts[s] = PartState::Present;
                break;
        }
    }
    BPlusCompositeKey* key = nullptr;
    switch (in.range(0, 2)) {
        case 0: {
            // The variadic factory stops at the first NULL: use it up to there.
            int upTo = 0;
            while (upTo < count && parts[upTo] != nullptr) {
                ++upTo;
            }
            key = upTo == 0   ? BPlusCompositeKey::New(nullptr)
                  : upTo == 1 ? BPlusCompositeKey::New(parts[0], nullptr)
                  : upTo == 2 ? BPlusCompositeKey::New(parts[0], parts[1], nullptr)
                              : BPlusCompositeKey::New(parts[0], parts[1], parts[2], nullptr);
            for (int s = upTo; s < count; ++s) {
                key->AppendKeyPart(parts[s]);
            }
            break;
        }
        case 1:
            key = BPlusCompositeKey::New();
            for (int s = 0; s < count; ++s) {
                key->AppendKeyPart(parts[s]);
            }
            break;
        default:
            // Slots set out of order; growing fills the gaps with absent slots.
            key = BPlusCompositeKey::New();
            for (int s = count - 1; s >= 0; --s) {
                if (parts[s] != nullptr) {
                    key->SetKeyPart(s, parts[s]);
                }
            }
            break;
    }
    if (in.u8() % 4 == 0) {
        key->SetNull(true);  // the key's own flag plays no part in its order
    }
    return key;
}

BPlusKey* makeKey(Config const& config, FuzzInput& in, Value& value)
{
    switch (config.kind) {
        case Kind::Integer: {
            BPlusKey* key = makeIntegerKey(in, value.i);
            if (in.u8() % 8 == 0) {
                key->SetNull(true);  // ignored by the plain order
            }
            return key;
        }
        case Kind::Number:
            return makeNumberKey(in, value.d);
        case Kind::Text: {
            BPlusKey* key = makeTextKey(in, value.raw);
            value.text = orderText(config, value.raw);
            return key;
        }
        case Kind::Composite:
            return makeCompositeKey(config, in, value);
    }
    return nullptr;
}

// A new key equal to a stored one, built differently from it.
BPlusKey* makeEqualKey(Config const& config, Entry const& entry, FuzzInput& in)
{
    if (in.flag()) {
        return entry.key->Clone();  // clones carry absent slots and null flags
    }
    Value const& v = entry.value;
    switch (config.kind) {
        case Kind::Integer:
            return BPlusKey::NewIntegerKey(v.i);
        case Kind::Number:
            return BPlusKey::NewNumberKey(v.d);
        case Kind::Text:
            // Case changes keep texts equal under both orders.
            return BPlusKey::NewCharKey(v.raw ? flipCase(*v.raw, in).c_str() : nullptr);
        case Kind::Composite: {
            BPlusCompositeKey* key = BPlusCompositeKey::New();
            for (int s = 0; s < kSlots; ++s) {
                BPlusKey* part = nullptr;
                if (v.parts[s] == PartState::Present) {
                    part = s == 1 ? BPlusKey::NewCharKey(
                                        v.partRaw ? flipCase(*v.partRaw, in).c_str() : nullptr)
                                  : BPlusKey::NewIntegerKey(v.partInt[s]);
                } else if (in.flag()) {
                    // A null-flagged part equals an absent one.
                    part = BPlusKey::NewIntegerKey(static_cast<int>(in.u32()));
                    part->SetNull(true);
                }
                key->AppendKeyPart(part);
            }
            return key;
        }
    }
    return nullptr;
}

// Pseudo-random bytes from a seed (splitmix64), for bulk insertions.
std::vector<uint8_t> expand(uint64_t seed, size_t size)
{
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; i += 8) {
        uint64_t z = (seed += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        z ^= z >> 31;
        std::memcpy(&bytes[i], &z, size - i < 8 ? size - i : 8);
    }
    return bytes;
}

// --- Checks

int expectedCapacity(int blockSize, int keySize, int pointerSize)
{
    double q = static_cast<double>(blockSize) / static_cast<double>(keySize);
    q = q + 1.0;
    q = q * static_cast<double>(keySize);
    q = q / (static_cast<double>(pointerSize) + static_cast<double>(keySize));
    int n = -2147483647 - 1;
    if (std::isfinite(q) && q >= -2147483648.0 && q < 2147483648.0) {
        n = static_cast<int>(q);
    }
    return n < 32 ? n : 32;
}

void checkChain(BPlusNode* root, Model const& model, int capacity)
{
    // Forwards.
    auto expected = model.begin();
    size_t leaves = 0;
    BPlusNode* leaf = root->GetFirstLeaf();
    BPlusNode* last = nullptr;
    if (model.empty()) {
        FUZZ_CHECK(leaf == nullptr || leaf->GetKeyCount() == 0,
                   "a leaf with keys in an empty tree");
    }
    for (; leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        FUZZ_CHECK(leaf->IsLeafNode(), "the chain reached an index node");
        FUZZ_CHECK(leaf->GetPrevLeaf() == last, "leaf %zu: previous link broken", leaves);
        const int count = leaf->GetKeyCount();
        FUZZ_CHECK(count >= 1 && count <= capacity - 1, "leaf %zu holds %d keys (M = %d)", leaves,
                   count, capacity);
        FUZZ_CHECK(leaf->IsFull() == (count == capacity - 1), "leaf %zu: IsFull wrong", leaves);
        if (count < capacity - 1) {
            FUZZ_CHECK(leaf->GetKey(count) == nullptr, "leaf %zu: slot past the count in use",
                       leaves);
        }
        for (int i = 0; i < count; ++i) {
            FUZZ_CHECK(expected != model.end(), "the chain holds more keys than were stored");
            FUZZ_CHECK(leaf->GetKey(i) == expected->key,
                       "leaf %zu key %d is not the stored key in order", leaves, i);
            FUZZ_CHECK(expected->key->GetData() == expected->data, "a stored key lost its data");
            ++expected;
        }
        last = leaf;
        ++leaves;
        FUZZ_CHECK(leaves <= model.size() + 1, "the leaf chain loops");
    }
    FUZZ_CHECK(expected == model.end(), "the chain misses keys");

    // Backwards.
    auto reverse = model.rbegin();
    BPlusNode* first = root->GetLastLeaf();
    FUZZ_CHECK(first == last, "GetLastLeaf is not the end of the chain");
    size_t backLeaves = 0;
    for (leaf = first; leaf != nullptr; leaf = leaf->GetPrevLeaf()) {
        for (int i = leaf->GetKeyCount() - 1; i >= 0; --i) {
            FUZZ_CHECK(reverse != model.rend() && leaf->GetKey(i) == reverse->key,
                       "backward walk out of order");
            ++reverse;
        }
        FUZZ_CHECK(++backLeaves <= leaves, "backward walk longer than the forward walk");
    }
    FUZZ_CHECK(reverse == model.rend() && backLeaves == leaves, "backward walk incomplete");
}

size_t countOccurrences(std::string const& text, char const* what)
{
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

void checkPrint(BPlusNode* root, Model const& model)
{
    CStringBuffer out;
    root->PrintNode(out, 0);
    const std::string text(out.getBufferPointer(), static_cast<size_t>(out.length()));
    size_t leaves = 0;
    for (BPlusNode* leaf = root->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        ++leaves;
    }
    FUZZ_CHECK(countOccurrences(text, "_DAT_NODE") == leaves,
               "printed leaves differ from the chain");
    if (!model.empty()) {
        FUZZ_CHECK(countOccurrences(text, "| key=") >= model.size(),
                   "printed fewer keys than stored");
    }
}

bool leafHolds(BPlusNode* leaf, BPlusKey* key)
{
    for (int i = 0; leaf != nullptr && i < leaf->GetKeyCount(); ++i) {
        if (leaf->GetKey(i) == key) {
            return true;
        }
    }
    return false;
}

// Adds a key the model does not hold yet and checks what happened to the
// leaf it belongs in: the descent before Add names that leaf (or none, when
// the key lies beyond every bound and gets a new leaf of its own at the right
// edge); a leaf with room takes the key, a full leaf splits, keeping the lower
// ceil(M/2) of the M merged keys and passing the rest to a new next leaf.
BPlusNode* addNewKey(BPlusNode* root, BPlusKey* key, bool replaceData, int capacity)
{
    BPlusNode* target = root->Search(key, nullptr);
    const int before = target != nullptr ? target->GetKeyCount() : 0;
    const bool full = target != nullptr && target->IsFull();
    root = root->Add(key, replaceData);
    FUZZ_CHECK(root != nullptr, "Add returned NULL");
    if (target == nullptr) {
        BPlusNode* leaf = root->Search(key, nullptr);
        FUZZ_CHECK(leaf != nullptr && leaf->GetKeyCount() == 1 && leaf->GetKey(0) == key,
                   "a key beyond every bound did not get a leaf of its own");
    } else if (!full) {
        FUZZ_CHECK(target->GetKeyCount() == before + 1 && leafHolds(target, key),
                   "a leaf with room did not take the key");
    } else {
        const int keep = capacity / 2 + capacity % 2;
        BPlusNode* sibling = target->GetNextLeaf();
        FUZZ_CHECK(target->GetKeyCount() == keep && sibling != nullptr &&
                       sibling->GetKeyCount() == capacity - keep &&
                       (leafHolds(target, key) || leafHolds(sibling, key)),
                   "leaf split of M = %d: kept %d, sibling %d", capacity, target->GetKeyCount(),
                   sibling != nullptr ? sibling->GetKeyCount() : -1);
    }
    return root;
}

void runTree(FuzzInput& in)
{
    Config config;
    config.kind = static_cast<Kind>(in.range(0, 3));
    if (config.kind == Kind::Text || config.kind == Kind::Composite) {
        config.normalizer = static_cast<Normalizer>(in.range(0, 2));
        config.cut = in.range(0, 4);
        if (config.normalizer != Normalizer::None) {
            BPlusKey::SetNormalizer(upperNormalizer,
                                    config.normalizer == Normalizer::UpperCut ? config.cut : 0);
        }
    }

    // Capacity: mostly valid M from 3 to 32 (and beyond, which caps at 32),
    // sometimes sizes that make the root invalid.
    BPlusNode* root = nullptr;
    int capacity = 3;
    switch (in.range(0, 9)) {
        case 0:
            root = new BPlusNode();
            break;
        case 1: {
            const int blockSize = in.range(-50, 40);
            const int keySize = in.range(-2, 30);
            root = new BPlusNode(blockSize, keySize, 1.0f);
            capacity = expectedCapacity(blockSize, keySize, 8);
            break;
        }
        default: {
            const int keySize = in.range(1, 200);
            const int target = in.range(3, 40);
            const int blockSize = target * (8 + keySize) - keySize + in.range(0, 7 + keySize);
            root = new BPlusNode(blockSize, keySize, 1.0f);
            capacity = expectedCapacity(blockSize, keySize, 8);
            break;
        }
    }
    const bool valid = capacity > 2;
    FUZZ_CHECK(root->IsValid() == valid, "IsValid %d, expected M = %d", root->IsValid(), capacity);

    Model model(EntryOrder{config.kind});
    std::vector<KeptPayload*> kept;
    int added = 0;
    bool printed = false;
    int chainChecks = 0;
    for (int step = 0; step < kMaxSteps && !in.empty(); ++step) {
        const uint8_t op = in.u8();
        if (op % 32 == 31 && added < kMaxBulkKeys) {
            // Many keys from little input: deep trees for large M too.
            const int count = in.range(1, 250);
            std::vector<uint8_t> bytes = expand(in.u64(), static_cast<size_t>(count) * 24);
            FuzzInput generated(bytes.data(), bytes.size());
            const int base = static_cast<int>(in.u32() >> 8);
            const int stride = in.range(-3, 3);
            for (int i = 0; i < count && valid; ++i, ++added) {
                Entry entry;
                BPlusKey* key = nullptr;
                if (config.kind == Kind::Integer && stride != 0) {
                    entry.value.i = base + i * stride;  // ascending or descending runs
                    key = BPlusKey::NewIntegerKey(entry.value.i);
                } else {
                    key = makeKey(config, generated, entry.value);
                }
                if (model.find(entry) != model.end()) {
                    root = root->Add(key, false);
                    delete key;
                } else {
                    root = addNewKey(root, key, false, capacity);
                    entry.key = key;
                    model.insert(entry);
                }
            }
        } else if (op % 8 < 5) {
            // Add a new key, which may equal a stored one.
            Entry entry;
            BPlusKey* key = nullptr;
            if (!model.empty() && op % 8 == 4) {
                auto it = model.begin();
                std::advance(it, in.range(0, static_cast<int>(model.size()) - 1));
                entry.value = it->value;
                key = makeEqualKey(config, *it, in);
            } else {
                key = makeKey(config, in, entry.value);
            }
            IBPlusData* data = nullptr;
            switch (in.u8() % 8) {
                case 0:
                case 2:
                    data = new Payload();
                    key->SetData(data);
                    break;
                case 3:
                    kept.push_back(new KeptPayload());
                    data = kept.back();
                    key->SetData(data);
                    break;
                case 1:
                    if (config.kind == Kind::Composite) {
                        // A per-part holder, released with the key.
                        auto* composite = static_cast<BPlusCompositeKey*>(key);
                        const int index = in.range(-1, 3);
                        Payload* part = new Payload();
                        composite->SetData(index, part);
                        if (composite->GetData(index) != part) {
                            delete part;  // index outside the holder: not stored
                        }
                        data = key->GetData();
                    }
                    break;
                default:
                    break;
            }
            const bool replaceData = in.flag();
            BPlusNode* before = root;
            auto found = model.find(entry);
            if (valid && found == model.end()) {
                root = addNewKey(root, key, replaceData, capacity);
            } else {
                root = root->Add(key, replaceData);
                FUZZ_CHECK(root != nullptr, "Add returned NULL");
            }
            if (!valid) {
                FUZZ_CHECK(root == before, "an invalid root changed");
                FUZZ_CHECK(root->Search(key) == nullptr, "an invalid root found a key");
                delete key;
            } else if (found != model.end()) {
                // Refused: the tree and the stored key stay; the key is ours.
                FUZZ_CHECK(root == before, "a refused key changed the root");
                FUZZ_CHECK(root->Search(key) == found->key, "a duplicate was stored");
                if (replaceData) {
                    FUZZ_CHECK(found->key->GetData() == data && key->GetData() == nullptr,
                               "bReplaceData did not move the data");
                    const_cast<Entry&>(*found).data = data;
                } else {
                    FUZZ_CHECK(found->key->GetData() == found->data && key->GetData() == data,
                               "a refused key's data moved");
                }
                delete key;
            } else {
                entry.key = key;
                entry.data = data;
                model.insert(entry);
                FUZZ_CHECK(root->Search(key) == key, "an added key is not found");
            }
        } else if (op % 8 == 5) {
            // Exact search with a fresh probe, present in the tree or not.
            Entry probe;
            BPlusKey* key = makeKey(config, in, probe.value);
            auto found = model.find(probe);
            BPlusKey* got = root->Search(key);
            FUZZ_CHECK(got == (found == model.end() ? nullptr : found->key),
                       "Search found %p, model %p", static_cast<void*>(got),
                       found == model.end() ? nullptr : static_cast<void*>(found->key));
            delete key;
        } else if (op % 8 == 6 && !model.empty()) {
            // Exact search and descent for an equal copy of a stored key.
            auto it = model.begin();
            std::advance(it, in.range(0, static_cast<int>(model.size()) - 1));
            BPlusKey* key = makeEqualKey(config, *it, in);
            FUZZ_CHECK(root->Search(key) == it->key, "a stored key is not found by an equal one");
            CPtrStack path;
            BPlusNode* leaf = root->Search(key, &path);
            FUZZ_CHECK(leaf != nullptr && leaf->IsLeafNode(), "the descent found no leaf");
            bool inLeaf = false;
            for (int i = 0; i < leaf->GetKeyCount(); ++i) {
                inLeaf = inLeaf || leaf->GetKey(i) == it->key;
            }
            FUZZ_CHECK(inLeaf, "the descent ended in another leaf");
            FUZZ_CHECK(path.size() >= 1 && path.peek(0) == root,
                       "the path does not start at the root");
            delete key;
        } else if (chainChecks < kMaxChainChecks) {
            ++chainChecks;  // a walk costs O(n): a few per input, and one at the end
            checkChain(root, model, capacity);
            if (!printed && in.u8() % 16 == 0) {
                printed = true;  // printing is slow: once per input
                checkPrint(root, model);
            }
        }
    }
    // Set ZARNCRT_FUZZ_TRACE to see what a reproducer built.
    static bool const trace = std::getenv("ZARNCRT_FUZZ_TRACE") != nullptr;
    if (trace) {
        std::fprintf(stderr, "kind %d, normalizer %d (cut %d), M = %d, %zu keys stored\n",
                     static_cast<int>(config.kind), static_cast<int>(config.normalizer), config.cut,
                     capacity, model.size());
    }
    if (valid) {
        checkChain(root, model, capacity);
    } else {
        FUZZ_CHECK(root->GetFirstLeaf() == nullptr && root->New() == nullptr,
                   "an invalid root has leaves or makes nodes");
    }
    BPlusNode::DeleteTree(root);
    BPlusKey::SetNormalizer(nullptr, 0);
    FUZZ_CHECK(Payload::live == 0, "%d data objects outlived the tree", Payload::live);
    FUZZ_CHECK(KeptPayload::live == static_cast<int>(kept.size()),
               "data that answers false was deleted");
    for (KeptPayload* k : kept) {
        delete k;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzInput in(data, size);
    runTree(in);
    return 0;
}
