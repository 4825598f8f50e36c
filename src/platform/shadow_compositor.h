#pragma once
// The raster path of a shadowed group (a transparency layer, or one drawing operation that casts a
// shadow): one pass over the group's pixels finds where it has ink and copies its alpha into the
// shadow mask; the mask is blurred over the inked rows and columns only; then, target row by target
// row, the shadow and the group over it are composited over the blocks of that row that hold ink,
// where Cairo would composite the group's whole box twice. The pixels are those Cairo's mask and
// paint give (pixman's arithmetic, platform/pixel_over.h).
//
// Threads: the working memory is per thread; a context belongs to one thread at a time.
#include "foundation/geometry.h"
#include "platform/graphics.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_pattern cairo_pattern_t;

namespace marqen {

// How a shadowed group was composited.
enum class ShadowCompositing {
    NotRaster,  // nothing drawn: the group or the target is not an ARGB32 image at one pixel per device unit
    Cairo,      // the shadow and the group through Cairo (at the clip's edges, fractional offsets, alpha below 1)
    Direct,     // composited here, row by row over the blocks that hold ink
};

// Composites `group` (as cairo_pop_group returned it, the CTM unchanged since) with `alpha`, and the
// shadow it casts, onto the context's current target, with the operator OVER. `clip` is the
// context's clip in device space when it is known to be exactly that axis-aligned rectangle,
// nullptr when its shape is not known; only inside a known clip is the composite done without Cairo.
// NotRaster leaves the work to the caller's general path.
ShadowCompositing compositeShadowedRasterGroup(cairo_t *context, cairo_pattern_t *group, double alpha,
                                               const MarqenShadow &shadow, const CGRect *clip);

}  // namespace marqen
