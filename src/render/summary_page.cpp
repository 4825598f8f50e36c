#include "render/summary_page.h"

#include <cairo-pdf.h>
#include <cairo.h>

#include <algorithm>
#include <cmath>

#include "platform/graphics.h"
#include "platform/text_layout.h"

namespace marqen {

namespace {

// Layout units: the page is designed 612 units wide (a US Letter page in points) and scaled to fit.
constexpr CGFloat kDesignWidth = 612;
constexpr CGFloat kMinimumDesignHeight = 360;
constexpr CGFloat kMargin = 48;
constexpr CGFloat kThumbnailWidth = 128;
constexpr CGFloat kThumbnailHeight = 96;
constexpr CGFloat kColumnGap = 18;
constexpr CGFloat kRowPadding = 12;
constexpr CGFloat kFooterHeight = 36;
constexpr CGFloat kLabelHeight = 20;
constexpr CGFloat kTextGap = 4;
constexpr size_t kMaximumTextBytes = 480;

const MarqenRGBAColor kInk{0.11, 0.12, 0.14, 1};
const MarqenRGBAColor kMuted{0.42, 0.44, 0.48, 1};
const MarqenRGBAColor kAccent{0.13, 0.38, 0.78, 1};
const MarqenRGBAColor kRule{0.84, 0.85, 0.88, 1};

MarqenTextAttributes textStyle(const char *font, CGFloat size, const MarqenRGBAColor &color) {
    MarqenTextAttributes attributes;
    attributes.fontName = font;
    attributes.fontSize = size;
    attributes.color = color;
    attributes.lineHeightMultiple = 1.15;
    return attributes;
}

MarqenTextAttributes titleStyle() { return textStyle("Helvetica-Bold", 24, kInk); }
MarqenTextAttributes continuedTitleStyle() { return textStyle("Helvetica-Bold", 13, kInk); }
MarqenTextAttributes metaStyle() { return textStyle("Helvetica", 11, kMuted); }
MarqenTextAttributes labelStyle() { return textStyle("Helvetica-Bold", 13, kAccent); }
MarqenTextAttributes bodyStyle() { return textStyle("Helvetica", 10.5, kInk); }
MarqenTextAttributes noteStyle() { return textStyle("Helvetica-Oblique", 10, kMuted); }
MarqenTextAttributes footerStyle() { return textStyle("Helvetica", 9, kMuted); }

// Long texts are cut at a UTF-8 character boundary and marked with an ellipsis.
std::string shortened(const std::string &text) {
    if (text.size() <= kMaximumTextBytes) return text;
    size_t cut = kMaximumTextBytes;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
    return text.substr(0, cut) + "\u2026";
}

std::string metaLine(const MarqenSummaryContent &content) {
    if (!content.author.empty() && !content.date.empty()) return content.author + "  \u00b7  " + content.date;
    return content.author.empty() ? content.date : content.author;
}

struct PageGeometry {
    CGFloat scale = 1;
    CGSize designSize{kDesignWidth, kMinimumDesignHeight};
    CGFloat textColumnX() const { return kMargin + kThumbnailWidth + kColumnGap; }
    CGFloat textColumnWidth() const { return std::max<CGFloat>(80, designSize.width - kMargin - textColumnX()); }
    CGFloat bodyBottom() const { return designSize.height - kFooterHeight - kMargin / 2; }
};

PageGeometry pageGeometry(CGSize pageSize) {
    if (!(pageSize.width > 0) || !(pageSize.height > 0) || !std::isfinite(pageSize.width) ||
        !std::isfinite(pageSize.height)) {
        pageSize = {612, 792};
    }
    PageGeometry geometry;
    geometry.scale = pageSize.width / kDesignWidth;
    geometry.designSize = {kDesignWidth, pageSize.height / geometry.scale};
    if (geometry.designSize.height < kMinimumDesignHeight) {
        // A wide, low page: fit the height instead and use the extra width for the text column.
        geometry.scale = pageSize.height / kMinimumDesignHeight;
        geometry.designSize = {pageSize.width / geometry.scale, kMinimumDesignHeight};
    }
    return geometry;
}

// The height of the title block on the first page and on continuation pages.
CGFloat headerHeight(const MarqenSummaryContent &content, const PageGeometry &geometry, bool first) {
    CGFloat width = geometry.designSize.width - 2 * kMargin;
    if (!first) return kMargin + MarqenTextLayout(content.title, continuedTitleStyle(), width).suggestedSize().height + 14;
    CGFloat height = kMargin + MarqenTextLayout(content.title, titleStyle(), width).suggestedSize().height;
    std::string meta = metaLine(content);
    if (!meta.empty()) height += 6 + MarqenTextLayout(meta, metaStyle(), width).suggestedSize().height;
    return height + 18;
}

std::vector<std::string> listedTexts(const MarqenSummaryEntry &entry) {
    std::vector<std::string> texts;
    for (const auto &text : entry.texts) {
        if (text.find_first_not_of(" \t\r\n") == std::string::npos) continue;
        if (texts.size() == kMarqenSummaryMaximumTextsPerRow) {
            size_t more = 0;
            for (const auto &rest : entry.texts) more += rest.find_first_not_of(" \t\r\n") != std::string::npos;
            more -= kMarqenSummaryMaximumTextsPerRow;
            texts.push_back("and " + std::to_string(more) + " more");
            break;
        }
        texts.push_back(shortened(text));
    }
    return texts;
}

CGFloat textBlockHeight(const std::vector<std::string> &texts, CGFloat width) {
    if (texts.empty()) return MarqenTextLayout("Drawn annotations only", noteStyle(), width).suggestedSize().height;
    CGFloat height = 0;
    for (const auto &text : texts) height += MarqenTextLayout(text, bodyStyle(), width).suggestedSize().height + kTextGap;
    return height - kTextGap;
}

void drawText(cairo_t *cr, const std::string &text, const MarqenTextAttributes &style, CGRect frame) {
    MarqenTextLayout(text, style, frame.size.width).draw(cr, frame, true);
}

void setColor(cairo_t *cr, const MarqenRGBAColor &color) {
    cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
}

void drawThumbnail(cairo_t *cr, const MarqenImageRef &thumbnail, CGRect box) {
    cairo_save(cr);
    cairo_rectangle(cr, box.origin.x, box.origin.y, box.size.width, box.size.height);
    cairo_set_source_rgb(cr, 0.965, 0.968, 0.975);
    cairo_fill(cr);
    if (thumbnail && thumbnail->width() > 0 && thumbnail->height() > 0) {
        CGFloat factor = std::min(box.size.width / thumbnail->width(), box.size.height / thumbnail->height());
        CGFloat width = thumbnail->width() * factor, height = thumbnail->height() * factor;
        CGFloat x = box.origin.x + (box.size.width - width) / 2, y = box.origin.y + (box.size.height - height) / 2;
        if (cairo_surface_t *surface = MarqenImageCreateCairoSurface(thumbnail)) {
            cairo_save(cr);
            cairo_translate(cr, x, y);
            cairo_scale(cr, factor, factor);
            cairo_set_source_surface(cr, surface, 0, 0);
            cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
            cairo_paint(cr);
            cairo_restore(cr);
            cairo_surface_destroy(surface);
        }
    }
    cairo_rectangle(cr, box.origin.x + 0.25, box.origin.y + 0.25, box.size.width - 0.5, box.size.height - 0.5);
    setColor(cr, kRule);
    cairo_set_line_width(cr, 0.5);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void drawHeader(cairo_t *cr, const MarqenSummaryContent &content, const PageGeometry &geometry, bool first) {
    CGFloat width = geometry.designSize.width - 2 * kMargin;
    CGFloat y = kMargin;
    if (first) {
        MarqenTextLayout title(content.title, titleStyle(), width);
        title.draw(cr, {{kMargin, y}, {width, title.suggestedSize().height}}, true);
        y += title.suggestedSize().height;
        std::string meta = metaLine(content);
        if (!meta.empty()) {
            MarqenTextLayout metaLayout(meta, metaStyle(), width);
            y += 6;
            metaLayout.draw(cr, {{kMargin, y}, {width, metaLayout.suggestedSize().height}}, true);
            y += metaLayout.suggestedSize().height;
        }
    } else {
        MarqenTextLayout title(content.title, continuedTitleStyle(), width);
        title.draw(cr, {{kMargin, y}, {width, title.suggestedSize().height}}, true);
        y += title.suggestedSize().height;
    }
    y += first ? 12 : 8;
    cairo_rectangle(cr, kMargin, y, width, first ? 1.0 : 0.5);
    setColor(cr, first ? kInk : kRule);
    cairo_fill(cr);
}

void drawRow(cairo_t *cr, const MarqenSummaryEntry &entry, const PageGeometry &geometry, CGRect row, bool last) {
    cairo_save(cr);
    cairo_rectangle(cr, row.origin.x, row.origin.y, row.size.width, row.size.height);
    cairo_clip(cr);
    CGRect thumbnailBox{{kMargin, row.origin.y + kRowPadding}, {kThumbnailWidth, kThumbnailHeight}};
    drawThumbnail(cr, entry.thumbnail, thumbnailBox);

    CGFloat x = geometry.textColumnX(), width = geometry.textColumnWidth();
    CGFloat y = row.origin.y + kRowPadding;
    drawText(cr, entry.pageLabel, labelStyle(), {{x, y - 1}, {width, kLabelHeight}});
    y += kLabelHeight;
    auto texts = listedTexts(entry);
    if (texts.empty()) drawText(cr, "Drawn annotations only", noteStyle(), {{x, y}, {width, 20}});
    for (const auto &text : texts) {
        MarqenTextLayout layout(text, bodyStyle(), width - 8);
        CGFloat height = layout.suggestedSize().height;
        // A thin bar marks each quoted text, as in a margin note.
        cairo_rectangle(cr, x, y + 1, 1.5, std::max<CGFloat>(0, height - 2));
        setColor(cr, kRule);
        cairo_fill(cr);
        layout.draw(cr, {{x + 8, y}, {width - 8, height}}, true);
        y += height + kTextGap;
    }
    cairo_restore(cr);
    if (!last) {
        cairo_rectangle(cr, kMargin, row.origin.y + row.size.height - 0.25, geometry.designSize.width - 2 * kMargin, 0.5);
        setColor(cr, kRule);
        cairo_fill(cr);
    }
}

bool fail(MarqenError *error, const std::string &message) {
    return marqenFail(error, "MarqenCompositionErrorDomain", 0, message);
}

}  // namespace

MarqenSummaryLayout MarqenSummaryLayoutRows(const MarqenSummaryContent &content, CGSize pageSize) {
    PageGeometry geometry = pageGeometry(pageSize);
    MarqenSummaryLayout layout;
    layout.scale = geometry.scale;
    size_t page = 0;
    CGFloat y = headerHeight(content, geometry, true);
    CGFloat continuedTop = headerHeight(content, geometry, false);
    for (const auto &entry : content.entries) {
        CGFloat textHeight = kLabelHeight + textBlockHeight(listedTexts(entry), geometry.textColumnWidth() - 8);
        CGFloat height = std::max(kThumbnailHeight, textHeight) + 2 * kRowPadding;
        // A row never needs more than a whole page; what does not fit is clipped.
        height = std::min(height, geometry.bodyBottom() - continuedTop);
        if (y + height > geometry.bodyBottom()) {
            bool pageHasRows = !layout.rows.empty() && layout.rows.back().summaryPageIndex == page;
            CGFloat roomLeft = geometry.bodyBottom() - y;
            if (pageHasRows || roomLeft < kThumbnailHeight + 2 * kRowPadding) {
                ++page;
                y = continuedTop;
            } else {
                height = roomLeft;  // a first row under a long title: its texts are clipped
            }
        }
        layout.rows.push_back({page, {{kMargin, y}, {geometry.designSize.width - 2 * kMargin, height}}});
        y += height;
    }
    layout.pageCount = page + 1;
    return layout;
}

bool MarqenSummaryWritePDF(const MarqenSummaryContent &content, CGSize pageSize, const std::filesystem::path &url,
                           std::vector<MarqenSummaryLink> *links, MarqenError *error) {
    PageGeometry geometry = pageGeometry(pageSize);
    MarqenSummaryLayout layout = MarqenSummaryLayoutRows(content, pageSize);
    CGSize pointSize{geometry.designSize.width * geometry.scale, geometry.designSize.height * geometry.scale};
    cairo_surface_t *surface = cairo_pdf_surface_create(url.c_str(), pointSize.width, pointSize.height);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        std::string message = cairo_status_to_string(cairo_surface_status(surface));
        cairo_surface_destroy(surface);
        return fail(error, "The summary page could not be created: " + message);
    }
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_TITLE, content.title.c_str());
    cairo_t *cr = cairo_create(surface);
    if (links) links->clear();
    size_t row = 0;
    for (size_t page = 0; page < layout.pageCount; ++page) {
        cairo_save(cr);
        cairo_scale(cr, geometry.scale, geometry.scale);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        drawHeader(cr, content, geometry, page == 0);
        for (; row < layout.rows.size() && layout.rows[row].summaryPageIndex == page; ++row) {
            const CGRect &rect = layout.rows[row].rowRect;
            bool lastOnPage = row + 1 == layout.rows.size() || layout.rows[row + 1].summaryPageIndex != page;
            drawRow(cr, content.entries[row], geometry, rect, lastOnPage);
            if (links) {
                CGRect pdfRect{{rect.origin.x * geometry.scale,
                                pointSize.height - (rect.origin.y + rect.size.height) * geometry.scale},
                               {rect.size.width * geometry.scale, rect.size.height * geometry.scale}};
                links->push_back({page, pdfRect, content.entries[row].pageIndex});
            }
        }
        if (layout.pageCount > 1) {
            std::string footer = "Summary " + std::to_string(page + 1) + " of " + std::to_string(layout.pageCount);
            CGFloat width = geometry.designSize.width - 2 * kMargin;
            MarqenTextAttributes style = footerStyle();
            style.alignment = MarqenTextAlignment::Center;
            drawText(cr, footer, style, {{kMargin, geometry.designSize.height - kFooterHeight}, {width, 14}});
        }
        cairo_restore(cr);
        cairo_show_page(cr);
    }
    cairo_status_t status = cairo_status(cr);
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS) return fail(error, std::string("The summary page could not be written: ") + cairo_status_to_string(status));
    return true;
}

}  // namespace marqen
