#include "platform/text_layout.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/log.h"
#include "foundation/resource_budget.h"

namespace marqen {

struct MarqenTextLayout::Impl {
    PangoContext *context = nullptr;
    PangoLayout *layout = nullptr;
    bool empty = true;
    ~Impl() {
        if (layout) g_object_unref(layout);
        if (context) g_object_unref(context);
    }
};

namespace {

// Valid UTF-8 of at most `limit` bytes, cut at a character boundary.
std::string sanitisedText(const std::string &text, size_t limit, bool *truncated) {
    std::string valid;
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
        valid = text;
    } else {
        gchar *fixed = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
        valid = fixed;
        g_free(fixed);
    }
    *truncated = valid.size() > limit;
    if (*truncated) {
        size_t cut = limit;
        while (cut > 0 && (static_cast<unsigned char>(valid[cut]) & 0xC0) == 0x80) --cut;
        valid.resize(cut);
    }
    return valid;
}

// Shaping one cluster costs more than linear time in its length, so a cluster keeps at most the budget's
// code points (the marks past it are left out) and a text at most the budget's clusters (cut after the
// last one). A cluster here is a character with the marks and joiners that follow it.
std::string withinClusterBudgets(std::string text) {
    const MarqenResourceBudget &budget = MarqenCurrentResourceBudget();
    if (!budget.codepointsPerCluster && !budget.textClustersPerText) return text;
    std::string kept;  // filled only once something is left out
    uint64_t clusters = 0, inCluster = 0, dropped = 0;
    const char *cut = nullptr;
    const char *end = text.data() + text.size();
    for (const char *p = text.data(); p < end; p = g_utf8_next_char(p)) {
        const gunichar c = g_utf8_get_char(p);
        if (clusters == 0 || !(g_unichar_ismark(c) || c == 0x200D)) {
            if (budget.textClustersPerText && clusters == budget.textClustersPerText) {
                cut = p;
                break;
            }
            ++clusters;
            inCluster = 0;
        }
        if (budget.codepointsPerCluster && ++inCluster > budget.codepointsPerCluster) {
            if (dropped++ == 0) kept.assign(text.data(), static_cast<size_t>(p - text.data()));
        } else if (dropped) {
            kept.append(p, static_cast<size_t>(g_utf8_next_char(p) - p));
        }
    }
    if (dropped) {
        marqenLogRepeatable("MarqenTextLayout: marks left out",
                            "MarqenTextLayout: " + std::to_string(dropped) + " marks left out: " +
                                MarqenBudgetExceededText("a cluster", "code points per cluster",
                                                         budget.codepointsPerCluster));
    }
    if (cut) {
        marqenLogRepeatable("MarqenTextLayout: text cut",
                            "MarqenTextLayout: text cut: " +
                                MarqenBudgetExceededText("the text", "text clusters per text",
                                                         budget.textClustersPerText));
        if (!dropped) kept.assign(text.data(), static_cast<size_t>(cut - text.data()));
    }
    return dropped || cut ? kept : text;
}

CGFloat usableFontSize(CGFloat size) {
    if (!std::isfinite(size) || size <= 0) return 12;
    return std::min(size, 10000.0);
}

}  // namespace

