#include "dom/arrow.h"

#include <algorithm>
#include <cmath>

#include "dom/document.h"
#include "dom/line.h"
#include "dom/node_class.h"
#include "foundation/snapping.h"
#include "foundation/value_encoding.h"
#include "foundation/vector_math.h"

namespace marqen {

namespace {

// An arrow may not be dragged shorter than this.
constexpr CGFloat kShorteningGuardLength = 12.0;
constexpr CGFloat kMinimumArrowLength = 40.0;
constexpr CGFloat kToolSizeBoundSlack = 2.3e-16;

// Restores a flag when the scope ends.
class FlagScope {
public:
    FlagScope(bool &flag, bool value) : flag_(flag), saved_(flag) { flag_ = value; }
    ~FlagScope() { flag_ = saved_; }
    FlagScope(const FlagScope &) = delete;
    FlagScope &operator=(const FlagScope &) = delete;

private:
    bool &flag_;
    bool saved_;
};

}  // namespace

const MarqenDOMNodeClass &MarqenDOMArrow::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMArrow", "Vector.Arrow", [] { return create(); },
                                               willInitializeWithDictionary, &MarqenDOMVector::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMArrow> MarqenDOMArrow::create() {
    auto arrow = MarqenMakeNode<MarqenDOMArrow>();
    arrow->setStyle(defaultStyle());
    return arrow;
}

bool MarqenDOMArrow::willInitializeWithDictionary(const MarqenJSON &dictionary) {
    const MarqenJSON *metadata = marqen_objectForKey(dictionary, "metadata");
    if (!metadata) return false;
    return marqen_stringForKey(*metadata, MarqenDOMEditorMetadataKey) == std::string(MarqenDOMEditorTypeArrow);
}

std::shared_ptr<MarqenDOMStyle> MarqenDOMArrow::defaultStyle() {
    auto style = std::make_shared<MarqenDOMStyle>();
    style->setShadowRadius(2.0);
    style->setShadowOffset({0, 2.0});
    style->setShadowColor(MarqenDOMColor::colorWithMarqenColor(0, 0, 0, 1));
    style->setShadowOpacity(0.35);
    return style;
}

// Outline

MarqenBezierPath MarqenDOMArrow::makeArrowPath(CGPoint start, CGPoint end, CGFloat arrowSize) {
    const CGFloat dx = end.x - start.x, dy = end.y - start.y;
    const CGFloat L = std::sqrt(dx * dx + dy * dy);
    // An arrow shorter than five sizes gets a size of a fifth of its length.
    const CGFloat S = L * L < 25 * arrowSize * arrowSize ? L / 5 : arrowSize;
    const CGFloat W = 6 + 0.7 * (S - 1.5);
    const CGFloat H = std::min(std::max(2 * W, 6.0), 0.4 * L);  // head length
    const CGFloat T = std::max(0.08 * S, 1.5);                   // tail half-width
    const CGFloat B = std::max(std::min(W / 2, H / 4), T);       // neck half-width
    const CGFloat N = L - H, K = L - 1.1 * H, E = 0.55 * H;
    const CGFloat Q1 = (T + B) / 2, Q2 = (T + Q1) / 2, M = (L / 2 + N) / 2;

    // Laid along +x with the tail centre at the origin and the tip at (L, 0).
    MarqenBezierPath path;
    path.moveToPoint({0, -T});
    path.addCurveToPoint({N / 2, -Q2}, {M, -Q1}, {N, -B});
    path.addLineToPoint({K, -E});
    path.addLineToPoint({L, 0});
    path.addLineToPoint({K, E});
    path.addLineToPoint({N, B});
    path.addCurveToPoint({M, Q1}, {N / 2, Q2}, {0, T});
    CGPoint u = MarqenVectorGetNormalized({-N, B - T});
    const CGFloat k = 1.5 * T;
    path.addCurveToPoint({k * u.x, T - k * u.y}, {k * u.x, -T + k * u.y}, {0, -T});
    path.closeSubpath();

    CGFloat degrees;
    if (std::fabs(dx) < 0.01)
        degrees = dy >= 0 ? 90 : 270;
    else
        degrees = std::atan(dy / dx) * 180 / M_PI + (dx < 0 ? 180 : 0);
    // Rotated about the origin first, then moved to the start point.
    CGAffineTransform t = CGAffineTransformRotate(CGAffineTransformMakeTranslation(start.x, start.y),
                                                  degrees * M_PI / 180);
    path.applyTransform(t);
    return path;
}

void MarqenDOMArrow::updateBezierPath() { setBezierPathWithoutUndo(makeArrowPath(startPoint_, endPoint_, toolArrowSize_)); }

// End points

void MarqenDOMArrow::setPoint(CGPoint &stored, CGPoint point, CGPoint other, void (MarqenDOMArrow::*setter)(CGPoint)) {
    if (point == stored) return;
    if (!ignoreMinimumConstraints_ && stored != other) {
        // A point still at the origin counts as unset, so the first placement is never refused.
        CGPoint reference = stored != CGPointZero ? stored : point;
        CGFloat oldLength = MarqenGetLineLength(other, reference), newLength = MarqenGetLineLength(other, point);
        if (newLength < oldLength && newLength < kShorteningGuardLength) return;
    }
    if (snap_) {
        point = MarqenSnapEndpointAt45Degrees(other, point);
        if (point == stored) return;
    }
    CGPoint old = stored;
    postWillChange();
    stored = point;
    postDidChange();
    updateBezierPath();
    registerUndo<MarqenDOMArrow>([old, setter](MarqenDOMArrow &arrow) { (arrow.*setter)(old); });
}

void MarqenDOMArrow::setStartPoint(CGPoint point) { setPoint(startPoint_, point, endPoint_, &MarqenDOMArrow::setStartPoint); }
void MarqenDOMArrow::setEndPoint(CGPoint point) { setPoint(endPoint_, point, startPoint_, &MarqenDOMArrow::setEndPoint); }

void MarqenDOMArrow::setToolArrowSize(CGFloat size) {
    if (size == toolArrowSize_ || (std::isnan(size) && std::isnan(toolArrowSize_))) return;
    CGFloat old = toolArrowSize_;
    postWillChange();
    toolArrowSize_ = size;
    postDidChange();
    updateBezierPath();
    registerUndo<MarqenDOMArrow>([old](MarqenDOMArrow &arrow) { arrow.setToolArrowSize(old); });
}

// Minimum length and standard placement

void MarqenDOMArrow::enforceMinimumLength(bool growFromStartPoint) {
    enforceMinimumLength(applyContentScaleFactor(kMinimumArrowLength), growFromStartPoint);
}

void MarqenDOMArrow::enforceMinimumLength(CGFloat minimumLength, bool growFromStartPoint) {
    CGPoint fixed = growFromStartPoint ? startPoint_ : endPoint_;
    CGPoint moving = growFromStartPoint ? endPoint_ : startPoint_;
    CGPoint d = moving - fixed;
    CGFloat length = MarqenVectorGetMagnitude(d);
    if (length >= minimumLength) return;
    if (length < 1.0) {
        auto document = this->document();
        CGRect frame = document ? document->frame() : CGRectZero;
        setStartPoint(getStandardArrowStart(endPoint_, frame, minimumLength, 0));
        return;
    }
    CGFloat phi = std::atan2(d.y, d.x);
    CGPoint grown{fixed.x + minimumLength * std::cos(phi), fixed.y + minimumLength * std::sin(phi)};
    if (growFromStartPoint)
        setEndPoint(grown);
    else
        setStartPoint(grown);
}

CGPoint MarqenDOMArrow::getStandardArrowStart(CGPoint tip, CGRect frame, CGFloat length, CGFloat maximumLength) {
    CGFloat w = frame.size.width, h = frame.size.height;
    CGFloat phi = std::atan2((tip.y - h / 2) / h, (tip.x - w / 2) / w);
    // Without a frame there is no centre to point away from: the arrow points right.
    if (!std::isfinite(phi)) phi = 0;
    return getStandardArrowStart(tip, frame, length, maximumLength, phi);
}

CGPoint MarqenDOMArrow::getStandardArrowStart(CGPoint tip, CGRect frame, CGFloat length, CGFloat maximumLength,
                                              CGFloat rotation) {
    if (length == 0) length = 0.4 * std::min(frame.size.width, frame.size.height);
    if (maximumLength > 0 && length > maximumLength) length = maximumLength;
    return {tip.x - length * std::cos(rotation), tip.y - length * std::sin(rotation)};
}

// Drawing protocol

void MarqenDOMArrow::beginAtPoint(CGPoint point) {
    if (arrowheadsAtBeginningOfShape_)
        setEndPoint(point);
    else
        setStartPoint(point);
}

void MarqenDOMArrow::appendPoint(CGPoint point, CGPoint, MarqenVectorDrawingOptions options) {
    snap_ = MarqenVectorDrawingIsConstrained(options);
    if (arrowheadsAtBeginningOfShape_)
        setStartPoint(point);
    else
        setEndPoint(point);
}

void MarqenDOMArrow::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) {
    appendPoint(point, velocity, options);
    enforceMinimumLength(arrowheadsAtBeginningOfShape_);
    snap_ = false;
}

