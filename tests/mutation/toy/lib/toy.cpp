// Mutated by the mutation tool's self-test. No mutant comes from comments
// (a < b, i++), strings, character literals, preprocessor lines, template
// brackets or ->.
#include <cstddef>
#define TOY_LIMIT (1 < 2 && 3 > 2)

struct Box {
    int size;
};

/* if (x) { return 1; } */
bool above(int value, int limit)
{
    return value > limit;
}

int grow(Box* box, std::size_t extra)
{
    const char* label = "a < b && c->d";
    if (box->size < 0 || label[0] != 'a') {
        return 0;
    }
    int unused = 0;  // a dead store: its mutants compile to the same code
    unused = 2;
    box->size += static_cast<int>(extra) + 1;
    return box->size;
}
