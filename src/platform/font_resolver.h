#pragma once
// Turns the platform's PostScript font names ("Helvetica-Bold", "HelveticaNeue-Medium",
// "ArialMT") into an installed font through fontconfig. Names fontconfig knows directly are used
// as they are; others are read as a family plus a style suffix ("-Bold", "-LightItalic"); a family
// nobody provides falls back to the default sans-serif font with the style kept. Results are cached.
#include <string>

namespace marqen {

struct MarqenResolvedFont {
    std::string requestedName;  // the name asked for
    std::string family;         // the installed family used, e.g. "Nimbus Sans"
    int weight = 400;           // 100 (thin) .. 900 (black), as in CSS and OpenType
    bool italic = false;
    bool isFallback = false;    // the family was not found: the default font stands in
    // Pango's description of the face actually loaded, e.g. "Nimbus Sans Bold".
    std::string faceDescription;
};

// Thread-safe; an empty name resolves to the default font.
MarqenResolvedFont MarqenResolveFont(const std::string &postScriptName);

}  // namespace marqen
