#include "dom/vector.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <utility>

#include "dom/change_protocol.h"
#include "dom/node_class.h"
#include "dom/vector_stroke_fitting.h"
#include "foundation/queues.h"
#include "foundation/svg_path/svg_path_parser.h"
#include "foundation/svg_path/svg_path_writer.h"
#include "foundation/value_encoding.h"
#include "ink/rite_point_filter.h"
#include "platform/path_hit_test.h"

namespace marqen {

namespace {

constexpr MarqenToolSizeSteps kToolSizeSteps{{1, 3, 7, 15, 31}};

std::optional<MarqenDOMColor> colorForKey(const MarqenJSON &dictionary, const std::string &key) {
    const MarqenJSON *value = marqen_objectForKey(dictionary, key);
    if (!value || !value->is_object()) return std::nullopt;
    return MarqenDOMColor::fromDictionary(*value);
}

}  // namespace

std::optional<CGPoint> MarqenDOMVectorPointForKey(const MarqenJSON &dictionary, const std::string &key) {
    const MarqenJSON *value = marqen_objectForKey(dictionary, key);
    if (!value) return std::nullopt;
    return CGPointFromNSDictionary(*value);
}

const MarqenDOMNodeClass &MarqenDOMVector::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMVector", "Vector", [] { return create(); }, nullptr,
                                               &MarqenDOMElement::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMVector> MarqenDOMVector::create() { return MarqenMakeNode<MarqenDOMVector>(); }

MarqenDOMVector::MarqenDOMVector() = default;
MarqenDOMVector::~MarqenDOMVector() = default;

namespace {
// The outline and the ink are what the content bounds are made of.
constexpr MarqenDOMChangeRules kInkChange{.affectsContentBounds = true};
// The polyline drawn while a stroke is under way: no undo step of its own, and the save mark comes with the stroke.
constexpr MarqenDOMChangeRules kDrawingChange{.affectsContentBounds = true, .registersUndo = false, .marksNeedsSave = false};
}  // namespace

void MarqenDOMVector::setBezierPathWithoutUndo(const std::optional<MarqenBezierPath> &path) {
    MarqenDOMChangeProtocol::set(*this, bezierPath_, path, &MarqenDOMVector::setBezierPath, kDrawingChange);
}

void MarqenDOMVector::setBezierPath(const std::optional<MarqenBezierPath> &path) {
    MarqenDOMChangeProtocol::set(*this, bezierPath_, path, &MarqenDOMVector::setBezierPath, kInkChange);
}

std::string MarqenDOMVector::bezierPathString() const {
    return bezierPath_ ? BezierToSvg::pathDataFromCGPath(*bezierPath_) : std::string();
}

void MarqenDOMVector::setStrokeColor(const std::optional<MarqenDOMColor> &color) {
    MarqenDOMChangeProtocol::set(*this, strokeColor_, color, &MarqenDOMVector::setStrokeColor, kInkChange);
}

void MarqenDOMVector::setFillColor(const std::optional<MarqenDOMColor> &color) {
    MarqenDOMChangeProtocol::set(*this, fillColor_, color, &MarqenDOMVector::setFillColor, kInkChange);
}

void MarqenDOMVector::setLineWidth(CGFloat width) {
    MarqenDOMChangeProtocol::set(*this, lineWidth_, width, &MarqenDOMVector::setLineWidth, kInkChange);
}

// Freehand stroke: a polyline through the filtered points while drawing; the fitted curve later.

void MarqenDOMVector::beginAtPoint(CGPoint point) {
    ++strokeGeneration_;
    originalPoints_.assign(1, point);
    realtimePointFilter_ = std::make_unique<MarqenRitePointFilter>();
    realtimePointFilter_->filterPoint(point);
    MarqenBezierPath path;
    path.moveToPoint(point);
    setBezierPathWithoutUndo(path);
}

void MarqenDOMVector::appendPoint(CGPoint point, CGPoint, MarqenVectorDrawingOptions) {
    if (!realtimePointFilter_) {
        beginAtPoint(point);
        return;
    }
    originalPoints_.push_back(point);
    std::vector<CGPoint> added = realtimePointFilter_->filterPoint(point);
    if (!added.empty() || !bezierPath_) {
        // The points go onto the stored path in place: copying and comparing the whole path at every point
        // would make drawing a long stroke quadratic.
        MarqenDOMChangeProtocol::perform(*this, kDrawingChange, [&] {
            MarqenBezierPath &path = bezierPath_ ? *bezierPath_ : bezierPath_.emplace();
            for (CGPoint filtered : added) {
                if (path.hasCurrentPoint())
                    path.addLineToPoint(filtered);
                else
                    path.moveToPoint(filtered);
            }
        }, nullptr);
    }
    markDocumentNeedsSave();
}

void MarqenDOMVector::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) {
    appendPoint(point, velocity, options);
    fitStrokeInBackground();
}

