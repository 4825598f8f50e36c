#include "foundation/palette.h"

#include <algorithm>

namespace marqen {

MarqenColor marqenColorFromRGB(uint32_t rgb, unsigned alphaPercentage) {
    return {((rgb >> 16) & 255) / 255.0, ((rgb >> 8) & 255) / 255.0, (rgb & 255) / 255.0,
            std::min(alphaPercentage, 100u) / 100.0};
}

bool MarqenColor::isDarkColor() const { return 0.299 * red + 0.587 * green + 0.114 * blue < 0.5; }

MarqenColor MarqenColor::marqenYellow() { return marqenColorFromRGB(0xFFF700); }
MarqenColor MarqenColor::marqenOrange() { return marqenColorFromRGB(0xFF8017); }
MarqenColor MarqenColor::marqenGreen() { return marqenColorFromRGB(0x00E800); }
MarqenColor MarqenColor::marqenBlack() { return marqenColorFromRGB(0x000000); }
MarqenColor MarqenColor::marqenBlue() { return marqenColorFromRGB(0x1977FF); }
MarqenColor MarqenColor::marqenPink() { return marqenColorFromRGB(0xFC0C59); }
MarqenColor MarqenColor::marqenRed() { return marqenColorFromRGB(0xFF0000); }
MarqenColor MarqenColor::marqenWhite() { return marqenColorFromRGB(0xFFFFFF); }

}  // namespace marqen
