#include "SampleText.h"

namespace wordindex {

const char kSampleText[] =
    "The lighthouse keeper kept a ledger of every ship that passed the point.\n"
    "In the ledger he wrote the name of the ship, the hour, and the colour of the sea.\n"
    "Some nights the sea was black and still; some nights it was grey and loud.\n"
    "He never missed a ship, and he never missed an hour.\n"
    "\n"
    "One winter the ledger grew so thick that he could no longer find the old ships.\n"
    "So he cut the pages into small cards, one card for each name,\n"
    "and he sorted the cards in a long wooden box, from A at the front to Z at the back.\n"
    "When a ship came back, he pulled its card and added the new hour to the old ones.\n"
    "\n"
    "The box soon filled, and he split it into two boxes, and later into four.\n"
    "On top of the boxes he kept a small index card that told him which box to open:\n"
    "names up to Harbour in the first, up to Mariner in the second, and so on.\n"
    "Finding a ship now took three looks instead of a whole evening of turning pages.\n"
    "\n"
    "Visitors asked which ship came most often. He did not have to count:\n"
    "each card carried its own tally, and the busiest cards were worn soft at the edges.\n"
    "The keeper liked to say that a good index is a map of where to look,\n"
    "and that the sea, like any long text, is easier to read when it is sorted.\n";

}  // namespace wordindex
