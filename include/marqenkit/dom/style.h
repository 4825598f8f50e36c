#pragma once
// The shadow an element casts: its ink style. A default style casts no shadow and writes an
// empty dictionary.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <memory>
#include <optional>

#include "../export.h"
#include "color.h"
#include "../foundation/geometry.h"
#include "../foundation/json.h"
#include "../foundation/json_writer.h"

namespace marqen {

class MARQEN_EXPORT MarqenDOMStyle {
public:
    MarqenDOMStyle() = default;

    const std::optional<MarqenDOMColor> &shadowColor() const { return shadowColor_; }
    void setShadowColor(std::optional<MarqenDOMColor> color) { shadowColor_ = color; }
    double shadowOpacity() const { return shadowOpacity_; }
    void setShadowOpacity(double value) { shadowOpacity_ = value; }
    double shadowRadius() const { return shadowRadius_; }
    void setShadowRadius(double value) { shadowRadius_ = value; }
    CGSize shadowOffset() const { return shadowOffset_; }
    void setShadowOffset(CGSize value) { shadowOffset_ = value; }

    MarqenJSON dictionaryRepresentation() const;
    // The members of that dictionary, written into the object being written; none for a default style.
    void writeMembers(MarqenJSONWriter &writer) const;
    bool writesMembers() const;
    static std::shared_ptr<MarqenDOMStyle> fromDictionary(const MarqenJSON &dictionary);
    std::shared_ptr<MarqenDOMStyle> copy() const { return std::make_shared<MarqenDOMStyle>(*this); }

    bool operator==(const MarqenDOMStyle &other) const = default;

private:
    std::optional<MarqenDOMColor> shadowColor_;
    double shadowOpacity_ = 0;
    double shadowRadius_ = 0;
    CGSize shadowOffset_{0, 0};
};

}  // namespace marqen
