#include "foundation/edge_insets.h"

namespace marqen {

CGRect MarqenEdgeInsetsInsetRect(CGRect rect, MarqenEdgeInsets insets) {
    return CGRectMake(rect.origin.x + insets.left, rect.origin.y + insets.top,
                      rect.size.width - (insets.left + insets.right), rect.size.height - (insets.top + insets.bottom));
}

}  // namespace marqen
