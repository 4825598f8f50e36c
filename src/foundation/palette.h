#pragma once
// A plain RGBA colour value (components 0…1) and the fixed annotation palette.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstdint>

namespace marqen {

struct MarqenColor {
    double red = 0, green = 0, blue = 0, alpha = 1;

    friend bool operator==(const MarqenColor &, const MarqenColor &) = default;
    bool isMarqenColorEqual(const MarqenColor &other) const { return *this == other; }

    // Luma 0.299·r + 0.587·g + 0.114·b below one half: pick a light outline or text colour for it.
    bool isDarkColor() const;

    static MarqenColor marqenYellow();  // 0xFFF700
    static MarqenColor marqenOrange();  // 0xFF8017
    static MarqenColor marqenGreen();   // 0x00E800
    static MarqenColor marqenBlack();   // 0x000000
    static MarqenColor marqenBlue();    // 0x1977FF
    static MarqenColor marqenPink();    // 0xFC0C59
    static MarqenColor marqenRed();     // 0xFF0000
    static MarqenColor marqenWhite();   // 0xFFFFFF
};

// 0xRRGGBB (higher bits ignored) with an alpha given in percent; percentages above 100 count as 100.
MarqenColor marqenColorFromRGB(uint32_t rgb, unsigned alphaPercentage = 100);

}  // namespace marqen
