// Differential fuzzer for QorStringMap.
//
// The model is a plain table: a std::vector of slots, each a std::vector of
// (key bytes, value) in list order, with the collision count, the growth
// check and the re-insertion of a growth step written out from the
// documented rules. Slots come from a reference hash computed here over an
// explicit work area (the library computes it without one), checked against
// the published reference values once and against QorStringMap::hash for
// every key. After every step count() and size() must match; lookups must
// return the value of the first matching item; allocList() must list every
// item in slot order with its key, value, mode and key storage.
//
// Values are unique malloc'ed tokens, so that AddressSanitizer and
// LeakSanitizer catch a value freed twice, freed by a growth step, or never
// freed. In the modes that do not free, the fuzzer frees what it removes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "containers/QorPtrList.h"
#include "containers/QorStringMap.h"
#include "fuzz/FuzzInput.h"
#include "text/CStringBuffer.h"

namespace {

constexpr int kMaxSteps = 512;
// Few distinct letters and the NUL, so that keys repeat, share slots and
// (in the buffer form) hold NUL bytes.
constexpr char kAlphabet[] = {'a', 'b', 'K', '\0', 'y'};

// --- The reference hash, straight from its definition.

int32_t middle(int64_t product)
{
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(product) >> 16));
}

// Kept out of the coverage instrumentation: its loops are the fuzzer's own
// and only slow the run down.
#if defined(__clang__)
__attribute__((no_sanitize("coverage")))
#endif
int referenceHash(std::string const& key)
{
    const size_t n = key.size();
    const size_t m = n / 4 + 1;
    std::vector<unsigned char> area(4 * m, 0x11);
    std::memcpy(area.data() + 1, key.data(), n);
    std::vector<int32_t> w(m);
    for (size_t k = 0; k < m; ++k) {
        const uint32_t word = static_cast<uint32_t>(area[4 * k]) |
                              (static_cast<uint32_t>(area[4 * k + 1]) << 8) |
                              (static_cast<uint32_t>(area[4 * k + 2]) << 16) |
                              (static_cast<uint32_t>(area[4 * k + 3]) << 24);
        w[k] = static_cast<int32_t>(word);
    }
    int64_t p;
    if (m == 1) {
        p = static_cast<int64_t>(w[0]) * w[0];
    } else {
        int32_t h = w[m - 1];
        for (size_t k = 0; k + 2 < m; ++k) {
            h = middle(static_cast<int64_t>(w[k]) * h);
        }
        p = static_cast<int64_t>(h) * w[m - 2];
    }
    const int32_t hi = static_cast<int32_t>(static_cast<uint64_t>(p) >> 32);
    const int32_t lo = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(p)));
    const uint32_t r = static_cast<uint32_t>(middle(static_cast<int64_t>(hi) * lo));
    return static_cast<int>(((r & 0xffu) << 16) | (r & 0xff00u) | ((r >> 16) & 0xffu));
}

void selfTest()
{
    static bool done = false;
    if (done) {
        return;
    }
    done = true;
    const struct {
        char const* key;
        int hash;
    } kReference[] = {{"", 5772137},     {"a", 10185865},        {"abc", 15285261},
                      {"abcd", 1324304}, {"abcdefgh", 11878292}, {"hello world", 10550131},
                      {"key", 3927074},  {"Key", 12479187}};
    for (auto const& r : kReference) {
        FUZZ_CHECK(referenceHash(r.key) == r.hash, "the fuzzer's hash of '%s'", r.key);
    }
}

// --- The model

struct Item {
    std::string key;
    void* value;
    int hash;  // referenceHash(key), computed once
};

struct Model {
    std::vector<std::vector<Item>> slots;  // empty: no table
    int collisions = 0;

    size_t slotOf(std::string const& key) const
    {
        return slotOf(referenceHash(key));
    }
    size_t slotOf(int hash) const
    {
        return static_cast<size_t>(hash) % slots.size();
    }

    void init(int n)
    {
        slots.assign(static_cast<size_t>(n < 32 ? 32 : n), {});
        collisions = 0;
    }

    void place(Item item)
    {
        std::vector<Item>& slot = slots[slotOf(item.hash)];
        if (!slot.empty()) {
            ++collisions;
        }
        slot.push_back(std::move(item));
    }

    void resize(int n)
    {
        std::vector<std::vector<Item>> old;
        old.swap(slots);
        init(n);
        for (auto& slot : old) {
            for (auto& item : slot) {
                place(std::move(item));
            }
        }
    }

    void insert(std::string const& key, int hash, void* value)
    {
        if (slots.empty()) {
            init(32);
        }
        const int limit =
            static_cast<int>(slots.size() / 8) > 7 ? static_cast<int>(slots.size() / 8) : 7;
        if (collisions > limit) {
            resize(2 * collisions);
        }
        place(Item{key, value, hash});
    }

    static bool matches(Item const& item, std::string const& key, bool textForm)
    {
        if (textForm) {
            return std::strcmp(item.key.c_str(), key.c_str()) == 0;
        }
        return item.key == key;
    }

