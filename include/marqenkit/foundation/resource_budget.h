#pragma once
// How much work one operation may do on input it does not trust. Every limit is a count the input
// cannot lie about (values parsed, points drawn); exceeding one is an error naming the budget, or a
// logged skip of the one element it concerns. Zero means "no limit".
//
// The library starts with every limit off; a host that reads files from strangers sets the budget once,
// on the main thread, before starting work (the command line does so with commandLineDefaults()).
// Readers on any thread then read it; it is not meant to change while work is under way.
#include <cstdint>
#include <string>

#include "../export.h"

namespace marqen {

struct MARQEN_EXPORT MarqenResourceBudget {
    uint64_t jsonValuesPerFile = 0;      // values kept from one JSON file (objects, arrays, scalars)
    uint64_t pathPointsPerElement = 0;   // points one drawn path may hold
    uint64_t pathPointsPerDocument = 0;  // points all paths drawn for one document may hold together
    uint64_t textClustersPerText = 0;    // grapheme clusters one text may hold when it is laid out
    uint64_t codepointsPerCluster = 0;   // code points one grapheme cluster may hold when it is laid out
    // Pixels of the images decoded for one document's bitmaps, alive at once; a file shown by several
    // bitmaps counts once. A file that would exceed it is left out (logged), its bitmaps stay empty.
    uint64_t decodedPixelsPerDocument = 0;

    // Sizes a command line working on untrusted files uses: generous for real documents, small enough
    // that a hostile one ends in seconds and a few hundred megabytes.
    static MarqenResourceBudget commandLineDefaults();
};

// The budget in force, and setting it (see the thread note above).
MARQEN_EXPORT const MarqenResourceBudget &MarqenCurrentResourceBudget();
MARQEN_EXPORT void MarqenSetResourceBudget(const MarqenResourceBudget &budget);

// The error text for a budget that ran out: "<what> exceeds the <name> budget (<limit>)".
MARQEN_EXPORT std::string MarqenBudgetExceededText(const std::string &what, const std::string &budgetName,
                                                   uint64_t limit);

}  // namespace marqen