void MarqenDOMArrow::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                                const CGAffineTransform &viewModelTransform) {
    appendPoint(point, velocity, options);
    // A click gets 200 view units; a drag gets 40 model units, deliberately without the content scale.
    CGFloat minimum = MarqenGetLineLength(startPoint_, endPoint_) < 2.0
                          ? MarqenViewUnitsInModelUnits(viewModelTransform, 200)
                          : kMinimumArrowLength;
    enforceMinimumLength(minimum, arrowheadsAtBeginningOfShape_);
    snap_ = false;
}

// Transforms

void MarqenDOMArrow::applyTransform(const CGAffineTransform &t) {
    FlagScope noSnap(snap_, false);
    CGPoint start = CGPointApplyAffineTransform(startPoint_, t), end = CGPointApplyAffineTransform(endPoint_, t);
    CGFloat size = toolArrowSize_;
    setStartPoint(start);
    setEndPoint(end);
    setToolArrowSize(std::fabs(t.a * size + t.c * size));
}

void MarqenDOMArrow::translate(CGPoint delta) {
    FlagScope noSnap(snap_, false);
    // A translation keeps the length, so moving one end first must not trip the shortening guard.
    FlagScope noGuard(ignoreMinimumConstraints_, true);
    setStartPoint(startPoint_ + delta);
    setEndPoint(endPoint_ + delta);
}

