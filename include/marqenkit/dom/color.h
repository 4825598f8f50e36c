#pragma once
// An RGBA colour with red, green and blue on 0..255 and alpha on 0..1, as the DOM stores it.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <memory>

#include "../export.h"
#include "../foundation/json.h"
#include "../foundation/json_writer.h"

namespace marqen {

class MARQEN_EXPORT MarqenDOMColor {
public:
    MarqenDOMColor() = default;  // opaque black
    MarqenDOMColor(double red, double green, double blue, double alpha)
        : red_(red), green_(green), blue_(blue), alpha_(alpha) {}

    static MarqenDOMColor whiteColor() { return {255, 255, 255, 1}; }
    static MarqenDOMColor clearColor() { return {0, 0, 0, 0}; }
    // From components on 0..1 (a platform colour): red, green and blue are multiplied by 255, not rounded.
    static MarqenDOMColor colorWithMarqenColor(double red, double green, double blue, double alpha);

    double red() const { return red_; }
    double green() const { return green_; }
    double blue() const { return blue_; }
    double alpha() const { return alpha_; }
    void setRed(double value) { red_ = value; }
    void setGreen(double value) { green_ = value; }
    void setBlue(double value) { blue_ = value; }
    void setAlpha(double value) { alpha_ = value; }

    // Red, green and blue are written as unsigned integers truncated toward zero; alpha as a double.
    MarqenJSON dictionaryRepresentation() const;
    // The same object written through a JSON writer.
    void writeJSON(MarqenJSONWriter &writer) const;
    // Every missing component reads as 0, so a dictionary without "alpha" is transparent.
    static MarqenDOMColor fromDictionary(const MarqenJSON &dictionary);

    friend bool operator==(const MarqenDOMColor &, const MarqenDOMColor &) = default;

private:
    double red_ = 0, green_ = 0, blue_ = 0, alpha_ = 1;
};

}  // namespace marqen
