#include "dom/arrow.h"

#include <algorithm>
#include <cmath>

#include "dom/change_protocol.h"
#include "dom/document.h"
#include "dom/node_class.h"
#include "foundation/value_encoding.h"
#include "foundation/vector_math.h"

namespace marqen {

namespace {

// An arrow may not be dragged shorter than this.
constexpr CGFloat kShorteningGuardLength = 12.0;
constexpr CGFloat kMinimumArrowLength = 40.0;
constexpr MarqenToolSizeSteps kToolSizeSteps{{4, 8, 12, 16, 26}};

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
    return olderMetadataMarksEditorType(dictionary, MarqenDOMEditorTypeArrow);
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

void MarqenDOMArrow::updateBezierPath() { setBezierPathWithoutUndo(makeArrowPath(startPoint(), endPoint(), toolArrowSize_)); }

// End points

bool MarqenDOMArrow::acceptsEndPoint(CGPoint stored, CGPoint point, CGPoint otherEnd) const {
    if (point == stored) return false;
    if (ignoreMinimumConstraints_ || stored == otherEnd) return true;
    // A point still at the origin counts as unset, so the first placement is never refused.
    CGPoint reference = stored != CGPointZero ? stored : point;
    CGFloat oldLength = MarqenGetLineLength(otherEnd, reference), newLength = MarqenGetLineLength(otherEnd, point);
    return !(newLength < oldLength && newLength < kShorteningGuardLength);
}

void MarqenDOMArrow::setToolArrowSize(CGFloat size) {
    // Like the end points, the size leaves the save mark to the gesture that changes it.
    MarqenDOMChangeProtocol::set(*this, toolArrowSize_, size, &MarqenDOMArrow::setToolArrowSize,
                                 {.marksNeedsSave = false}, [this] { updateBezierPath(); });
}

// Minimum length and standard placement

CGFloat MarqenDOMArrow::minimumDrawnLength() const { return applyContentScaleFactor(kMinimumArrowLength); }

// Deliberately without the content scale.
CGFloat MarqenDOMArrow::minimumDraggedLength() const { return kMinimumArrowLength; }

void MarqenDOMArrow::enforceMinimumLength(bool growFromStartPoint) {
    enforceMinimumLength(minimumDrawnLength(), growFromStartPoint);
}

void MarqenDOMArrow::enforceMinimumLength(CGFloat minimumLength, bool growFromStartPoint) {
    CGPoint fixed = growFromStartPoint ? startPoint() : endPoint();
    CGPoint moving = growFromStartPoint ? endPoint() : startPoint();
    CGPoint d = moving - fixed;
    CGFloat length = MarqenVectorGetMagnitude(d);
    if (length >= minimumLength) return;
    if (length < 1.0) {
        auto document = this->document();
        CGRect frame = document ? document->frame() : CGRectZero;
        setStartPoint(getStandardArrowStart(endPoint(), frame, minimumLength, 0));
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

// Transforms

void MarqenDOMArrow::applyTransform(const CGAffineTransform &t) {
    CGFloat size = toolArrowSize_;
    setEndPointsWithoutSnap(CGPointApplyAffineTransform(startPoint(), t), CGPointApplyAffineTransform(endPoint(), t));
    setToolArrowSize(std::fabs(t.a * size + t.c * size));
}

void MarqenDOMArrow::translate(CGPoint delta) {
    // A translation keeps the length, so moving one end first must not trip the shortening guard.
    FlagScope noGuard(ignoreMinimumConstraints_, true);
    setEndPointsWithoutSnap(startPoint() + delta, endPoint() + delta);
}

void MarqenDOMArrow::rotate(CGFloat angle, CGPoint aroundPoint) {
    CGFloat size = toolArrowSize_;
    MarqenDOMTwoPointVector::rotate(angle, aroundPoint);
    setToolArrowSize(size);
}

// Tool colour and size

void MarqenDOMArrow::setToolColor(const std::optional<MarqenDOMColor> &color) {
    auto previous = toolColor();
    if (color == fillColor() && !strokeColor()) return;
    // The colour of an arrow fills it; no save mark of its own.
    MarqenDOMChangeProtocol::perform(
        *this, {.marksNeedsSave = false, .postsNeedsDisplay = true}, [&] { storeColors(std::nullopt, color); },
        [previous](MarqenDOMNode &node) { static_cast<MarqenDOMArrow &>(node).setToolColor(previous); });
}

void MarqenDOMArrow::setToolSizeAbsolute(CGFloat size) {
    setToolArrowSize(size);
    postNeedsDisplay();
}

CGFloat MarqenDOMArrow::toolSizeAbsoluteForRelative(CGFloat relative, CGFloat absoluteScale,
                                                    CGFloat contentScaleFactor) {
    return kToolSizeSteps.absoluteForRelative(relative, absoluteScale, contentScaleFactor);
}

CGFloat MarqenDOMArrow::toolSizeRelativeForAbsolute(CGFloat absolute, CGFloat absoluteScale,
                                                    CGFloat contentScaleFactor) {
    return kToolSizeSteps.relativeForAbsolute(absolute, absoluteScale, contentScaleFactor);
}

const MarqenToolSizeSteps &MarqenDOMArrow::toolSizeSteps() const { return kToolSizeSteps; }

std::any MarqenDOMArrow::elementGeometry() const {
    return MarqenDOMArrowGeometry{{startPoint(), endPoint()}, toolArrowSize_};
}

void MarqenDOMArrow::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMArrowGeometry>(&geometry);
    if (!value) return;
    setEndPointsWithoutSnap(value->startPoint, value->endPoint);
    setToolArrowSize(value->toolArrowSize);
}

// JSON

void MarqenDOMArrow::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMTwoPointVector::initWithDictionary(dictionary);
    startReading({MarqenDOMArrowSizeMetadataKey});
    if (const MarqenJSON *size = extensionValueForKey(dictionary, "toolArrowSize", MarqenDOMArrowSizeMetadataKey))
        setToolArrowSize(CGFloatFromNumber(*size));
    readEndPoints(dictionary);
    if (!marqen_objectForKey(dictionary, "style")) setStyle(defaultStyle());
}

void MarqenDOMArrow::writeExtensionMembers(MarqenJSONWriter &writer) const {
    writer.numberMember("toolArrowSize", toolArrowSize_);
}

void MarqenDOMArrow::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMTwoPointVector::copyStateTo(target);
    auto &arrow = static_cast<MarqenDOMArrow &>(target);
    arrow.toolArrowSize_ = toolArrowSize_;
    arrow.arrowheadsAtBeginningOfShape_ = arrowheadsAtBeginningOfShape_;
    arrow.minimumLength_ = minimumLength_;
}

}  // namespace marqen