void MarqenDOMArrow::rotate(CGFloat angle, CGPoint aroundPoint) {
    CGFloat size = toolArrowSize_;
    MarqenDOMVector::rotate(angle, aroundPoint);
    setToolArrowSize(size);
}

// Tool colour and size

void MarqenDOMArrow::setToolColor(const std::optional<MarqenDOMColor> &color) {
    auto previous = toolColor();
    if (color == fillColor() && !strokeColor()) return;
    postWillChange();
    storeColors(std::nullopt, color);
    postDidChange();
    registerUndo<MarqenDOMArrow>([previous](MarqenDOMArrow &arrow) { arrow.setToolColor(previous); });
    postNeedsDisplay();
}

void MarqenDOMArrow::setToolSizeAbsolute(CGFloat size) {
    setToolArrowSize(size);
    postNeedsDisplay();
}

CGFloat MarqenDOMArrow::toolSizeAbsoluteForRelative(CGFloat relative, CGFloat absoluteScale,
                                                    CGFloat contentScaleFactor) {
    CGFloat step = 26;
    if (relative <= 0.2 + kToolSizeBoundSlack)
        step = 4;
    else if (relative <= 0.4 + kToolSizeBoundSlack)
        step = 8;
    else if (relative <= 0.6 + kToolSizeBoundSlack)
        step = 12;
    else if (relative <= 0.8 + kToolSizeBoundSlack)
        step = 16;
    return step * contentScaleFactor * absoluteScale;
}