    // The first matching item, or NULL.
    Item const* find(std::string const& key, bool textForm) const
    {
        if (slots.empty()) {
            return nullptr;
        }
        for (Item const& item : slots[slotOf(key)]) {
            if (matches(item, key, textForm)) {
                return &item;
            }
        }
        return nullptr;
    }

    // Removes the first matching item; returns whether there was one and its value.
    bool remove(std::string const& key, bool textForm, void*& value)
    {
        if (slots.empty()) {
            return false;
        }
        std::vector<Item>& slot = slots[slotOf(key)];
        if (slot.empty()) {
            return false;
        }
        if (slot.size() > 1) {
            --collisions;  // counted before the search, found or not
        }
        for (size_t i = 0; i < slot.size(); ++i) {
            if (matches(slot[i], key, textForm)) {
                value = slot[i].value;
                slot.erase(slot.begin() + static_cast<long>(i));
                return true;
            }
        }
        return false;
    }

    int count() const
    {
        size_t n = 0;
        for (auto const& slot : slots) {
            n += slot.size();
        }
        return static_cast<int>(n);
    }
};

struct Harness {
    EQorAllocMode mode;
    QorStringMap* map;
    Model model;
    std::vector<std::string> keys;  // keys seen so far, for lookups that hit

    bool freesValues() const
    {
        return mode == eQorAllocFree || mode == eQorAllocFreeAlt;
    }
    // A value leaving the model: the map freed it, or it is ours to free.
    void released(void* value)
    {
        if (!freesValues()) {
            std::free(value);
        }
    }
};

int expectedKeyStorage(size_t n)
{
    return n < 4092 ? 4092 : static_cast<int>((n / 4092 + 1) * 4092);
}

std::string makeKey(Harness& h, FuzzInput& in)
{
    if (!h.keys.empty() && in.range(0, 2) != 0) {
        std::string key =
            h.keys[static_cast<size_t>(in.range(0, static_cast<int>(h.keys.size()) - 1))];
        if (in.u8() % 8 == 0 && !key.empty()) {
            key.pop_back();  // a neighbour of a known key
        }
        return key;
    }
    std::string key;
    switch (in.u8() % 16) {
        case 0:
            key = in.text(300, kAlphabet, sizeof kAlphabet);  // beyond any small work area
            break;
        case 1:
            if (in.u8() % 4 == 0) {
                key.assign(static_cast<size_t>(in.range(4000, 4200)),
                           static_cast<char>('a' + in.range(0, 3)));
                break;
            }
            [[fallthrough]];
        default:
            key = in.text(6, kAlphabet, sizeof kAlphabet);
            break;
    }
    if (h.keys.size() < 64) {
        h.keys.push_back(key);
    }
    return key;
}

void checkSizes(Harness& h, char const* step)
{
    FUZZ_CHECK(h.map->count() == h.model.count(), "%s: count %d, model %d", step, h.map->count(),
               h.model.count());
    FUZZ_CHECK(h.map->size() == static_cast<int>(h.model.slots.size()), "%s: size %d, model %zu",
               step, h.map->size(), h.model.slots.size());
}

void checkList(Harness& h)
{
    QorPtrList* list = h.map->allocList();
    FUZZ_CHECK(list != nullptr, "allocList returned NULL");
    int index = 0;
    for (auto const& slot : h.model.slots) {
        for (Item const& item : slot) {
            auto* got = static_cast<QorStringMap::MapItem*>(list->get(index));
            FUZZ_CHECK(got != nullptr, "allocList: item %d missing", index);
            FUZZ_CHECK(
                got->key.length() == static_cast<int>(item.key.size()) &&
                    std::memcmp(got->key.getBufferPointer(), item.key.data(), item.key.size()) == 0,
                "allocList: item %d has another key", index);
            FUZZ_CHECK(got->value == item.value, "allocList: item %d has another value", index);
            FUZZ_CHECK(got->deallocate == h.mode, "allocList: item %d has mode %d, map %d", index,
                       static_cast<int>(got->deallocate), static_cast<int>(h.mode));
            FUZZ_CHECK(got->key.bufLength() == expectedKeyStorage(item.key.size()),
                       "allocList: item %d key storage %d", index, got->key.bufLength());
            ++index;
        }
    }
    FUZZ_CHECK(list->size() == index, "allocList: %d items, model %d", list->size(), index);
    delete list;
}

void checkLookup(Harness& h, std::string const& key, bool textForm)
{
    const std::string seen = textForm ? std::string(key.c_str()) : key;
    Item const* want = h.model.find(seen, textForm);
    void* got;
    bool exists;
    if (textForm) {
        got = h.map->get(key.c_str());
        exists = h.map->exists(key.c_str());
        FUZZ_CHECK((*h.map)[key.c_str()] == got, "operator[] differs from get");
    } else {
        CStringBuffer buffer;
        buffer.set(key.data(), static_cast<int>(key.size()));
        got = h.map->get(buffer);
        exists = h.map->exists(buffer);
        FUZZ_CHECK((*h.map)[buffer] == got, "operator[] differs from get");
    }
    FUZZ_CHECK(exists == (want != nullptr), "exists %d, model %d (%s form, %zu bytes)", exists,
               want != nullptr, textForm ? "text" : "buffer", key.size());
    FUZZ_CHECK(got == (want ? want->value : nullptr), "get: not the first match's value (%s form)",
               textForm ? "text" : "buffer");
}

