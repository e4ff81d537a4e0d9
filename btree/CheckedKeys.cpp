// The checked build's records of normalized copies and of data holders
// (CheckedKeys.h).
#include "btree/CheckedKeys.h"

#ifdef ZARNCRT_CHECKED

#include <cstddef>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "btree/BPlusKey.h"
#include "core/MisuseReport.h"

namespace zarn {
namespace btreecheck {
namespace {

using Normalizer = int (*)(char*, int*, int);

// Which normalizer made each live key's normalized copy. Normalizers are
// numbered as they are first seen (a normalizer with another data value
// counts as another normalizer: it may normalize otherwise).
class NormalizedCopies {
public:
    void made(const void* key, Normalizer normalizer, int data)
    {
        std::lock_guard<std::mutex> guard(lock);
        std::size_t& by = slot(key);
        by = number(normalizer, data);
        ++live[by];
    }

    void copied(const void* target, const void* source)
    {
        std::lock_guard<std::mutex> guard(lock);
        auto found = byKey.find(source);
        if (found == byKey.end()) {
            return;
        }
        const std::size_t by = found->second;
        slot(target) = by;
        ++live[by];
    }

    void dropped(const void* key)
    {
        std::lock_guard<std::mutex> guard(lock);
        auto found = byKey.find(key);
        if (found == byKey.end()) {
            return;
        }
        --live[found->second];
        byKey.erase(found);
    }

    void installing(Normalizer normalizer, int data)
    {
        if (normalizer == nullptr) {
            return;
        }
        std::lock_guard<std::mutex> guard(lock);
        for (std::size_t i = 0; i < seen.size(); ++i) {
            const bool other = seen[i].normalizer != normalizer || seen[i].data != data;
            if (other && live[i] > 0) {
                misuse::report("normalizer changed while keys normalized by another are alive",
                               "BPlusKey::SetNormalizer(%p, %d) while %ld text keys hold copies "
                               "made by normalizer %p with data %d",
                               reinterpret_cast<void*>(normalizer), data, live[i],
                               reinterpret_cast<void*>(seen[i].normalizer), seen[i].data);
                return;
            }
        }
    }

private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    struct Seen {
        Normalizer normalizer;
        int data;
    };

    // key's entry, its former copy no longer counted.
    std::size_t& slot(const void* key)
    {
        auto entry = byKey.emplace(key, kNone);
        if (!entry.second) {
            --live[entry.first->second];
        }
        return entry.first->second;
    }

    std::size_t number(Normalizer normalizer, int data)
    {
        for (std::size_t i = 0; i < seen.size(); ++i) {
            if (seen[i].normalizer == normalizer && seen[i].data == data) {
                return i;
            }
        }
        seen.push_back(Seen{normalizer, data});
        live.push_back(0);
        return seen.size() - 1;
    }

    std::mutex lock;
    std::unordered_map<const void*, std::size_t> byKey{};
    std::vector<Seen> seen;
    std::vector<long> live;  // keys alive holding a copy, per normalizer
};

// How many keys hold each data object.
class DataHolders {
public:
    void held(const void* data)
    {
        std::lock_guard<std::mutex> guard(lock);
        ++holders[data];
    }

    void letGo(const void* data)
    {
        std::lock_guard<std::mutex> guard(lock);
        auto found = holders.find(data);
        if (found != holders.end() && --found->second <= 0) {
            holders.erase(found);
        }
    }

    void deleted(const void* data)
    {
        std::lock_guard<std::mutex> guard(lock);
        auto found = holders.find(data);
        if (found == holders.end()) {
            return;
        }
        misuse::report("data deleted while another key holds it",
                       "IBPlusData %p deleted by the release rule (its Dealloc() said true) while "
                       "%ld other keys hold it",
                       data, found->second);
        holders.erase(found);
    }

private:
    std::mutex lock;
    std::unordered_map<const void*, long> holders;
};

// Never destroyed: keys may be destroyed by static destructors at exit.
NormalizedCopies& copies()
{
    static NormalizedCopies* all = new NormalizedCopies;
    return *all;
}

DataHolders& dataHolders()
{
    static DataHolders* all = new DataHolders;
    return *all;
}

}  // namespace

void copyNormalized(BPlusKey const* key)
{
    copies().made(key, BPlusKey::m_normalizer, BPlusKey::m_nNormalizeData);
}

void copyCopied(BPlusKey const* target, BPlusKey const* source)
{
    copies().copied(target, source);
}

void copyDropped(BPlusKey const* key)
{
    copies().dropped(key);
}

void normalizerInstalled(Normalizer normalizer, int data)
{
    copies().installing(normalizer, data);
}

void dataHeld(IBPlusData const* data)
{
    dataHolders().held(data);
}

void dataLetGo(IBPlusData const* data)
{
    dataHolders().letGo(data);
}

void dataDeleted(IBPlusData const* data)
{
    dataHolders().deleted(data);
}

}  // namespace btreecheck
}  // namespace zarn

#endif  // ZARNCRT_CHECKED
