#pragma once
// DOM colours (0..255 components, alpha 0..1) as drawing colours (every component 0..1).
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "dom/color.h"
#include "platform/graphics.h"

namespace marqen {

inline MarqenRGBAColor MarqenRGBAColorFromDOMColor(const MarqenDOMColor &color) {
    return {color.red() / 255.0, color.green() / 255.0, color.blue() / 255.0, color.alpha()};
}

}  // namespace marqen