void runMap(FuzzInput& in)
{
    selfTest();
    Harness h;
    static constexpr EQorAllocMode kModes[] = {eQorAllocFree, eQorAllocFreeAlt, eQorAllocNone,
                                               static_cast<EQorAllocMode>(7)};
    h.mode = kModes[in.range(0, 3)];
    if (in.flag()) {
        const int size = in.range(-4, 200);
        h.map = new QorStringMap(size, h.mode);
        h.model.init(size);
    } else {
        h.map = new QorStringMap(h.mode);
        h.model.init(32);
    }
    checkSizes(h, "construct");

    for (int step = 0; step < kMaxSteps && !in.empty(); ++step) {
        const uint8_t op = in.u8();
        const bool textForm = (op & 0x80) != 0;
        char const* name = "";
        switch ((op & 0x7f) % 16) {
            case 0:
            case 1:
            case 2:
            case 3:
            case 4: {
                const std::string key = makeKey(h, in);
                const std::string stored = textForm ? std::string(key.c_str()) : key;
                const int hash = referenceHash(stored);
                if (textForm) {
                    FUZZ_CHECK(h.map->hash(key.c_str(), -1) == hash, "hash of a measured key");
                } else {
                    FUZZ_CHECK(h.map->hash(key.data(), static_cast<int>(key.size())) == hash,
                               "hash of a %zu-byte key", key.size());
                }
                void* value = in.u8() % 16 == 0 ? nullptr : std::malloc(1 + in.range(0, 7));
                if (textForm) {
                    h.map->insert(key.c_str(), value);
                } else {
                    CStringBuffer buffer;
                    buffer.set(key.data(), static_cast<int>(key.size()));
                    h.map->insert(buffer, value);
                }
                h.model.insert(stored, hash, value);
                name = "insert";
                break;
            }
            case 5:
            case 6:
            case 7: {
                const std::string key = makeKey(h, in);
                const std::string seen = textForm ? std::string(key.c_str()) : key;
                void* value = nullptr;
                const bool found = h.model.remove(seen, textForm, value);
                if (textForm) {
                    h.map->remove(key.c_str());
                } else {
                    CStringBuffer buffer;
                    buffer.set(key.data(), static_cast<int>(key.size()));
                    h.map->remove(buffer);
                }
                if (found) {
                    h.released(value);
                }
                name = "remove";
                break;
            }
            case 8:
            case 9:
            case 10:
            case 11:
                checkLookup(h, makeKey(h, in), textForm);
                name = "lookup";
                break;
            case 12: {
                const bool reinit = in.flag();
                for (auto const& slot : h.model.slots) {
                    for (Item const& item : slot) {
                        h.released(item.value);
                    }
                }
                if (!reinit && in.u8() % 4 == 0) {
                    delete h.map;  // the destructor releases like clear(false)
                    h.map = new QorStringMap(h.mode);
                    h.model.init(32);
                } else {
                    h.map->clear(reinit);
                    const int slots = static_cast<int>(h.model.slots.size());
                    if (reinit) {
                        h.model.init(slots);
                    } else {
                        h.model.slots.clear();
                    }
                }
                name = "clear";
                break;
            }
            case 13: {
                const int n = in.range(-8, 600);
                h.map->resize(n);
                if (h.model.slots.empty()) {
                    h.model.init(n);
                } else {
                    h.model.resize(n);
                }
                name = "resize";
                break;
            }
            case 14: {
                // NULL keys store, find and remove nothing.
                h.map->insert(static_cast<char const*>(nullptr), nullptr);
                h.map->remove(static_cast<char const*>(nullptr));
                FUZZ_CHECK(h.map->get(static_cast<char const*>(nullptr)) == nullptr &&
                               !h.map->exists(static_cast<char const*>(nullptr)),
                           "a NULL key was found");
                FUZZ_CHECK(h.map->hash(nullptr, -1) == referenceHash(""), "hash of NULL");
                name = "NULL key";
                break;
            }
            default:
                checkList(h);
                name = "allocList";
                break;
        }
        checkSizes(h, name);
    }
    checkList(h);
    // Set ZARNCRT_FUZZ_TRACE to see what a reproducer built.
    static bool const trace = std::getenv("ZARNCRT_FUZZ_TRACE") != nullptr;
    if (trace) {
        std::fprintf(stderr, "mode %d: %d items in %d slots\n", static_cast<int>(h.mode),
                     h.map->count(), h.map->size());
    }
    delete h.map;
    if (!h.freesValues()) {
        for (auto const& slot : h.model.slots) {
            for (Item const& item : slot) {
                std::free(item.value);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzInput in(data, size);
    runMap(in);
    return 0;
}
