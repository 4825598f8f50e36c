#include "platform/font_resolver.h"
#include "foundation/string_helpers.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace marqen {

namespace {

// "HelveticaNeue" → "Helvetica Neue", "TimesNewRoman" → "Times New Roman".
std::string splitCamelCase(const std::string &name) {
    std::string out;
    for (size_t i = 0; i < name.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(name[i]);
        if (i > 0 && std::isupper(c) && std::islower(static_cast<unsigned char>(name[i - 1]))) out.push_back(' ');
        out.push_back(static_cast<char>(c));
    }
    return out;
}

std::string squeeze(const std::string &s) {  // lower case without spaces, for comparing family names
    std::string out;
    for (char c : s)
        if (c != ' ' && c != '-' && c != '_') out.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    return out;
}

// Families of the platform's fonts that fontconfig does not alias itself, mapped to what it does know.
const std::map<std::string, std::string> &familyAliases() {
    static const std::map<std::string, std::string> aliases = {
        {"helveticaneue", "Helvetica"},    {"helveticaneuelt", "Helvetica"}, {"lucidagrande", "sans-serif"},
        {"sfprotext", "sans-serif"},       {"sfprodisplay", "sans-serif"},   {"sfns", "sans-serif"},
        {"sfnstext", "sans-serif"},        {"sfnsdisplay", "sans-serif"},    {".sfnstext", "sans-serif"},
        {"applesystemuifont", "sans-serif"}, {".applesystemuifont", "sans-serif"}, {"systemfont", "sans-serif"},
        {"avenir", "sans-serif"},          {"avenirnext", "sans-serif"},     {"menlo", "monospace"},
        {"monaco", "monospace"},           {"sfmono", "monospace"},          {"couriernew", "Courier"},
        {"timesnewroman", "Times"},        {"arialrounded", "sans-serif"},   {"geneva", "sans-serif"},
    };
    return aliases;
}

struct Style {
    int weight = 400;
    bool italic = false;
};

// Reads weight and slant from a style suffix such as "Bold", "LightItalic", "BdIta", "Roman".
Style parseStyle(const std::string &suffix) {
    Style style;
    std::string s = marqen_asciiLowercase(suffix);
    auto has = [&](const char *word) { return s.find(word) != std::string::npos; };
    if (has("italic") || has("oblique") || has("ita") || (s.size() >= 2 && s.compare(s.size() - 2, 2, "it") == 0)) {
        style.italic = true;
    }
    if (has("thin") || has("hairline")) style.weight = 100;
    else if (has("ultralight") || has("extralight")) style.weight = 200;
    else if (has("light")) style.weight = 300;
    else if (has("medium")) style.weight = 500;
    else if (has("semibold") || has("demibold") || has("demi")) style.weight = 600;
    else if (has("extrabold") || has("ultrabold") || has("heavy")) style.weight = 800;
    else if (has("black")) style.weight = 900;
    else if (has("bold") || has("bd")) style.weight = 700;
    return style;
}

bool isStyleWord(const std::string &suffix) {
    static const char *words[] = {"bold", "italic", "oblique", "light", "medium", "thin", "black", "heavy", "regular",
                                  "roman", "book", "semibold", "demi", "ultralight", "condensed", "bdita", "it", "bd"};
    std::string s = marqen_asciiLowercase(suffix);
    return std::any_of(std::begin(words), std::end(words), [&](const char *w) { return s.find(w) != std::string::npos; });
}

std::string stripVendorSuffix(std::string family) {
    for (const char *suffix : {"PSMT", "MT", "PS"}) {
        size_t n = std::strlen(suffix);
        if (family.size() > n + 2 && family.compare(family.size() - n, n, suffix) == 0) {
            family.erase(family.size() - n);
            break;
        }
    }
    return family;
}

struct Match {
    std::string family;
    int weight = 400;
    bool italic = false;
};

std::string fcString(FcPattern *pattern, const char *object) {
    FcChar8 *value = nullptr;
    if (FcPatternGetString(pattern, object, 0, &value) == FcResultMatch && value) return reinterpret_cast<char *>(value);
    return {};
}

Match matchFamily(const std::string &family, int weight, bool italic) {
    Match match{family, weight, italic};
    FcPattern *pattern = FcPatternCreate();
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8 *>(family.c_str()));
    FcPatternAddInteger(pattern, FC_WEIGHT, FcWeightFromOpenType(weight));
    FcPatternAddInteger(pattern, FC_SLANT, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result;
    FcPattern *found = FcFontMatch(nullptr, pattern, &result);
    if (found) {
        std::string name = fcString(found, FC_FAMILY);
        if (!name.empty()) match.family = name;
        int fcWeight = 0, slant = 0;
        if (FcPatternGetInteger(found, FC_WEIGHT, 0, &fcWeight) == FcResultMatch) match.weight = FcWeightToOpenType(fcWeight);
        if (FcPatternGetInteger(found, FC_SLANT, 0, &slant) == FcResultMatch) match.italic = slant != FC_SLANT_ROMAN;
        FcPatternDestroy(found);
    }
    FcPatternDestroy(pattern);
    return match;
}

// A font whose PostScript name is exactly `name`, when one is installed.
bool matchPostScriptName(const std::string &name, Match *match) {
    FcPattern *pattern = FcPatternCreate();
    FcPatternAddString(pattern, FC_POSTSCRIPT_NAME, reinterpret_cast<const FcChar8 *>(name.c_str()));
    FcObjectSet *objects = FcObjectSetBuild(FC_FAMILY, FC_WEIGHT, FC_SLANT, FC_POSTSCRIPT_NAME, nullptr);
    FcFontSet *fonts = FcFontList(nullptr, pattern, objects);
    bool found = false;
    if (fonts) {
        for (int i = 0; i < fonts->nfont && !found; ++i) {
            if (fcString(fonts->fonts[i], FC_POSTSCRIPT_NAME) != name) continue;
            match->family = fcString(fonts->fonts[i], FC_FAMILY);
            int weight = 0, slant = 0;
            if (FcPatternGetInteger(fonts->fonts[i], FC_WEIGHT, 0, &weight) == FcResultMatch) {
                match->weight = FcWeightToOpenType(weight);
            }
            if (FcPatternGetInteger(fonts->fonts[i], FC_SLANT, 0, &slant) == FcResultMatch) {
                match->italic = slant != FC_SLANT_ROMAN;
            }
            found = !match->family.empty();
        }
        FcFontSetDestroy(fonts);
    }
    FcObjectSetDestroy(objects);
    FcPatternDestroy(pattern);
    return found;
}

std::string describeLoadedFace(const Match &match) {
    PangoFontMap *map = pango_cairo_font_map_get_default();
    PangoContext *context = pango_font_map_create_context(map);
    PangoFontDescription *description = pango_font_description_new();
    pango_font_description_set_family(description, match.family.c_str());
    pango_font_description_set_weight(description, static_cast<PangoWeight>(match.weight));
    pango_font_description_set_style(description, match.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    pango_font_description_set_absolute_size(description, 12 * PANGO_SCALE);
    std::string text;
    if (PangoFont *font = pango_font_map_load_font(map, context, description)) {
        PangoFontDescription *loaded = pango_font_describe(font);
        pango_font_description_unset_fields(loaded, PANGO_FONT_MASK_SIZE);
        char *string = pango_font_description_to_string(loaded);
        text = string;
        g_free(string);
        pango_font_description_free(loaded);
        g_object_unref(font);
    }
    pango_font_description_free(description);
    g_object_unref(context);
    return text;
}

MarqenResolvedFont resolveUncached(const std::string &name) {
    MarqenResolvedFont resolved;
    resolved.requestedName = name;
    static const std::string defaultFamily = matchFamily("sans-serif", 400, false).family;
    Match match;
    if (!name.empty() && matchPostScriptName(name, &match)) {
        // Installed under exactly this name.
    } else {
        std::string family = name, suffix;
        size_t dash = name.rfind('-');
        if (dash != std::string::npos && dash > 0) {
            family = name.substr(0, dash);
            suffix = name.substr(dash + 1);
        }
        family = stripVendorSuffix(family);
        Style style = parseStyle(suffix);
        if (suffix.empty() || !isStyleWord(suffix)) family = name.empty() ? "sans-serif" : stripVendorSuffix(name);
        std::string wanted = splitCamelCase(family);
        auto alias = familyAliases().find(squeeze(wanted));
        if (alias != familyAliases().end()) wanted = alias->second;
        match = matchFamily(wanted, style.weight, style.italic);
        // Fontconfig always answers; when it answers with the default font for a family that is not
        // the default, the family is unknown.
        bool askedForGeneric = wanted == "sans-serif" || wanted == "serif" || wanted == "monospace";
        resolved.isFallback = !name.empty() && !askedForGeneric && squeeze(match.family) == squeeze(defaultFamily) &&
                              squeeze(wanted) != squeeze(defaultFamily);
    }
    resolved.family = match.family;
    resolved.weight = match.weight;
    resolved.italic = match.italic;
    resolved.faceDescription = describeLoadedFace(match);
    return resolved;
}

}  // namespace

MarqenResolvedFont MarqenResolveFont(const std::string &postScriptName) {
    static std::mutex mutex;
    static std::unordered_map<std::string, MarqenResolvedFont> cache;
    {
        std::lock_guard lock(mutex);
        auto it = cache.find(postScriptName);
        if (it != cache.end()) return it->second;
    }
    MarqenResolvedFont resolved = resolveUncached(postScriptName);
    std::lock_guard lock(mutex);
    if (cache.size() > 4096) cache.clear();  // hostile input cannot grow it without bound
    return cache.emplace(postScriptName, std::move(resolved)).first->second;
}

}  // namespace marqen
