#pragma once
// Relative tool sizes of text and their font sizes, at a given content scale factor. Main thread only.
#include "foundation/geometry.h"

namespace marqen {

CGFloat textFontSizeForRelativeToolSize(CGFloat relative, CGFloat contentScaleFactor);
CGFloat relativeToolSizeForTextFontSize(CGFloat fontSize, CGFloat contentScaleFactor);

}  // namespace marqen
