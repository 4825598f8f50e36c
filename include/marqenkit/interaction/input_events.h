#pragma once
// Input as plain data, whatever toolkit delivered it. Locations are in view pixels (logical pixels; the
// view's scale factor maps them to device pixels). Plain values; any thread.
#include <string>

#include "../foundation/geometry.h"

namespace marqen {

using MarqenModifierFlags = unsigned;
inline constexpr MarqenModifierFlags MarqenModifierShift = 1u << 0;
inline constexpr MarqenModifierFlags MarqenModifierControl = 1u << 1;
inline constexpr MarqenModifierFlags MarqenModifierAlt = 1u << 2;

struct MarqenPointerEvent {
    CGPoint location{};
    MarqenModifierFlags modifiers = 0;
    unsigned clickCount = 1;
    double pressure = 1.0;  // 0…1; mice report 1
    double timestamp = 0;   // seconds, for stroke velocity; 0 when unknown
};

// Keys by name: "Left", "Right", "Up", "Down", "Delete", "BackSpace", "Escape", "Return", "Tab", or the
// character a letter key gives ("a", "z").
struct MarqenKeyEvent {
    std::string key;
    MarqenModifierFlags modifiers = 0;
};

}  // namespace marqen