void MarqenDOMVector::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                                 const CGAffineTransform &) {
    endAtPoint(point, velocity, options);
}

void MarqenDOMVector::fitStrokeInBackground() {
    if (!realtimePointFilter_) return;
    // The filter is done with once the stroke ends; its points are handed over by value.
    std::vector<CGPoint> points = realtimePointFilter_->filteredPoints();
    realtimePointFilter_.reset();
    std::weak_ptr<MarqenDOMVector> weakSelf = std::static_pointer_cast<MarqenDOMVector>(shared_from_this());
    uint64_t generation = strokeGeneration_;
    // A width single precision cannot hold counts as no width; the fit then uses its default.
    float traceSize = std::fabs(lineWidth_) <= FLT_MAX ? static_cast<float>(lineWidth_) : 0.0f;
    MarqenDOMVectorFitStrokeAsync(std::move(points), traceSize,
                                  [weakSelf, generation](MarqenBezierPath path) {
                                      auto self = weakSelf.lock();
                                      if (!self || self->strokeGeneration_ != generation) return;
                                      self->installFittedPath(std::move(path));
                                  });
}

void MarqenDOMVector::installFittedPath(MarqenBezierPath path) {
    std::optional<MarqenBezierPath> drawn;
    if (!bezierPath_ || !(*bezierPath_ == path))
        MarqenDOMChangeProtocol::perform(*this, kDrawingChange, [&] { drawn = std::exchange(bezierPath_, std::move(path)); },
                                         nullptr);
    markDocumentNeedsSave();
    // The drawn polyline of a long stroke is freed on a worker: handing its pages back to the system
    // would hold up the main thread for a fifth of a millisecond.
    if (drawn && drawn->elementCount() > 1000) ThreadPool::shared().async([drawn = std::move(drawn)] {});
}

// Geometry

CGRect MarqenDOMVector::contentBounds() const {
    if (!bezierPath_ || bezierPath_->isEmpty()) return CGRectZero;
    CGRect b = bezierPath_->bounds();
    if (CGRectIsNull(b)) return CGRectZero;
    const MarqenDOMStyle &s = *style();
    CGFloat lw = lineWidth_;
    CGFloat marginX = std::fabs(s.shadowRadius()) + std::fabs(s.shadowOffset().width);
    CGFloat marginY = std::fabs(s.shadowRadius()) + std::fabs(s.shadowOffset().height);
    return CGRectMake(b.origin.x - 2 * lw - 2 * marginX, b.origin.y - 2 * lw - 2 * marginY,
                      b.size.width + 4 * lw + 4 * marginX, b.size.height + 4 * lw + 4 * marginY);
}

CGRect MarqenDOMVector::tightContentBounds() const {
    if (!bezierPath_ || bezierPath_->isEmpty()) return CGRectZero;
    CGRect b = bezierPath_->bounds();
    if (CGRectIsNull(b)) return CGRectZero;
    CGFloat half = lineWidth_ / 2;
    return CGRectMake(b.origin.x - half, b.origin.y - half, b.size.width + lineWidth_, b.size.height + lineWidth_);
}

MarqenDOMNodePtr MarqenDOMVector::hitTestWithPoint(CGPoint point) { return hitTestWithPoint(point, 0); }

MarqenDOMNodePtr MarqenDOMVector::hitTestWithPoint(CGPoint point, CGFloat minimumHitStrokeWidth) {
    if (!bezierPath_ || bezierPath_->isEmpty()) return nullptr;
    if (fillColor_) return bezierPath_->containsPoint(point) ? shared_from_this() : nullptr;
    CGFloat w = std::max(lineWidth_, minimumHitStrokeWidth);
    return hitTestWithRect(CGRectMake(point.x - w / 2, point.y - w / 2, w, w));
}

MarqenDOMNodePtr MarqenDOMVector::hitTestWithRect(CGRect rect) {
    if (!bezierPath_ || bezierPath_->isEmpty()) return nullptr;
    return MarqenCGPathIntersectsRect(*bezierPath_, rect, fillColor_.has_value()) ? shared_from_this() : nullptr;
}

void MarqenDOMVector::applyTransformToLineWidth(const CGAffineTransform &t) {
    setLineWidth(std::fabs(t.a * lineWidth_ + t.c * lineWidth_));
}

void MarqenDOMVector::applyTransform(const CGAffineTransform &t) {
    MarqenDOMElement::applyTransform(t);
    if (bezierPath_) setBezierPath(bezierPath_->transformed(t));
    applyTransformToLineWidth(t);
}

void MarqenDOMVector::translate(CGPoint delta) { applyTransform(CGAffineTransformMakeTranslation(delta.x, delta.y)); }

void MarqenDOMVector::rotate(CGFloat angle, CGPoint aroundPoint) {
    CGFloat width = lineWidth_;
    MarqenDOMElement::rotate(angle, aroundPoint);
    setLineWidth(width);
}

