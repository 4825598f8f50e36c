#include "platform/graphics.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/log.h"
#include "foundation/resource_budget.h"
#include "platform/shadow_blur.h"
#include "platform/shadow_compositor.h"

namespace marqen {

namespace {

const cairo_user_data_key_t kImageKey{};

void releaseImage(void *data) { delete static_cast<MarqenImageRef *>(data); }

cairo_matrix_t toCairo(const CGAffineTransform &t) {
    cairo_matrix_t m;
    cairo_matrix_init(&m, t.a, t.b, t.c, t.d, t.tx, t.ty);
    return m;
}

void appendPath(cairo_t *cr, const MarqenBezierPath &path) {
    CGPoint current{};
    for (const MarqenPathElement &e : path.elements()) {
        switch (e.type) {
            case MarqenPathElementType::MoveToPoint:
                cairo_move_to(cr, e.points[0].x, e.points[0].y);
                current = e.points[0];
                break;
            case MarqenPathElementType::AddLineToPoint:
                cairo_line_to(cr, e.points[0].x, e.points[0].y);
                current = e.points[0];
                break;
            case MarqenPathElementType::AddQuadCurveToPoint: {
                // Cairo has cubics only: raise the degree exactly.
                CGPoint c = e.points[0], end = e.points[1];
                cairo_curve_to(cr, current.x + 2.0 / 3.0 * (c.x - current.x), current.y + 2.0 / 3.0 * (c.y - current.y),
                               end.x + 2.0 / 3.0 * (c.x - end.x), end.y + 2.0 / 3.0 * (c.y - end.y), end.x, end.y);
                current = end;
                break;
            }
            case MarqenPathElementType::AddCurveToPoint:
                cairo_curve_to(cr, e.points[0].x, e.points[0].y, e.points[1].x, e.points[1].y, e.points[2].x,
                               e.points[2].y);
                current = e.points[2];
                break;
            case MarqenPathElementType::CloseSubpath: {
                cairo_close_path(cr);
                double x = 0, y = 0;
                if (cairo_has_current_point(cr)) cairo_get_current_point(cr, &x, &y);
                current = {x, y};
                break;
            }
        }
    }
}

cairo_fill_rule_t fillRule(MarqenWindingRule rule) {
    return rule == MarqenWindingRule::EvenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING;
}

bool casts(const std::optional<MarqenShadow> &shadow) {
    return shadow && shadow->color.alpha > 0 &&
           (shadow->blur > 0 || shadow->offset.width != 0 || shadow->offset.height != 0);
}

// Device-space box of what a group holds: the inked pixels of a raster group, the clip otherwise.
bool groupInkExtents(cairo_t *cr, cairo_pattern_t *pattern, double box[4]) {
    cairo_surface_t *surface = nullptr;
    if (cairo_pattern_get_surface(pattern, &surface) == CAIRO_STATUS_SUCCESS &&
        cairo_surface_get_type(surface) == CAIRO_SURFACE_TYPE_IMAGE &&
        cairo_image_surface_get_format(surface) == CAIRO_FORMAT_ARGB32) {
        cairo_surface_flush(surface);
        const int w = cairo_image_surface_get_width(surface), h = cairo_image_surface_get_height(surface);
        const int stride = cairo_image_surface_get_stride(surface);
        const unsigned char *data = cairo_image_surface_get_data(surface);
        int minX = w, minY = h, maxX = -1, maxY = -1;
        for (int y = 0; y < h; ++y) {
            const auto *row = reinterpret_cast<const uint32_t *>(data + static_cast<size_t>(y) * stride);
            // Premultiplied: a pixel without alpha is all zero, so one OR over the row finds empty rows.
            uint32_t any = 0;
            for (int x = 0; x < w; ++x) any |= row[x];
            if (!any) continue;
            int first = 0, last = w - 1;
            while (first < minX && !(row[first] >> 24)) ++first;
            while (last > maxX && !(row[last] >> 24)) --last;
            if (first < minX && (row[first] >> 24)) minX = first;
            if (last > maxX && (row[last] >> 24)) maxX = last;
            minY = std::min(minY, y);
            maxY = y;
        }
        if (maxX < 0) return false;  // nothing drawn
        double dx = 0, dy = 0;
        cairo_surface_get_device_offset(surface, &dx, &dy);
        box[0] = minX - dx;
        box[1] = minY - dy;
        box[2] = maxX + 1 - dx;
        box[3] = maxY + 1 - dy;
        return true;
    }
    double x1, y1, x2, y2;
    cairo_clip_extents(cr, &x1, &y1, &x2, &y2);
    double xs[4] = {x1, x2, x1, x2}, ys[4] = {y1, y1, y2, y2};
    box[0] = box[1] = INFINITY;
    box[2] = box[3] = -INFINITY;
    for (int i = 0; i < 4; ++i) {
        cairo_user_to_device(cr, &xs[i], &ys[i]);
        box[0] = std::min(box[0], xs[i]);
        box[1] = std::min(box[1], ys[i]);
        box[2] = std::max(box[2], xs[i]);
        box[3] = std::max(box[3], ys[i]);
    }
    return box[2] > box[0] && box[3] > box[1];
}

// The alpha of a raster group, copied into an A8 mask whose pixel (0, 0) lies at device (x0, y0):
// what painting the group into the mask would give when group and mask pixels line up one to one,
// without Cairo compositing the whole mask. False when they do not line up (the caller paints).
bool copyGroupAlpha(cairo_pattern_t *pattern, const double box[4], double x0, double y0, cairo_surface_t *mask) {
    cairo_surface_t *surface = nullptr;
    if (cairo_pattern_get_surface(pattern, &surface) != CAIRO_STATUS_SUCCESS ||
        cairo_surface_get_type(surface) != CAIRO_SURFACE_TYPE_IMAGE ||
        cairo_image_surface_get_format(surface) != CAIRO_FORMAT_ARGB32)
        return false;
    double dx = 0, dy = 0, sx = 1, sy = 1;
    cairo_surface_get_device_offset(surface, &dx, &dy);
    cairo_surface_get_device_scale(surface, &sx, &sy);
    if (sx != 1 || sy != 1 || dx != std::floor(dx) || dy != std::floor(dy)) return false;
    const int surfaceWidth = cairo_image_surface_get_width(surface), surfaceHeight = cairo_image_surface_get_height(surface);
    const int firstX = static_cast<int>(box[0] + dx), lastX = static_cast<int>(box[2] + dx);
    const int firstY = static_cast<int>(box[1] + dy), lastY = static_cast<int>(box[3] + dy);
    const int maskX = static_cast<int>(box[0] - x0), maskY = static_cast<int>(box[1] - y0);
    if (firstX < 0 || firstY < 0 || lastX > surfaceWidth || lastY > surfaceHeight || maskX < 0 || maskY < 0 ||
        maskX + (lastX - firstX) > cairo_image_surface_get_width(mask) ||
        maskY + (lastY - firstY) > cairo_image_surface_get_height(mask))
        return false;
    cairo_surface_flush(mask);
    const unsigned char *data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface), maskStride = cairo_image_surface_get_stride(mask);
    unsigned char *maskData = cairo_image_surface_get_data(mask);
    for (int y = firstY; y < lastY; ++y) {
        const auto *row = reinterpret_cast<const uint32_t *>(data + static_cast<size_t>(y) * stride);
        unsigned char *out = maskData + static_cast<size_t>(maskY + y - firstY) * maskStride + maskX;
        for (int x = firstX; x < lastX; ++x) out[x - firstX] = static_cast<unsigned char>(row[x] >> 24);
    }
    cairo_surface_mark_dirty(mask);
    return true;
}

}  // namespace

