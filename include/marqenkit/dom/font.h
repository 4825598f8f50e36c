#pragma once
// A font by PostScript name and size in points; immutable after creation.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstddef>
#include <string>

#include "../export.h"
#include "../foundation/json.h"
#include "../foundation/json_writer.h"

namespace marqen {

class MARQEN_EXPORT MarqenDOMFont {
public:
    MarqenDOMFont() : MarqenDOMFont(defaultFontName(), 36) {}
    MarqenDOMFont(std::string name, double size) : name_(std::move(name)), size_(size) {}

    static std::string defaultFontName() { return "Helvetica-Bold"; }
    static std::string defaultLabelFontName() { return "HelveticaNeue-Medium"; }

    const std::string &name() const { return name_; }
    double size() const { return size_; }

    MarqenJSON dictionaryRepresentation() const;  // "name", "size"
    // The same object written through a JSON writer.
    void writeJSON(MarqenJSONWriter &writer) const;
    // A missing name reads as the default font; a missing or non-positive size as 36.
    static MarqenDOMFont fromDictionary(const MarqenJSON &dictionary);

    bool operator==(const MarqenDOMFont &other) const { return name_ == other.name_ && size_ == other.size_; }
    // The name's hash combined by exclusive-or with the hash of the size's eight raw bytes.
    size_t hash() const;

private:
    std::string name_;
    double size_;
};

}  // namespace marqen

template <>
struct std::hash<marqen::MarqenDOMFont> {
    size_t operator()(const marqen::MarqenDOMFont &font) const { return font.hash(); }
};