bool MarqenDOMVector::isAspectLocked() const { return &nodeClass() == &classDescriptor(); }

// Tool colour and size

void MarqenDOMVector::setToolColor(const std::optional<MarqenDOMColor> &color) {
    auto previous = toolColor();
    std::optional<MarqenDOMColor> stroke = color;
    // A highlighter keeps its translucency when its colour changes.
    if (stroke && previous) stroke->setAlpha(previous->alpha());
    if (stroke == strokeColor_ && !fillColor_) return;
    MarqenDOMChangeProtocol::perform(
        *this, {.affectsContentBounds = true, .postsNeedsDisplay = true},
        [&] {
            fillColor_.reset();
            strokeColor_ = stroke;
        },
        [previous](MarqenDOMNode &node) { static_cast<MarqenDOMVector &>(node).setToolColor(previous); });
}

void MarqenDOMVector::setToolSizeAbsolute(CGFloat size) {
    // std::clamp would turn a NaN into a bound; a NaN passes through.
    if (!std::isnan(size)) size = std::min(std::max(size, 1.0), 256.0);
    setLineWidth(size);
    postNeedsDisplay();
}

CGFloat MarqenDOMVector::absoluteToolSizeScale() const {
    return strokeColor_ && strokeColor_->alpha() < 1 ? 2.0 : 1.0;
}

CGFloat MarqenDOMVector::toolSizeAbsoluteForRelative(CGFloat relative, CGFloat absoluteScale,
                                                     CGFloat contentScaleFactor) {
    return kToolSizeSteps.absoluteForRelative(relative, absoluteScale, contentScaleFactor);
}

CGFloat MarqenDOMVector::toolSizeRelativeForAbsolute(CGFloat absolute, CGFloat absoluteScale,
                                                     CGFloat contentScaleFactor) {
    return kToolSizeSteps.relativeForAbsolute(absolute, absoluteScale, contentScaleFactor);
}

const MarqenToolSizeSteps &MarqenDOMVector::toolSizeSteps() const { return kToolSizeSteps; }

CGFloat MarqenDOMVector::convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat absoluteScale,
                                                                   CGFloat contentScaleFactor) const {
    return toolSizeSteps().absoluteForRelative(relative, absoluteScale, contentScaleFactor);
}

CGFloat MarqenDOMVector::convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat absoluteScale,
                                                                   CGFloat contentScaleFactor) const {
    return toolSizeSteps().relativeForAbsolute(absolute, absoluteScale, contentScaleFactor);
}

std::any MarqenDOMVector::elementGeometry() const { return MarqenDOMVectorGeometry{bezierPath_, lineWidth_}; }

void MarqenDOMVector::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMVectorGeometry>(&geometry);
    if (!value) return;
    setBezierPath(value->bezierPath);
    setLineWidth(value->lineWidth);
}

// JSON

void MarqenDOMVector::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMElement::initWithDictionary(dictionary);
    if (const std::string *path = marqen_stringPointerForKey(dictionary, "path"))
        bezierPath_ = marqen_bezierPathWithSVGString(*path);
    const MarqenJSON *inkStyle = marqen_objectForKey(dictionary, "inkStyle");
    static const MarqenJSON noInkStyle = MarqenJSON::object();
    if (!inkStyle) inkStyle = &noInkStyle;
    if (auto color = colorForKey(dictionary, "strokeColor"))
        strokeColor_ = color;
    else if (auto older = colorForKey(*inkStyle, "strokeColor"))
        strokeColor_ = older;
    if (auto color = colorForKey(dictionary, "fillColor"))
        fillColor_ = color;
    else if (auto older = colorForKey(*inkStyle, "fillColor"))
        fillColor_ = older;
    if (const MarqenJSON *width = marqen_objectForKey(dictionary, "lineWidth"); width && marqen_isNumber(*width))
        lineWidth_ = CGFloatFromNumber(*width);
    else if (const MarqenJSON *older = marqen_objectForKey(*inkStyle, "lineWidth"); older && marqen_isNumber(*older))
        lineWidth_ = CGFloatFromNumber(*older);
}

void MarqenDOMVector::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMElement::writeMembers(writer);
    if (!bezierPath_) return;
    writer.stringMember("path", BezierToSvg::pathDataFromCGPath(*bezierPath_));
    writer.partMember("strokeColor", strokeColor_);
    writer.partMember("fillColor", fillColor_);
    writer.numberMember("lineWidth", lineWidth_);
}

void MarqenDOMVector::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMElement::copyStateTo(target);
    auto &vector = static_cast<MarqenDOMVector &>(target);
    vector.bezierPath_ = bezierPath_;
    vector.alignedBezierPath_ = alignedBezierPath_;
    vector.strokeColor_ = strokeColor_;
    vector.fillColor_ = fillColor_;
    vector.lineWidth_ = lineWidth_;
}

}  // namespace marqen