MarqenGraphicsContext::MarqenGraphicsContext(cairo_t *context) : context_(cairo_reference(context)) {
    // Cairo lists the clip (within the target) as rectangles when they are whole pixels, as a new
    // context's clip is.
    cairo_save(context_);
    cairo_identity_matrix(context_);
    cairo_rectangle_list_t *list = cairo_copy_clip_rectangle_list(context_);
    cairo_restore(context_);
    if (list->status == CAIRO_STATUS_SUCCESS && list->num_rectangles == 1) {
        const cairo_rectangle_t &r = list->rectangles[0];
        state().deviceClip = CGRectMake(r.x, r.y, r.width, r.height);
    }
    cairo_rectangle_list_destroy(list);
}

std::unique_ptr<MarqenGraphicsContext> MarqenGraphicsContext::createForImage(const MarqenImageRef &image,
                                                                             MarqenError *error) {
    if (!image) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorInvalidArgument, "No image to draw into.");
        return nullptr;
    }
    cairo_surface_t *surface = MarqenImageCreateCairoSurface(image);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorTooLarge,
                   std::string("Cannot draw into the image: ") + cairo_status_to_string(cairo_surface_status(surface)) +
                       ".");
        cairo_surface_destroy(surface);
        return nullptr;
    }
    cairo_t *cr = cairo_create(surface);
    auto context = std::make_unique<MarqenGraphicsContext>(cr);
    cairo_destroy(cr);
    context->ownedSurface_ = surface;
    return context;
}

