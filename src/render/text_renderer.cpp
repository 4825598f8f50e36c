#include "render/text_renderer.h"

#include <algorithm>

#include "platform/graphics.h"
#include "platform/text_layout.h"
#include "render/color_conversion.h"
#include "render/document_renderer.h"

namespace marqen {

namespace {

// The label plate: dark enough for white text on light pictures, edged with a faint light line so
// that it still stands out on dark ones.
constexpr MarqenRGBAColor kLabelPlate{0.11, 0.11, 0.13, 0.82};
constexpr MarqenRGBAColor kLabelEdge{1, 1, 1, 0.28};

MarqenTextAlignment layoutAlignment(MarqenDOMTextAlignment alignment) {
    switch (alignment) {
        case MarqenDOMTextAlignmentCenter: return MarqenTextAlignment::Center;
        case MarqenDOMTextAlignmentRight: return MarqenTextAlignment::Right;
        default: return MarqenTextAlignment::Left;
    }
}

void setStyleShadow(const MarqenDOMText &text, MarqenGraphicsContext &context, bool isFlipped) {
    const auto &style = text.style();
    if (text.isActive() || !style || style->shadowRadius() == 0) return;
    CGSize offset = style->shadowOffset();
    MarqenRGBAColor color = MarqenRGBAColorFromDOMColor(style->shadowColor().value_or(MarqenDOMColor()));
    color.alpha = style->shadowOpacity();
    context.setShadow(CGSizeMake(offset.width, isFlipped ? offset.height : -offset.height), style->shadowRadius(), color);
}

}  // namespace

void MarqenDOMTextRenderer::drawText(const MarqenDOMText &text, MarqenGraphicsContext &context, bool isFlipped) {
    const std::string string = text.text().value_or("");
    auto attributes = text.stringAttributes();
    if (string.empty() || !attributes) return;

    MarqenTextAttributes layoutAttributes;
    layoutAttributes.fontName = attributes->fontName;
    layoutAttributes.fontSize = attributes->fontSize;
    layoutAttributes.lineHeightMultiple = attributes->lineHeightMultiple;
    layoutAttributes.alignment = layoutAlignment(text.alignment());
    layoutAttributes.color = MarqenRGBAColorFromDOMColor(text.displayTextColor());
    // Laid out exactly as the element measured itself, so the lines break in the same places.
    const CGFloat wrapWidth = text.wrapWidth() > 0 && !text.isLabel() ? text.wrapWidth() : 0;
    MarqenTextLayout layout(string, layoutAttributes, wrapWidth);
    CGRect frame = text.textBounds();
    if (wrapWidth > 0) frame.size.width = std::max(frame.size.width, wrapWidth);
    // Document space runs opposite to the target: upright text in an unflipped target is y-down here.
    const bool layoutFlipped = !isFlipped;

    context.saveGState();
    setStyleShadow(text, context, isFlipped);
    context.clipToRect(text.contentBounds());
    // The plate or outline and the letters cast one shadow together.
    const bool layer = context.shadow().has_value();
    if (layer) context.beginTransparencyLayer();
    switch (text.textBlockStyle()) {
        case MarqenDOMTextBlockStyleLabel: {
            CGRect plate = text.contentBounds();
            CGFloat radius = std::min(plate.size.height, plate.size.width) * 0.3;
            auto path = MarqenBezierPath::pathWithRoundedRect(CGRectInset(plate, 0.5, 0.5), radius, radius);
            context.setFillColor(kLabelPlate);
            context.fillPath(path);
            context.setStrokeColor(kLabelEdge);
            context.setLineWidth(1);
            context.strokePath(path);
            context.drawWithCairo([&](cairo_t *cairo) { layout.draw(cairo, frame, layoutFlipped); });
            break;
        }
        case MarqenDOMTextBlockStyleParagraph:
            context.drawWithCairo([&](cairo_t *cairo) { layout.draw(cairo, frame, layoutFlipped); });
            break;
        default: {
            // Outlined lettering: the outline at the bubble width first, the letters filled over its inner half.
            MarqenDOMColor outline =
                text.strokeColor().value_or(MarqenDOMText::strokeColorForTextColor(text.displayTextColor()));
            CGFloat width = text.bubbleStrokeWidth();
            context.drawWithCairo([&](cairo_t *cairo) {
                layout.draw(cairo, frame, layoutFlipped, MarqenTextDrawingMode::Stroke, width,
                            MarqenRGBAColorFromDOMColor(outline));
                layout.draw(cairo, frame, layoutFlipped, MarqenTextDrawingMode::Fill);
            });
            break;
        }
    }
    if (layer) context.endTransparencyLayer();
    context.restoreGState();
}

void MarqenDOMTextRenderer::drawRect(CGRect, MarqenGraphicsContext &context) {
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(node());
    if (!text || !shouldRender()) return;
    auto *document = documentRenderer();
    context.saveGState();
    context.concatCTM(text->transform());
    drawText(*text, context, document && document->isFlipped());
    context.restoreGState();
}

}  // namespace marqen