MarqenTextLayout::MarqenTextLayout(const std::string &text, const MarqenTextAttributes &attributes,
                                   CGFloat widthConstraint)
    : impl_(std::make_unique<Impl>()), attributes_(attributes), font_(MarqenResolveFont(attributes.fontName)) {
    attributes_.fontSize = usableFontSize(attributes.fontSize);
    std::string usable = sanitisedText(text, kMaximumTextLength, &truncated_);
    if (truncated_) {
        marqenLogRepeatable("MarqenTextLayout: text cut to its byte limit",
                            "MarqenTextLayout: text of " + std::to_string(text.size()) + " bytes cut to " +
                                std::to_string(usable.size()) + " bytes");
    }
    usable = withinClusterBudgets(std::move(usable));
    impl_->empty = usable.empty();

    impl_->context = pango_font_map_create_context(pango_cairo_font_map_get_default());
    // Unhinted, unrounded metrics: sizes scale linearly and do not depend on the target surface.
    cairo_font_options_t *options = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    pango_cairo_context_set_font_options(impl_->context, options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(impl_->context, FALSE);
    pango_cairo_context_set_resolution(impl_->context, 72);

    impl_->layout = pango_layout_new(impl_->context);
    PangoFontDescription *description = pango_font_description_new();
    pango_font_description_set_family(description, font_.family.c_str());
    pango_font_description_set_weight(description, static_cast<PangoWeight>(font_.weight));
    pango_font_description_set_style(description, font_.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    pango_font_description_set_absolute_size(description, attributes_.fontSize * PANGO_SCALE);
    pango_layout_set_font_description(impl_->layout, description);
    pango_font_description_free(description);

    pango_layout_set_auto_dir(impl_->layout, TRUE);
    pango_layout_set_wrap(impl_->layout, PANGO_WRAP_WORD_CHAR);
    if (widthConstraint > 0 && std::isfinite(widthConstraint)) {
        pango_layout_set_width(impl_->layout, static_cast<int>(std::min(widthConstraint * PANGO_SCALE, 1e9)));
    }
    switch (attributes_.alignment) {
        case MarqenTextAlignment::Left: pango_layout_set_alignment(impl_->layout, PANGO_ALIGN_LEFT); break;
        case MarqenTextAlignment::Center: pango_layout_set_alignment(impl_->layout, PANGO_ALIGN_CENTER); break;
        case MarqenTextAlignment::Right: pango_layout_set_alignment(impl_->layout, PANGO_ALIGN_RIGHT); break;
        case MarqenTextAlignment::Justified:
            pango_layout_set_alignment(impl_->layout, PANGO_ALIGN_LEFT);
            pango_layout_set_justify(impl_->layout, TRUE);
            break;
    }
    if (attributes_.lineHeightMultiple > 0 && std::isfinite(attributes_.lineHeightMultiple)) {
        pango_layout_set_line_spacing(impl_->layout, static_cast<float>(std::min(attributes_.lineHeightMultiple, 100.0)));
    }
    pango_layout_set_text(impl_->layout, usable.data(), static_cast<int>(usable.size()));
}

MarqenTextLayout::~MarqenTextLayout() = default;

CGSize MarqenTextLayout::suggestedSize() const {
    if (impl_->empty) return CGSizeZero;
    PangoRectangle logical;
    pango_layout_get_extents(impl_->layout, nullptr, &logical);
    return CGSizeMake(static_cast<CGFloat>(logical.width) / PANGO_SCALE, static_cast<CGFloat>(logical.height) / PANGO_SCALE);
}

size_t MarqenTextLayout::byteOffsetAtPoint(CGPoint point) const {
    if (impl_->empty || !std::isfinite(point.x) || !std::isfinite(point.y)) return 0;
    auto toPango = [](CGFloat value) { return static_cast<int>(std::clamp<CGFloat>(value * PANGO_SCALE, -1e9, 1e9)); };
    int index = 0, trailing = 0;
    pango_layout_xy_to_index(impl_->layout, toPango(point.x), toPango(point.y), &index, &trailing);
    const char *text = pango_layout_get_text(impl_->layout);
    const char *at = text + index;
    // A hit on the trailing half of a character puts the caret after it.
    for (; trailing > 0 && *at; --trailing) at = g_utf8_next_char(at);
    return static_cast<size_t>(at - text);
}

CGRect MarqenTextLayout::caretRectAtByteOffset(size_t offset, CGRect frame) const {
    frame = CGRectStandardize(frame);
    if (!std::isfinite(frame.origin.x) || !std::isfinite(frame.origin.y)) return CGRectNull;
    PangoLayout *layout = impl_->layout;
    if (impl_->empty) {
        // Nothing laid out: the caret stands where the first character will, as tall as a line of the font.
        const CGFloat height = MarqenTextLayout(" ", attributes_).suggestedSize().height;
        CGFloat x = frame.origin.x;
        const CGFloat width = std::isfinite(frame.size.width) ? frame.size.width : 0;
        if (attributes_.alignment == MarqenTextAlignment::Center) x += width / 2;
        else if (attributes_.alignment == MarqenTextAlignment::Right) x += width;
        return CGRectMake(x, frame.origin.y, 0, height);
    }
    const char *text = pango_layout_get_text(layout);
    const size_t length = strlen(text);
    offset = std::min(offset, length);
    while (offset > 0 && offset < length && (static_cast<unsigned char>(text[offset]) & 0xC0) == 0x80) --offset;
    // The same width as draw() lays the text out at, so that alignment puts the caret among the glyphs.
    const int savedWidth = pango_layout_get_width(layout);
    const CGSize needed = suggestedSize();
    if (frame.size.width > 0 && std::isfinite(frame.size.width) && frame.size.width >= needed.width - 1e-6) {
        pango_layout_set_width(layout, static_cast<int>(std::ceil(std::min(frame.size.width * PANGO_SCALE, 1e9))));
    }
    PangoRectangle logical, strong;
    pango_layout_get_extents(layout, nullptr, &logical);
    const CGFloat shift = pango_layout_get_width(layout) < 0 ? -static_cast<CGFloat>(logical.x) / PANGO_SCALE : 0;
    pango_layout_get_cursor_pos(layout, static_cast<int>(offset), &strong, nullptr);
    pango_layout_set_width(layout, savedWidth);
    return CGRectMake(frame.origin.x + shift + static_cast<CGFloat>(strong.x) / PANGO_SCALE,
                      frame.origin.y + static_cast<CGFloat>(strong.y) / PANGO_SCALE, 0,
                      static_cast<CGFloat>(strong.height) / PANGO_SCALE);
}

int MarqenTextLayout::lineCount() const { return impl_->empty ? 0 : pango_layout_get_line_count(impl_->layout); }

bool MarqenTextLayout::isRightToLeft() const {
    if (impl_->empty) return false;
    PangoLayoutLine *line = pango_layout_get_line_readonly(impl_->layout, 0);
    return line && line->resolved_dir == PANGO_DIRECTION_RTL;
}

void MarqenTextLayout::draw(cairo_t *cr, CGRect frame, bool flipped, MarqenTextDrawingMode mode, CGFloat strokeWidth,
                            const MarqenRGBAColor &strokeColor, bool useContextColor) const {
    if (impl_->empty || !cr || cairo_status(cr) != CAIRO_STATUS_SUCCESS) return;
    frame = CGRectStandardize(frame);
    PangoLayout *layout = impl_->layout;
    // Alignment is relative to the frame: lay out at its width when it is at least as wide as the
    // text needs, so the measured line breaks stay as they were.
    int savedWidth = pango_layout_get_width(layout);
    CGSize needed = suggestedSize();
    if (frame.size.width > 0 && std::isfinite(frame.size.width) && frame.size.width >= needed.width - 1e-6) {
        pango_layout_set_width(layout, static_cast<int>(std::ceil(std::min(frame.size.width * PANGO_SCALE, 1e9))));
    }
    cairo_save(cr);
    if (flipped) {
        cairo_translate(cr, frame.origin.x, frame.origin.y);
    } else {
        cairo_translate(cr, frame.origin.x, frame.origin.y + frame.size.height);
        cairo_scale(cr, 1, -1);
    }
    pango_cairo_update_context(cr, impl_->context);
    pango_layout_context_changed(layout);
    // The logical box of an unconstrained, non-left-aligned layout starts right of zero.
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    if (pango_layout_get_width(layout) < 0) cairo_translate(cr, -static_cast<double>(logical.x) / PANGO_SCALE, 0);
    cairo_move_to(cr, 0, 0);
    if (mode == MarqenTextDrawingMode::Fill || mode == MarqenTextDrawingMode::FillStroke) {
        if (!useContextColor) {
            const MarqenRGBAColor &c = attributes_.color;
            cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha);
        }
        pango_cairo_show_layout(cr, layout);
    }
    if ((mode == MarqenTextDrawingMode::Stroke || mode == MarqenTextDrawingMode::FillStroke) && strokeWidth > 0) {
        cairo_new_path(cr);
        cairo_move_to(cr, 0, 0);
        pango_cairo_layout_path(cr, layout);
        cairo_set_line_width(cr, strokeWidth);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
        if (!useContextColor || mode == MarqenTextDrawingMode::FillStroke) {
            cairo_set_source_rgba(cr, strokeColor.red, strokeColor.green, strokeColor.blue, strokeColor.alpha);
        }
        cairo_stroke(cr);
    }
    cairo_restore(cr);
    pango_layout_set_width(layout, savedWidth);
}

CGSize sizeWithFont(const std::string &string, const std::string &fontName, CGFloat size) {
    MarqenTextAttributes attributes;
    attributes.fontName = fontName;
    attributes.fontSize = size;
    return MarqenTextLayout(string, attributes).suggestedSize();
}

void drawAtCGPoint(const std::string &string, cairo_t *context, CGPoint point, const std::string &fontName,
                   CGFloat size, const std::optional<MarqenRGBAColor> &textColor, bool rightJustify, bool flipped) {
    MarqenTextAttributes attributes;
    attributes.fontName = fontName;
    attributes.fontSize = size;
    attributes.alignment = rightJustify ? MarqenTextAlignment::Right : MarqenTextAlignment::Left;
    if (textColor) attributes.color = *textColor;
    MarqenTextLayout layout(string, attributes);
    CGSize needed = layout.suggestedSize();
    CGRect frame = CGRectMake(rightJustify ? point.x - needed.width : point.x, point.y, needed.width, needed.height);
    cairo_save(context);
    layout.draw(context, frame, flipped, MarqenTextDrawingMode::Fill, 0, {}, !textColor.has_value());
    cairo_restore(context);
}

}  // namespace marqen
