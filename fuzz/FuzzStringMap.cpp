// Differential fuzzer for QorStringMap against the table model of
// tests/models/StringMapHash.h: inserts, removals, lookups, clears, resizes
// and NULL keys in both key forms and every release mode. After every step
// slot, item and collision counts and the key's hash must agree; after resizes and at
// the end allocList must list the model's items with keys, values and mode.
// Values are unique malloc'ed blocks, so that the sanitizers catch a value
// freed twice, freed by a growth step or never freed; in the modes that do
// not free, the fuzzer frees what leaves the map.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "containers/QorStringMap.h"
#include "fuzz/FuzzInput.h"
#include "tests/models/StringMapHash.h"

namespace {

// Few letters and the NUL, so that keys repeat, share slots and hold NULs.
constexpr char kAlphabet[] = {'a', 'b', 'K', '\0', 'y'};

// The map with its collision count in view, which decides when it grows.
struct InspectedMap : QorStringMap {
    using QorStringMap::QorStringMap;
    int collisionCount() const
    {
        return collisions;
    }
};

struct Run {
    EQorAllocMode mode;
    InspectedMap map;
    mapmodel::Table model;
    std::vector<std::string> seen;  // keys made so far, for lookups that hit

    Run(EQorAllocMode m, int size) : mode(m), map(size, m), model(size) {}
    ~Run()
    {
        clear(false);
    }
    // What leaves the model is freed by the map or, in the other modes, here.
    void released(void* value) const
    {
        if (mode != eQorAllocFree && mode != eQorAllocFreeAlt) {
            std::free(value);
        }
    }
    void clear(bool reinit)
    {
        for (auto const* item : model.list()) {
            released(item->value);
        }
        map.clear(reinit);
        model.clear(reinit);
    }
    void checkList()
    {
        QorPtrList* list = map.allocList();
        const auto items = model.list();
        FUZZ_CHECK(list->size() == static_cast<int>(items.size()), "allocList: %d items, model %zu",
                   list->size(), items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            auto* got = static_cast<QorStringMap::MapItem*>(list->get(static_cast<int>(i)));
            std::string const& key = items[i]->key;
            FUZZ_CHECK(got->key.length() == static_cast<int>(key.size()) &&
                           std::memcmp(got->key.getBufferPointer(), key.data(), key.size()) == 0,
                       "allocList: item %zu has another key", i);
            FUZZ_CHECK(got->value == items[i]->value, "allocList: item %zu value", i);
            // Key storage as a fresh copy would have it, growth steps or not.
            FUZZ_CHECK(got->key.bufLength() == static_cast<int>(key.size() / 4092 + 1) * 4092,
                       "allocList: item %zu key storage %d", i, got->key.bufLength());
            FUZZ_CHECK(got->deallocate == mode, "allocList: item %zu mode %d", i,
                       static_cast<int>(got->deallocate));
        }
        delete list;
    }
};

// A key seen before, a short new one or now and then a long one.
std::string makeKey(FuzzInput& in, std::vector<std::string>& seen)
{
    const std::uint8_t pick = in.u8();
    if (!seen.empty() && pick % 2 == 0) {
        return seen[in.range(0, static_cast<int>(seen.size()) - 1)];
    }
    std::string key = pick % 32 == 1
                          ? std::string(static_cast<std::size_t>(in.range(4000, 4200)), 'a')
                          : in.text(pick % 8 == 1 ? 300 : 6, kAlphabet, sizeof kAlphabet);
    if (seen.size() < 64) {
        seen.push_back(key);
    }
    return key;
}

void runMap(FuzzInput& in)
{
    static constexpr EQorAllocMode kModes[] = {eQorAllocFree, eQorAllocFreeAlt, eQorAllocNone,
                                               static_cast<EQorAllocMode>(7)};
    Run run(kModes[in.range(0, 3)], in.range(-4, 200));
    CStringBuffer bytes;  // the buffer form of each step's key; one block, reused
    for (int step = 0; step < 512 && !in.empty(); ++step) {
        const std::uint8_t op = in.u8();
        const bool textForm = (op & 0x80) != 0;
        std::string key = makeKey(in, run.seen);
        key = textForm ? std::string(key.c_str()) : key;  // the text form stops at a NUL
        bytes.set(key.data(), static_cast<int>(key.size()));
        const int hash = textForm ? run.map.hash(key.c_str(), -1)
                                  : run.map.hash(key.data(), static_cast<int>(key.size()));
        FUZZ_CHECK(hash == mapmodel::referenceHash(key), "hash of a %zu-byte key", key.size());
        switch ((op & 0x7f) % 9) {
            case 0:
            case 1:
            case 2: {
                void* value = in.u8() % 16 == 0 ? nullptr : std::malloc(1);
                textForm ? run.map.insert(key.c_str(), value) : run.map.insert(bytes, value);
                run.model.insert(key, value);
                break;
            }
            case 3:
            case 4:
                run.released(run.model.remove(key, textForm).value);
                textForm ? run.map.remove(key.c_str()) : run.map.remove(bytes);
                break;
            case 5: {
                void* want = run.model.get(key, textForm);
                void* got = textForm ? run.map.get(key.c_str()) : run.map.get(bytes);
                FUZZ_CHECK((textForm ? run.map[key.c_str()] : run.map[bytes]) == got, "operator[]");
                const bool exists = textForm ? run.map.exists(key.c_str()) : run.map.exists(bytes);
                FUZZ_CHECK(got == want, "get: not the first match's value");
                FUZZ_CHECK(exists == (run.model.find(key, textForm).second >= 0), "exists");
                break;
            }
            case 6:
                run.clear(in.flag());
                break;
            case 7:  // a NULL key stores, finds and removes nothing
                run.map.insert(static_cast<char const*>(nullptr), nullptr);
                run.map.remove(static_cast<char const*>(nullptr));
                FUZZ_CHECK(!run.map.exists(static_cast<char const*>(nullptr)), "NULL key found");
                FUZZ_CHECK(run.map.hash(nullptr, -1) == mapmodel::referenceHash(""), "NULL hash");
                break;
            default: {
                const int n = in.range(-8, 600);
                run.map.resize(n);
                run.model.resize(n);
                run.checkList();
            }
        }
        FUZZ_CHECK(run.map.count() == run.model.count(), "count %d", run.map.count());
        FUZZ_CHECK(run.map.size() == static_cast<int>(run.model.slots.size()), "size %d, model %zu",
                   run.map.size(), run.model.slots.size());
        // Without a table the count is stale until the next insert makes one.
        FUZZ_CHECK(run.map.size() == 0 || run.map.collisionCount() == run.model.collisions,
                   "collisions %d, model %d", run.map.collisionCount(), run.model.collisions);
    }
    run.checkList();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    FuzzInput in(data, size);
    runMap(in);
    return 0;
}
