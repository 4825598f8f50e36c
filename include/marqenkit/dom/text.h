#pragma once
// The text annotation: bubble text (outlined lettering), paragraph text (plain wrapped text) and
// label text (a caption attached to another node, tied to it by the node's guid).
//
// Geometry: the laid-out text occupies textBounds(); the renderer lays the string out in that
// rectangle (its width is the wrap width used for measuring). contentBounds() adds the outline of
// bubble text, the plate around a label and the editing allowance, so that every glyph is inside it.
//
// Threads: main thread only, like every node (see node.h).
#include <memory>
#include <optional>
#include <string>

#include "../export.h"
#include "color.h"
#include "element.h"
#include "font.h"
#include "text_enums.h"

namespace marqen {

// What elementGeometry() of a text holds.
struct MARQEN_EXPORT MarqenDOMTextGeometry {
    CGPoint origin;
    CGFloat wrapWidth;
    CGFloat toolSizeAbsolute;
    MarqenDOMTextDirection direction;
};

// The attributes a text is laid out with (what the renderer needs besides the string).
struct MARQEN_EXPORT MarqenDOMTextAttributes {
    std::string fontName;   // the display font name; unknown names fall back to the default font
    CGFloat fontSize = 0;   // the display font size
    CGFloat lineHeightMultiple = 1.1;
};

class MARQEN_EXPORT MarqenDOMText : public MarqenDOMElement {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMText> create();
    static std::shared_ptr<MarqenDOMText> fromDictionary(const MarqenJSON &dictionary);
    std::string jsonType() const override { return "Text"; }

    static constexpr CGFloat defaultFontSize() { return 24.0; }
    static CGFloat bubbleStrokeWidthFromFontSize(CGFloat fontSize) { return 0.28 * fontSize; }
    // White for a dark colour, black otherwise.
    static MarqenDOMColor strokeColorForTextColor(const MarqenDOMColor &color);
    // Dark by perceived luminance (Rec. 601 weights) below one half.
    static bool isDarkColor(const MarqenDOMColor &color);

    // Stored values
    const std::optional<std::string> &text() const { return text_; }
    void setText(const std::string &text) { setText(text, false); }
    // Quiet: stores the text only (no notifications, no undo, no needs-save).
    void setText(const std::string &text, bool quiet);
    CGPoint origin() const { return origin_; }
    void setOrigin(CGPoint origin) override;
    void setOriginQuietly(CGPoint origin) override;
    CGFloat wrapWidth() const { return wrapWidth_; }
    void setWrapWidth(CGFloat width);
    const std::optional<MarqenDOMFont> &font() const { return font_; }
    void setFont(const std::optional<MarqenDOMFont> &font);
    const std::optional<MarqenDOMColor> &strokeColor() const { return strokeColor_; }
    void setStrokeColor(const std::optional<MarqenDOMColor> &color);
    const std::optional<MarqenDOMColor> &fillColor() const { return fillColor_; }
    void setFillColor(const std::optional<MarqenDOMColor> &color);
    CGFloat lineWidth() const { return lineWidth_; }
    void setLineWidth(CGFloat width);
    MarqenDOMTextAlignment alignment() const { return alignment_; }
    void setAlignment(MarqenDOMTextAlignment alignment);  // stores only: no notification, no undo
    MarqenDOMTextDirection direction() const { return direction_; }
    void setDirection(MarqenDOMTextDirection direction);  // notifies, never compares, no undo
    MarqenDOMTextBlockStyle textBlockStyle() const { return textBlockStyle_; }
    // A label stays a label: the call does nothing when the current style is label.
    void setTextBlockStyle(MarqenDOMTextBlockStyle style);
    bool isLabel() const { return textBlockStyle_ == MarqenDOMTextBlockStyleLabel; }
    bool canChangeTextStyle() const { return canChangeTextStyle_; }
    void setCanChangeTextStyle(bool flag) { canChangeTextStyle_ = flag; }
    bool editingInProgress() const { return editingInProgress_; }
    void setEditingInProgress(bool flag);
    unsigned long labelPosition() const { return labelPosition_; }
    void setLabelPosition(unsigned long position);  // undo, no notifications