MarqenGraphicsContext::~MarqenGraphicsContext() {
    while (!layers_.empty()) endTransparencyLayer();
    cairo_destroy(context_);
    if (ownedSurface_) {
        cairo_surface_flush(ownedSurface_);
        cairo_surface_destroy(ownedSurface_);
    }
}

void MarqenGraphicsContext::saveGState() {
    cairo_save(context_);
    states_.push_back(state());
}

void MarqenGraphicsContext::restoreGState() {
    size_t floor = layers_.empty() ? 1 : layers_.back().stateDepth + 1;
    if (states_.size() <= floor) {
        marqenLog("MarqenGraphicsContext: restoreGState without a matching saveGState ignored");
        return;
    }
    states_.pop_back();
    cairo_restore(context_);
}

void MarqenGraphicsContext::concatCTM(const CGAffineTransform &transform) {
    // Cairo refuses a matrix (and the product with the current one) that is not finite and invertible,
    // and the context stays dead after; such a transform draws nothing instead.
    auto usable = [](const cairo_matrix_t &m) {
        const double det = m.xx * m.yy - m.yx * m.xy;
        return std::isfinite(m.xx) && std::isfinite(m.yx) && std::isfinite(m.xy) && std::isfinite(m.yy) &&
               std::isfinite(m.x0) && std::isfinite(m.y0) && std::isfinite(det) && det != 0;
    };
    cairo_matrix_t m = toCairo(transform), current, product;
    cairo_get_matrix(context_, &current);
    cairo_matrix_multiply(&product, &m, &current);
    if (!usable(m) || !usable(product)) {
        marqenLog("MarqenGraphicsContext: singular transform ignored");
        return;
    }
    cairo_transform(context_, &m);
}

void MarqenGraphicsContext::translateCTM(CGFloat tx, CGFloat ty) { concatCTM(CGAffineTransformMakeTranslation(tx, ty)); }
void MarqenGraphicsContext::scaleCTM(CGFloat sx, CGFloat sy) { concatCTM(CGAffineTransformMakeScale(sx, sy)); }
void MarqenGraphicsContext::rotateCTM(CGFloat angle) { concatCTM(CGAffineTransformMakeRotation(angle)); }

CGAffineTransform MarqenGraphicsContext::getCTM() const {
    cairo_matrix_t m;
    cairo_get_matrix(context_, &m);
    return {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0};
}

