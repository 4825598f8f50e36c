#pragma once
// A one-page vector PDF drawn through a MarqenGraphicsContext: paths stay paths and text stays text
// (shadows are the only raster parts).
//
// Threads: a drawing belongs to one thread at a time.
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "foundation/error.h"
#include "foundation/geometry.h"
#include "platform/graphics.h"

namespace marqen {

// The page is pageSize points; the context starts with the origin at the top left and y downwards.
// Null (with an error) when the size is not positive and finite or Cairo reports a failure.
std::optional<std::vector<uint8_t>> MarqenPDFDrawingCreateData(CGSize pageSize,
                                                               const std::function<void(MarqenGraphicsContext &)> &draw,
                                                               MarqenError *error = nullptr);

}  // namespace marqen
