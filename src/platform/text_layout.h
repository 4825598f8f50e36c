#pragma once
// Measuring and drawing text, in the manner of a CoreText framesetter: one string with one font,
// colour, alignment and line-height multiple, optionally wrapped to a width. Fonts are named by
// PostScript name and resolved through font_resolver.h. Right-to-left scripts are laid out in
// their own direction automatically.
//
// Threads: a layout belongs to one thread at a time; separate layouts may be used on separate threads.
#include <memory>
#include <optional>
#include <string>

#include "foundation/geometry.h"
#include "platform/font_resolver.h"
#include "platform/graphics.h"

typedef struct _cairo cairo_t;

namespace marqen {

enum class MarqenTextAlignment { Left, Center, Right, Justified };

struct MarqenTextAttributes {
    std::string fontName = "Helvetica";
    CGFloat fontSize = 12;              // non-positive or non-finite sizes use 12; at most 10000
    MarqenTextAlignment alignment = MarqenTextAlignment::Left;
    MarqenRGBAColor color{0, 0, 0, 1};
    CGFloat lineHeightMultiple = 0;     // 0 (or negative): the font's own line height
};

enum class MarqenTextDrawingMode { Fill, Stroke, FillStroke };

class MarqenTextLayout {
public:
    // Longer texts are cut (at a character boundary) to this many bytes, and the cut is logged.
    static constexpr size_t kMaximumTextLength = 256 * 1024;

    // widthConstraint 0 (or negative) means unbounded: lines break only at line breaks.
    MarqenTextLayout(const std::string &text, const MarqenTextAttributes &attributes, CGFloat widthConstraint = 0);
    ~MarqenTextLayout();
    MarqenTextLayout(const MarqenTextLayout &) = delete;
    MarqenTextLayout &operator=(const MarqenTextLayout &) = delete;

    // The size the text needs (CTFramesetterSuggestFrameSizeWithConstraints): width of the widest
    // line, height of all lines. (0, 0) for an empty string.
    CGSize suggestedSize() const;
    int lineCount() const;
    const MarqenResolvedFont &font() const { return font_; }
    const MarqenTextAttributes &attributes() const { return attributes_; }
    bool wasTruncated() const { return truncated_; }
    // Whether the first paragraph runs right to left.
    bool isRightToLeft() const;
    // The byte offset of the character boundary nearest to `point` (layout space: the top-left of the
    // text at (0, 0), y down), for placing a caret. 0 for an empty text.
    size_t byteOffsetAtPoint(CGPoint point) const;
    // The caret before the character at byte `offset` (held within the text, moved back onto a character
    // boundary) as draw(context, frame, true, ...) places the text: a zero-width rectangle as tall as its
    // line, in the frame's space with y down. An empty text has its caret at the frame's top-left (right
    // or middle for other alignments), one line of the font tall.
    CGRect caretRectAtByteOffset(size_t offset, CGRect frame) const;

    // Draws the text inside `frame`, its first line at the top of the frame; alignment is relative
    // to the frame's width. flipped = false is the platform's convention (y up: the top is the
    // frame's maximum y, glyphs upright in a y-up space); flipped = true is for y-down spaces.
    // Stroke outlines the glyphs with strokeWidth (round joins) in strokeColor; FillStroke fills in
    // the text colour first. With useContextColor the context's current source replaces the text colour.
    void draw(cairo_t *context, CGRect frame, bool flipped, MarqenTextDrawingMode mode = MarqenTextDrawingMode::Fill,
              CGFloat strokeWidth = 1, const MarqenRGBAColor &strokeColor = {0, 0, 0, 1},
              bool useContextColor = false) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    MarqenTextAttributes attributes_;
    MarqenResolvedFont font_;
    bool truncated_ = false;
};

// Single-string helpers for labels.
// The size of `string` in the named font, unconstrained.
CGSize sizeWithFont(const std::string &string, const std::string &fontName, CGFloat size);
// Draws `string` in the box (point.x, point.y, width, height) of its unconstrained size (ending at
// point.x and right-aligned with rightJustify), inside a saved graphics state, in textColor or,
// when none is given, in the context's current source colour. As on the platform the space is y-up
// by default, so the point is the box's bottom-left corner; with `flipped` it is the top-left one.
void drawAtCGPoint(const std::string &string, cairo_t *context, CGPoint point, const std::string &fontName,
                   CGFloat size, const std::optional<MarqenRGBAColor> &textColor, bool rightJustify,
                   bool flipped = false);

}  // namespace marqen
