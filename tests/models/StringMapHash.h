// Reference model of QorStringMap: the key hash written out over an explicit
// work area (the library builds none), and the slot table that hash drives,
// with the collision count and growth step of containers/QorStringMap.h.
// Shared by the map tests and the map fuzzer.
#ifndef ZARNCRT_TESTS_MODELS_STRINGMAPHASH_H
#define ZARNCRT_TESTS_MODELS_STRINGMAPHASH_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace mapmodel {

// The work area is a fill byte 0x11, the key, then 0x11 up to a multiple of
// four bytes, read as little-endian signed words W[0..m-1]. The words are
// chained through the middle 32 bits of 64-bit products, and the last
// product is folded to 24 bits.
inline int referenceHash(std::string const& key)
{
    std::string area = "\x11" + key;
    area.resize(key.size() / 4 * 4 + 4, '\x11');
    std::vector<std::int32_t> w(area.size() / 4);
    for (std::size_t k = 0; k < area.size(); ++k) {
        w[k / 4] = std::int32_t(std::uint32_t(w[k / 4]) |
                                std::uint32_t(static_cast<unsigned char>(area[k])) << (k % 4 * 8));
    }
    auto middle = [](std::int64_t x) { return std::int32_t(std::uint64_t(x) >> 16); };
    const std::size_t m = w.size();
    std::int64_t h = w[m - 1];
    for (std::size_t k = 0; k + 3 <= m; ++k) {
        h = middle(w[k] * h);
    }
    const std::int64_t p = m == 1 ? std::int64_t(w[0]) * w[0] : h * w[m - 2];
    const auto r = std::uint32_t(middle(std::int64_t(std::int32_t(p >> 32)) * std::int32_t(p)));
    return int(((r & 0xff) << 16) | (r & 0xff00) | ((r >> 16) & 0xff));
}

// The table: slots of items in list order; no slots stands for no table.
// A text-form lookup compares up to the first NUL (strcmp), a buffer-form
// lookup byte for byte.
struct Table {
    struct Item {
        std::string key;
        void* value;
        int hash;
    };
    std::vector<std::vector<Item>> slots;
    int collisions = 0;

    explicit Table(int n = 32)
    {
        init(n);
    }
    void init(int n)
    {
        slots.assign(static_cast<std::size_t>(std::max(n, 32)), {});
        collisions = 0;
    }
    // The growth step: every item re-inserted, slot by slot, in list order.
    void resize(int n)
    {
        std::vector<std::vector<Item>> old = std::move(slots);
        init(n);
        for (auto& slot : old) {
            for (Item& item : slot) {
                place(std::move(item));
            }
        }
    }
    void place(Item item)
    {
        auto& slot = slots[static_cast<std::size_t>(item.hash) % slots.size()];
        collisions += slot.empty() ? 0 : 1;
        slot.push_back(std::move(item));
    }
    void insert(std::string const& key, void* value)
    {
        if (slots.empty()) {
            init(32);
        }
        if (collisions > std::max(static_cast<int>(slots.size() / 8), 7)) {
            resize(2 * collisions);
        }
        place({key, value, referenceHash(key)});
    }
    // The slot a lookup searches and the position in it of the first match, or -1.
    std::pair<std::vector<Item>*, int> find(std::string const& key, bool textForm)
    {
        auto* slot =
            slots.empty() ? nullptr : &slots[std::size_t(referenceHash(key)) % slots.size()];
        for (std::size_t i = 0; slot != nullptr && i < slot->size(); ++i) {
            std::string const& stored = (*slot)[i].key;
            if (textForm ? std::strcmp(stored.c_str(), key.c_str()) == 0 : stored == key) {
                return {slot, static_cast<int>(i)};
            }
        }
        return {slot, -1};
    }
    void* get(std::string const& key, bool textForm)
    {
        auto [slot, at] = find(key, textForm);
        return at < 0 ? nullptr : (*slot)[static_cast<std::size_t>(at)].value;
    }
    // Removes what a lookup finds; returns it (NULL value when none). A
    // shared slot gives back a collision even when nothing matches.
    Item remove(std::string const& key, bool textForm)
    {
        auto [slot, at] = find(key, textForm);
        collisions -= slot != nullptr && slot->size() > 1 ? 1 : 0;
        if (at < 0) {
            return {key, nullptr, 0};
        }
        Item item = std::move((*slot)[static_cast<std::size_t>(at)]);
        slot->erase(slot->begin() + at);
        return item;
    }
    void clear(bool reinit)
    {
        reinit ? init(static_cast<int>(slots.size())) : slots.clear();
        collisions = 0;
    }
    int count() const
    {
        return static_cast<int>(list().size());
    }
    // Every item, slot by slot: the order of allocList.
    std::vector<Item const*> list() const
    {
        std::vector<Item const*> all;
        for (auto const& slot : slots) {
            for (Item const& item : slot) {
                all.push_back(&item);
            }
        }
        return all;
    }
};

}  // namespace mapmodel

#endif
