// Kills every mutant of lib/toy.cpp but one: above() is never asked about
// equal values, so "value > limit -> value >= limit" survives.
#include <cstddef>
#include <cstdio>

struct Box {
    int size;
};
bool above(int value, int limit);
int grow(Box* box, std::size_t extra);

static int failures = 0;

static void expect(bool ok, char const* what)
{
    if (!ok) {
        std::printf("FAILED: %s\n", what);
        ++failures;
    }
}

int main()
{
    expect(above(5, 3), "above(5, 3) is true");
    expect(!above(1, 3), "above(1, 3) is false");
    Box empty{0};
    expect(grow(&empty, 2) == 3, "grow adds extra + 1 to an empty box and returns the size");
    expect(empty.size == 3, "grow stores the new size");
    Box negative{-1};
    expect(grow(&negative, 2) == 0, "grow returns 0 for a box of negative size");
    expect(negative.size == -1, "grow leaves a box of negative size alone");
    return failures == 0 ? 0 : 1;
}
