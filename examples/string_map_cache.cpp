// A string map used as a cache whose values the map frees.
//
// In eQorAllocFree mode the map passes each value to free() when its item is
// removed, cleared or destroyed with the map, so values must come from
// malloc/calloc/strdup. A growth step never frees a value. Sizing the map up
// front (here 1024 slots: eight per item for up to 128 items) keeps it from
// ever running a growth step, whatever the keys.
#include <zarncrt_core++.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// An expensive computation we want to do once per key.
char* render(const char* name)
{
    char* text = static_cast<char*>(std::malloc(64));
    std::snprintf(text, 64, "<%s rendered>", name);
    return text;
}

const char* lookup(QorStringMap& cache, const char* name)
{
    if (void* hit = cache.get(name)) {
        return static_cast<const char*>(hit);
    }
    char* value = render(name);
    cache.insert(name, value);  // the map now frees value
    return value;
}

}  // namespace

int main()
{
    QorStringMap cache(1024, eQorAllocFree);
    const char* requests[] = {"home", "about", "home", "news", "about", "home"};
    for (const char* name : requests) {
        std::printf("%-6s -> %s\n", name, lookup(cache, name));
    }
    std::printf("%d cached values in %d slots\n", cache.count(), cache.size());

    cache.remove("news");  // frees the value of "news"
    QorPtrList* items = cache.allocList();
    for (int i = 0; i < items->size(); ++i) {
        QorStringMap::MapItem* item = static_cast<QorStringMap::MapItem*>(items->get(i));
        std::printf("still cached: %s\n", static_cast<char*>(item->key));
    }
    delete items;  // the list only, never the items
    return 0;      // the map frees the remaining values
}