void MarqenGraphicsContext::clipToRect(CGRect rect) {
    rect = CGRectStandardize(rect);
    cairo_new_path(context_);
    cairo_rectangle(context_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    cairo_clip(context_);
    // A CTM that keeps axes on axes keeps the clip a device-space rectangle.
    cairo_matrix_t m;
    cairo_get_matrix(context_, &m);
    auto &clip = state().deviceClip;
    if (clip && ((m.xy == 0 && m.yx == 0) || (m.xx == 0 && m.yy == 0))) {
        const CGRect device = CGRectApplyAffineTransform(rect, {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0});
        const CGRect common = CGRectIntersection(*clip, device);
        clip = CGRectIsNull(common) ? CGRectZero : common;
    } else {
        clip.reset();
    }
}

void MarqenGraphicsContext::clipToPath(const MarqenBezierPath &path) {
    state().deviceClip.reset();
    cairo_new_path(context_);
    appendPath(context_, path);
    cairo_set_fill_rule(context_, fillRule(path.windingRule()));
    cairo_clip(context_);
}

CGRect MarqenGraphicsContext::clipBoundingBox() const {
    double x1, y1, x2, y2;
    cairo_clip_extents(context_, &x1, &y1, &x2, &y2);
    return CGRectMake(x1, y1, x2 - x1, y2 - y1);
}

void MarqenGraphicsContext::setFillColor(const MarqenRGBAColor &color) { state().fill = color; }
void MarqenGraphicsContext::setStrokeColor(const MarqenRGBAColor &color) { state().stroke = color; }
MarqenRGBAColor MarqenGraphicsContext::fillColor() const { return state().fill; }
MarqenRGBAColor MarqenGraphicsContext::strokeColor() const { return state().stroke; }
void MarqenGraphicsContext::setAlpha(CGFloat alpha) { state().alpha = std::clamp(alpha, 0.0, 1.0); }
void MarqenGraphicsContext::setLineWidth(CGFloat width) { cairo_set_line_width(context_, std::max(0.0, width)); }

void MarqenGraphicsContext::setLineCap(MarqenLineCap cap) {
    cairo_set_line_cap(context_, cap == MarqenLineCap::Round    ? CAIRO_LINE_CAP_ROUND
                                 : cap == MarqenLineCap::Square ? CAIRO_LINE_CAP_SQUARE
                                                                : CAIRO_LINE_CAP_BUTT);
}

void MarqenGraphicsContext::setLineJoin(MarqenLineJoin join) {
    cairo_set_line_join(context_, join == MarqenLineJoin::Round   ? CAIRO_LINE_JOIN_ROUND
                                  : join == MarqenLineJoin::Bevel ? CAIRO_LINE_JOIN_BEVEL
                                                                  : CAIRO_LINE_JOIN_MITER);
}

void MarqenGraphicsContext::setMiterLimit(CGFloat limit) { cairo_set_miter_limit(context_, limit); }

void MarqenGraphicsContext::setLineDash(CGFloat phase, const std::vector<CGFloat> &lengths) {
    bool usable = std::any_of(lengths.begin(), lengths.end(), [](CGFloat v) { return v > 0; }) &&
                  std::none_of(lengths.begin(), lengths.end(), [](CGFloat v) { return v < 0 || !std::isfinite(v); });
    if (!usable) {
        cairo_set_dash(context_, nullptr, 0, 0);
        return;
    }
    cairo_set_dash(context_, lengths.data(), static_cast<int>(lengths.size()), phase);
}

void MarqenGraphicsContext::setShouldAntialias(bool antialias) {
    cairo_set_antialias(context_, antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
}

void MarqenGraphicsContext::setInterpolationQuality(MarqenInterpolationQuality quality) {
    state().interpolation = quality;
}

void MarqenGraphicsContext::beginPath() { cairo_new_path(context_); }
void MarqenGraphicsContext::addPath(const MarqenBezierPath &path) { appendPath(context_, path); }

void MarqenGraphicsContext::addRect(CGRect rect) {
    rect = CGRectStandardize(rect);
    cairo_rectangle(context_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

void MarqenGraphicsContext::setSource(const MarqenRGBAColor &color) {
    cairo_set_source_rgba(context_, color.red, color.green, color.blue, color.alpha * state().alpha);
}

void MarqenGraphicsContext::fillPath(MarqenWindingRule rule) {
    drawPath(rule == MarqenWindingRule::EvenOdd ? MarqenPathDrawingMode::EOFill : MarqenPathDrawingMode::Fill);
}

void MarqenGraphicsContext::strokePath() { drawPath(MarqenPathDrawingMode::Stroke); }

namespace {

uint64_t pathPointCount(const cairo_path_t *path) {
    uint64_t points = 0;
    for (int i = 0; i < path->num_data; i += path->data[i].header.length)
        points += static_cast<uint64_t>(path->data[i].header.length - 1);
    return points;
}

// Cairo strokes one path as one polygon, at a cost that grows with the crossings inside it: quadratic
// for a long path that crosses itself everywhere. Longer paths are stroked in runs of this many
// segments, each run repeating the previous run's last segment so that the joins between runs stay.
constexpr int kSegmentsPerStrokeRun = 128;

void appendSegment(cairo_t *context, const cairo_path_data_t *segment) {
    if (segment->header.type == CAIRO_PATH_LINE_TO) {
        cairo_line_to(context, segment[1].point.x, segment[1].point.y);
    } else {
        cairo_curve_to(context, segment[1].point.x, segment[1].point.y, segment[2].point.x, segment[2].point.y,
                       segment[3].point.x, segment[3].point.y);
    }
}

void strokeInRuns(cairo_t *context, const cairo_path_t *path) {
    cairo_new_path(context);
    int segmentsInRun = 0;
    bool subpathInRun = false;
    cairo_path_data_t start{}, current{}, previousStart{};
    const cairo_path_data_t *previous = nullptr;
    for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
        const cairo_path_data_t *element = &path->data[i];
        switch (element->header.type) {
            case CAIRO_PATH_MOVE_TO:
                start = current = element[1];
                cairo_move_to(context, current.point.x, current.point.y);
                previous = nullptr;
                subpathInRun = true;
                break;
            case CAIRO_PATH_LINE_TO:
            case CAIRO_PATH_CURVE_TO:
                if (segmentsInRun >= kSegmentsPerStrokeRun) {
                    cairo_stroke(context);
                    segmentsInRun = 0;
                    subpathInRun = false;
                    if (previous) {
                        cairo_move_to(context, previousStart.point.x, previousStart.point.y);
                        appendSegment(context, previous);
                    } else {
                        cairo_move_to(context, current.point.x, current.point.y);
                    }
                }
                appendSegment(context, element);
                previous = element;
                previousStart = current;
                current = element[element->header.length - 1];
                ++segmentsInRun;
                break;
            case CAIRO_PATH_CLOSE_PATH:
                // A subpath that began in an earlier run is closed by a line back to its start.
                if (subpathInRun) {
                    cairo_close_path(context);
                } else {
                    cairo_line_to(context, start.point.x, start.point.y);
                }
                current = start;
                previous = nullptr;
                break;
        }
    }
    cairo_stroke(context);
}

}  // namespace

bool MarqenGraphicsContext::admitPathPoints(uint64_t points) {
    const MarqenResourceBudget &budget = MarqenCurrentResourceBudget();
    std::string exceeded;
    if (budget.pathPointsPerElement && points > budget.pathPointsPerElement) {
        exceeded = MarqenBudgetExceededText("a path of " + std::to_string(points) + " points",
                                            "path points per element", budget.pathPointsPerElement);
    } else if (budget.pathPointsPerDocument && pathPointsDrawn_ + points > budget.pathPointsPerDocument) {
        exceeded = MarqenBudgetExceededText("a path of " + std::to_string(points) + " points",
                                            "path points per document", budget.pathPointsPerDocument);
    }
    if (!exceeded.empty()) {
        marqenLogRepeatable("A path was left out", "A path was left out: " + exceeded);
        return false;
    }
    pathPointsDrawn_ += points;
    return true;
}

void MarqenGraphicsContext::strokeLongPath(const void *pathPointer) {
    const auto *path = static_cast<const cairo_path_t *>(pathPointer);
    // A dash pattern would restart in every run, so dashed paths are stroked whole.
    if (path->num_data <= 2 * kSegmentsPerStrokeRun || cairo_get_dash_count(context_) > 0) {
        setSource(state().stroke);
        cairo_stroke_preserve(context_);
        return;
    }
    // Runs overlap, so they are drawn opaque into a group that is then painted with the stroke's alpha.
    const double alpha = state().stroke.alpha * state().alpha;
    const bool translucent = alpha < 1 || cairo_get_operator(context_) != CAIRO_OPERATOR_OVER;
    if (translucent) cairo_push_group(context_);
    cairo_set_source_rgba(context_, state().stroke.red, state().stroke.green, state().stroke.blue, translucent ? 1 : alpha);
    strokeInRuns(context_, path);
    if (translucent) {
        cairo_pop_group_to_source(context_);
        cairo_paint_with_alpha(context_, alpha);
    }
}

void MarqenGraphicsContext::drawPath(MarqenPathDrawingMode mode) {
    cairo_path_t *path = cairo_copy_path(context_);
    cairo_new_path(context_);
    if (!admitPathPoints(pathPointCount(path))) {
        cairo_path_destroy(path);
        return;
    }
    perform([&] {
        cairo_new_path(context_);
        cairo_append_path(context_, path);
        bool fill = mode != MarqenPathDrawingMode::Stroke;
        bool stroke = mode == MarqenPathDrawingMode::Stroke || mode == MarqenPathDrawingMode::FillStroke ||
                      mode == MarqenPathDrawingMode::EOFillStroke;
        if (fill) {
            bool evenOdd = mode == MarqenPathDrawingMode::EOFill || mode == MarqenPathDrawingMode::EOFillStroke;
            cairo_set_fill_rule(context_, evenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
            setSource(state().fill);
            cairo_fill_preserve(context_);
        }
        if (stroke) strokeLongPath(path);
        cairo_new_path(context_);
    });
    cairo_path_destroy(path);
}

void MarqenGraphicsContext::fillPath(const MarqenBezierPath &path) {
    cairo_path_t *saved = cairo_copy_path(context_);
    cairo_new_path(context_);
    appendPath(context_, path);
    fillPath(path.windingRule());
    cairo_append_path(context_, saved);
    cairo_path_destroy(saved);
}

void MarqenGraphicsContext::strokePath(const MarqenBezierPath &path) {
    cairo_path_t *saved = cairo_copy_path(context_);
    cairo_new_path(context_);
    appendPath(context_, path);
    strokePath();
    cairo_append_path(context_, saved);
    cairo_path_destroy(saved);
}

void MarqenGraphicsContext::fillRect(CGRect rect) { fillPath(MarqenBezierPath::pathWithRect(CGRectStandardize(rect))); }
void MarqenGraphicsContext::strokeRect(CGRect rect) {
    strokePath(MarqenBezierPath::pathWithRect(CGRectStandardize(rect)));
}

void MarqenGraphicsContext::clearRect(CGRect rect) {
    rect = CGRectStandardize(rect);
    cairo_save(context_);
    cairo_new_path(context_);
    cairo_rectangle(context_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    cairo_set_operator(context_, CAIRO_OPERATOR_CLEAR);
    cairo_fill(context_);
    cairo_restore(context_);
}

void MarqenGraphicsContext::drawImage(const MarqenImage &image, CGRect rect, bool flipped) {
    rect = CGRectStandardize(rect);
    if (CGRectIsEmpty(rect) || CGRectIsInfinite(rect)) return;
    cairo_surface_t *surface = cairo_image_surface_create_for_data(
        const_cast<unsigned char *>(image.data()), CAIRO_FORMAT_ARGB32, image.width(), image.height(), image.stride());
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        marqenLog("MarqenGraphicsContext: image of " + std::to_string(image.width()) + "x" +
                  std::to_string(image.height()) + " pixels cannot be drawn");
        cairo_surface_destroy(surface);
        return;
    }
    cairo_pattern_t *pattern = cairo_pattern_create_for_surface(surface);
    const double sx = image.width() / rect.size.width, sy = image.height() / rect.size.height;
    cairo_matrix_t m;
    if (flipped) cairo_matrix_init(&m, sx, 0, 0, sy, -rect.origin.x * sx, -rect.origin.y * sy);
    else cairo_matrix_init(&m, sx, 0, 0, -sy, -rect.origin.x * sx, CGRectGetMaxY(rect) * sy);
    cairo_pattern_set_matrix(pattern, &m);
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    switch (state().interpolation) {
        case MarqenInterpolationQuality::None: cairo_pattern_set_filter(pattern, CAIRO_FILTER_NEAREST); break;
        case MarqenInterpolationQuality::Low: cairo_pattern_set_filter(pattern, CAIRO_FILTER_FAST); break;
        case MarqenInterpolationQuality::Default: cairo_pattern_set_filter(pattern, CAIRO_FILTER_GOOD); break;
        case MarqenInterpolationQuality::High: cairo_pattern_set_filter(pattern, CAIRO_FILTER_BEST); break;
    }
    perform([&] {
        cairo_save(context_);
        cairo_new_path(context_);
        cairo_rectangle(context_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
        cairo_clip(context_);
        cairo_set_source(context_, pattern);
        cairo_paint_with_alpha(context_, state().alpha);
        cairo_restore(context_);
    });
    cairo_pattern_destroy(pattern);
    cairo_surface_destroy(surface);
}

void MarqenGraphicsContext::beginTransparencyLayer() { beginLayer(nullptr); }
void MarqenGraphicsContext::beginTransparencyLayer(CGRect bounds) { beginLayer(&bounds); }

void MarqenGraphicsContext::beginLayer(const CGRect *bounds) {
    layers_.push_back(Layer{state(), states_.size()});
    std::optional<CGRect> layerClip;
    if (bounds && !CGRectIsNull(*bounds) && !CGRectIsInfinite(*bounds)) {
        // The bounds' device box in whole pixels, one more on each side: the pixels that the
        // drawing touches lie wholly inside it, so the clip changes none of them.
        const CGRect r = CGRectStandardize(*bounds);
        double xs[4] = {r.origin.x, CGRectGetMaxX(r), r.origin.x, CGRectGetMaxX(r)};
        double ys[4] = {r.origin.y, r.origin.y, CGRectGetMaxY(r), CGRectGetMaxY(r)};
        double x0 = INFINITY, y0 = INFINITY, x1 = -INFINITY, y1 = -INFINITY;
        for (int i = 0; i < 4; ++i) {
            cairo_user_to_device(context_, &xs[i], &ys[i]);
            x0 = std::min(x0, xs[i]), x1 = std::max(x1, xs[i]);
            y0 = std::min(y0, ys[i]), y1 = std::max(y1, ys[i]);
        }
        constexpr double kFar = 1e9;
        if (std::fabs(x0) < kFar && std::fabs(y0) < kFar && std::fabs(x1) < kFar && std::fabs(y1) < kFar)
            layerClip = CGRectMake(std::floor(x0) - 1, std::floor(y0) - 1, std::ceil(x1) - std::floor(x0) + 2,
                                   std::ceil(y1) - std::floor(y0) + 2);
    }
    if (layerClip) {
        layers_.back().bounded = true;
        cairo_save(context_);
        cairo_matrix_t ctm;
        cairo_get_matrix(context_, &ctm);
        cairo_identity_matrix(context_);
        cairo_new_path(context_);
        cairo_rectangle(context_, layerClip->origin.x, layerClip->origin.y, layerClip->size.width,
                        layerClip->size.height);
        cairo_clip(context_);
        cairo_set_matrix(context_, &ctm);
    }
    states_.push_back(state());
    state().alpha = 1;
    state().shadow.reset();
    if (layerClip && state().deviceClip) {
        const CGRect common = CGRectIntersection(*state().deviceClip, *layerClip);
        state().deviceClip = CGRectIsNull(common) ? CGRectZero : common;
    }
    cairo_push_group(context_);
}

void MarqenGraphicsContext::endTransparencyLayer() {
    if (layers_.empty()) {
        marqenLog("MarqenGraphicsContext: endTransparencyLayer without a layer ignored");
        return;
    }
    Layer layer = layers_.back();
    layers_.pop_back();
    // Unbalanced saves inside the layer end with it.
    while (states_.size() > layer.stateDepth + 1) {
        states_.pop_back();
        cairo_restore(context_);
    }
    states_.pop_back();
    cairo_pattern_t *pattern = cairo_pop_group(context_);
    if (layer.bounded) cairo_restore(context_);  // the layer's own clip
    compositeGroup(pattern, layer.saved.alpha, layer.saved.shadow);
    cairo_pattern_destroy(pattern);
}

void MarqenGraphicsContext::setShadow(CGSize offset, CGFloat blur, const MarqenRGBAColor &color) {
    MarqenShadow shadow{offset, std::max(0.0, std::isfinite(blur) ? blur : 0.0), color};
    if (casts(shadow)) state().shadow = shadow;
    else state().shadow.reset();
}

void MarqenGraphicsContext::setShadow(CGSize offset, CGFloat blur) { setShadow(offset, blur, MarqenShadow{}.color); }
void MarqenGraphicsContext::clearShadow() { state().shadow.reset(); }
std::optional<MarqenShadow> MarqenGraphicsContext::shadow() const { return state().shadow; }

void MarqenGraphicsContext::drawWithCairo(const std::function<void(cairo_t *)> &draw) {
    if (!casts(state().shadow) && state().alpha >= 1) {
        draw(context_);
        return;
    }
    cairo_push_group(context_);
    draw(context_);
    cairo_pattern_t *pattern = cairo_pop_group(context_);
    compositeGroup(pattern, state().alpha, state().shadow);
    cairo_pattern_destroy(pattern);
}

void MarqenGraphicsContext::perform(const std::function<void()> &draw) {
    if (!casts(state().shadow)) {
        draw();
        return;
    }
    cairo_push_group(context_);
    draw();
    cairo_pattern_t *pattern = cairo_pop_group(context_);
    compositeGroup(pattern, 1.0, state().shadow);
    cairo_pattern_destroy(pattern);
}

std::optional<CGRect> MarqenGraphicsContext::knownDeviceClip() const {
    const std::optional<CGRect> &clip = state().deviceClip;
    if (!clip || !std::isfinite(clip->origin.x) || !std::isfinite(clip->origin.y) || !std::isfinite(clip->size.width) ||
        !std::isfinite(clip->size.height))
        return std::nullopt;
    // Cairo's clip extents are its clip rounded out to whole pixels (the edges first put on its
    // 1/256 grid) and cut to the target; a clip set behind this context's back would show.
    cairo_surface_t *target = cairo_get_group_target(context_);
    if (cairo_surface_get_type(target) != CAIRO_SURFACE_TYPE_IMAGE) return std::nullopt;
    double dx = 0, dy = 0;
    cairo_surface_get_device_offset(target, &dx, &dy);
    const double tx1 = -dx, ty1 = -dy;
    const double tx2 = tx1 + cairo_image_surface_get_width(target), ty2 = ty1 + cairo_image_surface_get_height(target);
    double x1, y1, x2, y2;
    cairo_save(context_);
    cairo_identity_matrix(context_);
    cairo_clip_extents(context_, &x1, &y1, &x2, &y2);
    cairo_restore(context_);
    auto grid = [](double v) { return std::round(v * 256) / 256; };
    const double left = std::max(tx1, std::floor(grid(CGRectGetMinX(*clip))));
    const double top = std::max(ty1, std::floor(grid(CGRectGetMinY(*clip))));
    const double right = std::min(tx2, std::ceil(grid(CGRectGetMaxX(*clip))));
    const double bottom = std::min(ty2, std::ceil(grid(CGRectGetMaxY(*clip))));
    if (right <= left || bottom <= top) return std::nullopt;
    if (x1 != left || y1 != top || x2 != right || y2 != bottom) return std::nullopt;
    return clip;
}

void MarqenGraphicsContext::compositeGroup(void *patternPointer, CGFloat alpha, const std::optional<MarqenShadow> &shadow) {
    auto *pattern = static_cast<cairo_pattern_t *>(patternPointer);
    if (casts(shadow)) {
        const std::optional<CGRect> clip = knownDeviceClip();
        if (compositeShadowedRasterGroup(context_, pattern, alpha, *shadow, clip ? &*clip : nullptr) !=
            ShadowCompositing::NotRaster)
            return;
    }
    double box[4];
    if (casts(shadow) && groupInkExtents(context_, pattern, box)) {
        cairo_surface_t *target = cairo_get_group_target(context_);
        // Vector targets (PDF) get the shadow rasterised at twice their unit size.
        const double scale = cairo_surface_get_type(target) == CAIRO_SURFACE_TYPE_IMAGE ? 1.0 : 2.0;
        const double sigma = shadow->blur / 2.0;
        const double margin = std::ceil(3 * sigma) + 2;
        const double x0 = std::floor(box[0] - margin), y0 = std::floor(box[1] - margin);
        const double width = std::ceil(box[2] + margin) - x0, height = std::ceil(box[3] + margin) - y0;
        const double pixels = width * height * scale * scale;
        if (pixels > 0 && pixels <= 64.0 * 1024 * 1024) {
            const int w = static_cast<int>(width * scale), h = static_cast<int>(height * scale);
            cairo_surface_t *mask = cairo_image_surface_create(CAIRO_FORMAT_A8, w, h);
            // The group's pattern maps device pixels to its own one to one, whatever the CTM; at one
            // mask pixel per device pixel its alpha is copied, otherwise painted at the mask's scale.
            if (scale != 1 || !copyGroupAlpha(pattern, box, x0, y0, mask)) {
                cairo_t *maskContext = cairo_create(mask);
                cairo_matrix_t ctm, toMask;
                cairo_get_matrix(context_, &ctm);
                cairo_matrix_init(&toMask, scale, 0, 0, scale, -x0 * scale, -y0 * scale);
                cairo_matrix_multiply(&ctm, &ctm, &toMask);
                cairo_set_matrix(maskContext, &ctm);
                cairo_set_source(maskContext, pattern);
                cairo_paint(maskContext);
                cairo_destroy(maskContext);
            }
            cairo_surface_flush(mask);
            MarqenBlurAlphaMask(cairo_image_surface_get_data(mask), w, h, cairo_image_surface_get_stride(mask),
                                sigma * scale);
            cairo_surface_mark_dirty(mask);
            cairo_surface_set_device_scale(mask, scale, scale);

            cairo_save(context_);
            cairo_identity_matrix(context_);
            cairo_set_source_rgba(context_, shadow->color.red, shadow->color.green, shadow->color.blue,
                                  shadow->color.alpha * alpha);
            // The offset's height points up, as on the platform; device space points down.
            cairo_mask_surface(context_, mask, x0 + shadow->offset.width, y0 - shadow->offset.height);
            cairo_restore(context_);
            cairo_surface_destroy(mask);
        } else if (pixels > 0) {
            marqenLog("MarqenGraphicsContext: shadow of " + std::to_string(static_cast<long long>(pixels)) +
                      " pixels is too large and was left out");
        }
    }
    cairo_save(context_);
    cairo_set_source(context_, pattern);
    cairo_paint_with_alpha(context_, alpha);
    cairo_restore(context_);
}

cairo_surface_t *MarqenImageCreateCairoSurface(const MarqenImageRef &image) {
    if (!image) return cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 0, 0);
    cairo_surface_t *surface = cairo_image_surface_create_for_data(image->data(), CAIRO_FORMAT_ARGB32, image->width(),
                                                                   image->height(), image->stride());
    if (cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS) {
        cairo_surface_set_user_data(surface, &kImageKey, new MarqenImageRef(image), releaseImage);
    }
    return surface;
}

MarqenImageRef MarqenImageCreateFromCairoSurface(cairo_surface_t *surface, MarqenError *error) {
    if (!surface || cairo_surface_get_type(surface) != CAIRO_SURFACE_TYPE_IMAGE ||
        (cairo_image_surface_get_format(surface) != CAIRO_FORMAT_ARGB32 &&
         cairo_image_surface_get_format(surface) != CAIRO_FORMAT_RGB24)) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorInvalidArgument,
                   "Only 32-bit image surfaces can be turned into images.");
        return nullptr;
    }
    cairo_surface_flush(surface);
    const int w = cairo_image_surface_get_width(surface), h = cairo_image_surface_get_height(surface);
    MarqenImageRef image = MarqenImage::createUninitialized(w, h, error);
    if (!image) return nullptr;
    const bool opaque = cairo_image_surface_get_format(surface) == CAIRO_FORMAT_RGB24;
    const unsigned char *data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    for (int y = 0; y < h; ++y) {
        std::memcpy(image->row(y), data + static_cast<size_t>(y) * stride, static_cast<size_t>(w) * 4);
        if (opaque) {
            uint32_t *row = image->row(y);
            for (int x = 0; x < w; ++x) row[x] |= 0xFF000000u;
        }
    }
    return image;
}

}  // namespace marqen
