#include "dom/line.h"

#include <cmath>

#include "dom/node_class.h"
#include "foundation/vector_math.h"

namespace marqen {

namespace {

constexpr CGFloat kMinimumLineLength = 1.0;

// The end that makes start→end at least `minimum` long, along its direction (rightwards without one).
std::optional<CGPoint> grownEndPoint(CGPoint start, CGPoint end, CGFloat minimum) {
    CGPoint d = end - start;
    if (!(MarqenVectorGetMagnitude(d) < minimum)) return std::nullopt;
    CGFloat phi = std::atan2(d.y, d.x);
    return CGPoint{start.x + minimum * std::cos(phi), start.y + minimum * std::sin(phi)};
}

}  // namespace

const MarqenDOMNodeClass &MarqenDOMLine::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMLine", "Vector.Line", [] { return create(); },
                                               willInitializeWithDictionary, &MarqenDOMVector::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMLine> MarqenDOMLine::create() { return MarqenMakeNode<MarqenDOMLine>(); }

bool MarqenDOMLine::willInitializeWithDictionary(const MarqenJSON &dictionary) {
    return olderMetadataMarksEditorType(dictionary, MarqenDOMEditorTypeLine);
}

void MarqenDOMLine::enforceMinimumLength(CGFloat minimumLength) {
    if (auto grown = grownEndPoint(startPoint(), endPoint(), minimumLength)) setEndPoint(*grown);
}

CGFloat MarqenDOMLine::minimumDrawnLength() const { return kMinimumLineLength; }

void MarqenDOMLine::updateBezierPath() {
    // Part of the rebuild, so stored without a change of its own (and without recursing into this).
    if (auto grown = grownEndPoint(startPoint(), endPoint(), kMinimumLineLength)) storeEndPointWithoutChange(*grown);
    CGPoint start = startPoint(), end = endPoint();
    MarqenBezierPath path;
    path.moveToPoint(start);
    path.addLineToPoint(end);
    MarqenBezierPath aligned;
    aligned.moveToPoint({std::floor(start.x), std::floor(start.y)});
    aligned.addLineToPoint({std::floor(end.x), std::floor(end.y)});
    setAlignedBezierPath(aligned);
    setBezierPathWithoutUndo(path);
}

void MarqenDOMLine::applyTransform(const CGAffineTransform &t) {
    MarqenDOMElement::applyTransform(t);
    setEndPointsWithoutSnap(CGPointApplyAffineTransform(startPoint(), t), CGPointApplyAffineTransform(endPoint(), t));
    applyTransformToLineWidth(t);
}

std::any MarqenDOMLine::elementGeometry() const {
    return MarqenDOMLineGeometry{{startPoint(), endPoint()}, lineWidth()};
}

void MarqenDOMLine::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMLineGeometry>(&geometry);
    if (!value) return;
    setStartPoint(value->startPoint);
    setEndPoint(value->endPoint);
    setLineWidth(value->lineWidth);
}

// JSON

void MarqenDOMLine::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMTwoPointVector::initWithDictionary(dictionary);
    startReading({});
    readEndPoints(dictionary);
}

}  // namespace marqen