    // Display values (labels have their own font, size and colour)
    std::string displayFontName() const;
    CGFloat displayFontSize() const;
    MarqenDOMColor displayTextColor() const;
    CGFloat bubbleStrokeWidth() const;
    void updateLineWidth();
    // Nothing for a bubble text without a font name or without both colours.
    std::optional<MarqenDOMTextAttributes> stringAttributes() const;

    // Bounds
    CGRect textBounds() const;  // where the laid-out text goes
    CGRect contentBoundsTight(bool tight) const;
    // A label left of its parent keeps its wide margin on the right, next to the parent.
    bool isLeftOfLabelParent() const;
    CGRect contentBounds() const override { return contentBoundsTight(false); }
    CGRect tightContentBounds() const override { return contentBoundsTight(true); }
    MarqenDOMNodePtr hitTestWithPoint(CGPoint point) override;
    MarqenDOMNodePtr hitTestWithPoint(CGPoint point, CGFloat minimumHitStrokeWidth) override;
    MarqenDOMNodePtr hitTestWithRect(CGRect rect) override;

    // Transforms
    bool allowsScaling() const { return !isLabel(); }
    void scale(CGSize factors, CGPoint aroundPoint) override;
    void rotate(CGFloat angle, CGPoint aroundPoint) override;
    void translate(CGPoint delta) override;
    void applyTransform(const CGAffineTransform &t) override;

    // Tool size and colour
    CGFloat toolSizeAbsolute() const override;
    void setToolSizeAbsolute(CGFloat size) override;
    CGFloat convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat absoluteScale,
                                                      CGFloat contentScaleFactor) const override;
    CGFloat convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat absoluteScale,
                                                      CGFloat contentScaleFactor) const override;
    const std::optional<MarqenDOMColor> &toolColor() const override { return fillColor_; }
    void setToolColor(const std::optional<MarqenDOMColor> &color) override;

    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    // Labels
    static std::shared_ptr<MarqenDOMText> attachLabelToNode(const MarqenDOMNodePtr &node, const std::string &text);
    // The labelled node; resolved through the document by guid when not held (after loading).
    MarqenDOMNodePtr labelParentNode() const;
    void setLabelParentNode(const MarqenDOMNodePtr &node);
    const std::optional<std::string> &labelParentGUID() const { return labelParentGUID_; }
    void setLabelParentGUID(const std::optional<std::string> &guid);
    MarqenDOMNodePtr detachLabelConnection() override;
    bool hasSuperNode() const override { return labelParentNode() != nullptr; }

    void upgradeParagraphTextToRespectColorAndFont() override;

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMText();
    void copyStateTo(MarqenDOMNode &target) const override;

private:
    CGSize measuredTextSize() const;
    // Between the box's edge and the laid-out text: the bubble outline and room for glyph ink.
    CGSize outlineAndInkMargin() const;
    void invalidateLayout();
    // A label of a stamp: the stamp places it again for its new size.
    void placeLabelBesideStamp();

    std::optional<std::string> text_;
    CGPoint origin_{0, 0};
    CGFloat wrapWidth_ = 0;
    std::optional<MarqenDOMFont> font_;
    std::optional<MarqenDOMColor> strokeColor_, fillColor_;
    CGFloat lineWidth_ = 0;
    MarqenDOMTextAlignment alignment_ = MarqenDOMTextAlignmentLeft;
    MarqenDOMTextDirection direction_ = MarqenDOMTextDirectionLeftToRight;
    MarqenDOMTextBlockStyle textBlockStyle_ = MarqenDOMTextBlockStyleBubble;
    bool canChangeTextStyle_ = true;
    bool editingInProgress_ = false;
    std::optional<std::string> labelParentGUID_;
    unsigned long labelPosition_ = 0;
    mutable std::weak_ptr<MarqenDOMNode> labelParentNode_;

    // The last measurement, keyed by everything it depends on (the cached layout string).
    struct LayoutCache {
        std::string text, fontName;
        CGFloat fontSize = 0, wrapWidth = 0;
        CGSize size{0, 0};
        bool valid = false;
    };
    mutable LayoutCache layoutCache_;
};

}  // namespace marqen
