#include "foundation/resource_budget.h"

namespace marqen {

namespace {
MarqenResourceBudget &currentBudget() {
    static MarqenResourceBudget budget;
    return budget;
}
}  // namespace

MarqenResourceBudget MarqenResourceBudget::commandLineDefaults() {
    MarqenResourceBudget budget;
    budget.jsonValuesPerFile = 3'000'000;
    budget.pathPointsPerElement = 200'000;
    budget.pathPointsPerDocument = 1'000'000;
    budget.textClustersPerText = 200'000;
    budget.codepointsPerCluster = 32;
    // One picture at the decoders' own limit (256 megapixels) with room for smaller ones beside it.
    budget.decodedPixelsPerDocument = 320'000'000;
    return budget;
}

const MarqenResourceBudget &MarqenCurrentResourceBudget() { return currentBudget(); }

void MarqenSetResourceBudget(const MarqenResourceBudget &budget) { currentBudget() = budget; }

std::string MarqenBudgetExceededText(const std::string &what, const std::string &budgetName, uint64_t limit) {
    return what + " exceeds the " + budgetName + " budget (" + std::to_string(limit) + ")";
}

}  // namespace marqen