CGFloat MarqenDOMArrow::toolSizeRelativeForAbsolute(CGFloat absolute, CGFloat absoluteScale,
                                                    CGFloat contentScaleFactor) {
    CGFloat v = absolute / contentScaleFactor / absoluteScale;
    if (v - 4 <= 0.01) return 0.2;
    if (v - 8 <= 0.01) return 0.4;
    if (v - 12 <= 0.01) return 0.6;
    if (v - 16 <= 0.01) return 0.8;
    return 1.0;
}

CGFloat MarqenDOMArrow::convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat absoluteScale,
                                                                  CGFloat contentScaleFactor) const {
    return toolSizeAbsoluteForRelative(relative, absoluteScale, contentScaleFactor);
}

CGFloat MarqenDOMArrow::convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat absoluteScale,
                                                                  CGFloat contentScaleFactor) const {
    return toolSizeRelativeForAbsolute(absolute, absoluteScale, contentScaleFactor);
}

std::any MarqenDOMArrow::elementGeometry() const {
    return MarqenDOMArrowGeometry{startPoint_, endPoint_, toolArrowSize_};
}

void MarqenDOMArrow::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMArrowGeometry>(&geometry);
    if (!value) return;
    FlagScope noSnap(snap_, false);
    setStartPoint(value->startPoint);
    setEndPoint(value->endPoint);
    setToolArrowSize(value->toolArrowSize);
}

// JSON

void MarqenDOMArrow::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMVector::initWithDictionary(dictionary);
    snap_ = false;
    for (const char *key : {MarqenDOMEditorMetadataKey, MarqenDOMArrowSizeMetadataKey, MarqenDOMLineStartMetadataKey,
                            MarqenDOMLineEndMetadataKey})
        if (metadata().contains(key)) setMetadataObject(nullptr, key);
    static const MarqenJSON none = MarqenJSON::object();
    const MarqenJSON *extension = marqen_objectForKey(dictionary, "extension");
    const MarqenJSON *olderMetadata = marqen_objectForKey(dictionary, "metadata");
    if (!extension) extension = &none;
    if (!olderMetadata) olderMetadata = &none;
    const MarqenJSON *size = marqen_objectForKey(*extension, "toolArrowSize");
    if (!size) size = marqen_objectForKey(*olderMetadata, MarqenDOMArrowSizeMetadataKey);
    if (size) setToolArrowSize(CGFloatFromNumber(*size));
    auto start = MarqenDOMVectorPointForKey(*extension, "startPoint");
    if (!start) start = MarqenDOMVectorPointForKey(*olderMetadata, MarqenDOMLineStartMetadataKey);
    if (start) setStartPoint(*start);
    auto end = MarqenDOMVectorPointForKey(*extension, "endPoint");
    if (!end) end = MarqenDOMVectorPointForKey(*olderMetadata, MarqenDOMLineEndMetadataKey);
    if (end) setEndPoint(*end);
    if (!marqen_objectForKey(dictionary, "style")) setStyle(defaultStyle());
}

MarqenJSON MarqenDOMArrow::dictionaryRepresentation() const {
    if (startPoint_ == endPoint_) return nullptr;
    MarqenJSON dictionary = MarqenDOMVector::dictionaryRepresentation();
    dictionary["extension"] = MarqenJSON{{"type", "Arrow"},
                                         {"startPoint", NSDictionaryFromCGPoint(startPoint_)},
                                         {"endPoint", NSDictionaryFromCGPoint(endPoint_)},
                                         {"toolArrowSize", toolArrowSize_}};
    return dictionary;
}

void MarqenDOMArrow::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMVector::copyStateTo(target);
    auto &arrow = static_cast<MarqenDOMArrow &>(target);
    arrow.startPoint_ = startPoint_;
    arrow.endPoint_ = endPoint_;
    arrow.toolArrowSize_ = toolArrowSize_;
    arrow.arrowheadsAtBeginningOfShape_ = arrowheadsAtBeginningOfShape_;
    arrow.minimumLength_ = minimumLength_;
}

}  // namespace marqen
