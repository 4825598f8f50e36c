#include "dom/line.h"

#include <cmath>

#include "dom/node_class.h"
#include "foundation/snapping.h"
#include "foundation/value_encoding.h"
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
    const MarqenJSON *metadata = marqen_objectForKey(dictionary, "metadata");
    if (!metadata) return false;
    return marqen_stringForKey(*metadata, MarqenDOMEditorMetadataKey) == std::string(MarqenDOMEditorTypeLine);
}

void MarqenDOMLine::setPoint(CGPoint &stored, CGPoint point, CGPoint anchor, void (MarqenDOMLine::*setter)(CGPoint)) {
    if (snap_) point = MarqenSnapEndpointAt45Degrees(anchor, point);
    if (point == stored) return;
    CGPoint old = stored;
    postWillChange();
    stored = point;
    postDidChange();
    updateBezierPath();
    registerUndo<MarqenDOMLine>([old, setter](MarqenDOMLine &line) { (line.*setter)(old); });
    markDocumentNeedsSave();
}

void MarqenDOMLine::setStartPoint(CGPoint point) { setPoint(startPoint_, point, endPoint_, &MarqenDOMLine::setStartPoint); }
void MarqenDOMLine::setEndPoint(CGPoint point) { setPoint(endPoint_, point, startPoint_, &MarqenDOMLine::setEndPoint); }

void MarqenDOMLine::enforceMinimumLength(CGFloat minimumLength) {
    if (auto grown = grownEndPoint(startPoint_, endPoint_, minimumLength)) setEndPoint(*grown);
}

void MarqenDOMLine::updateBezierPath() {
    // Part of the rebuild, so stored without a change of its own (and without recursing into this).
    if (auto grown = grownEndPoint(startPoint_, endPoint_, kMinimumLineLength)) endPoint_ = *grown;
    MarqenBezierPath path;
    path.moveToPoint(startPoint_);
    path.addLineToPoint(endPoint_);
    MarqenBezierPath aligned;
    aligned.moveToPoint({std::floor(startPoint_.x), std::floor(startPoint_.y)});
    aligned.addLineToPoint({std::floor(endPoint_.x), std::floor(endPoint_.y)});
    setAlignedBezierPath(aligned);
    setBezierPathWithoutUndo(path);
}

// Drawing protocol

void MarqenDOMLine::beginAtPoint(CGPoint point) { setStartPoint(point); }

void MarqenDOMLine::appendPoint(CGPoint point, CGPoint, MarqenVectorDrawingOptions options) {
    snap_ = MarqenVectorDrawingIsConstrained(options);
    setEndPoint(point);
}

void MarqenDOMLine::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) {
    appendPoint(point, velocity, options);
    enforceMinimumLength(kMinimumLineLength);
    snap_ = false;
}

void MarqenDOMLine::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                               const CGAffineTransform &viewModelTransform) {
    appendPoint(point, velocity, options);
    if (MarqenGetLineLength(startPoint_, endPoint_) < 2.0)
        enforceMinimumLength(MarqenViewUnitsInModelUnits(viewModelTransform, 200));
    else
        enforceMinimumLength(kMinimumLineLength);
    snap_ = false;
}

void MarqenDOMLine::applyTransform(const CGAffineTransform &t) {
    MarqenDOMElement::applyTransform(t);
    bool wasSnapping = snap_;
    snap_ = false;
    CGPoint start = CGPointApplyAffineTransform(startPoint_, t), end = CGPointApplyAffineTransform(endPoint_, t);
    setStartPoint(start);
    setEndPoint(end);
    snap_ = wasSnapping;
    applyTransformToLineWidth(t);
}

std::any MarqenDOMLine::elementGeometry() const { return MarqenDOMLineGeometry{startPoint_, endPoint_, lineWidth()}; }

void MarqenDOMLine::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMLineGeometry>(&geometry);
    if (!value) return;
    setStartPoint(value->startPoint);
    setEndPoint(value->endPoint);
    setLineWidth(value->lineWidth);
}

// JSON

void MarqenDOMLine::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMVector::initWithDictionary(dictionary);
    snap_ = false;
    for (const char *key : {MarqenDOMEditorMetadataKey, MarqenDOMLineStartMetadataKey, MarqenDOMLineEndMetadataKey})
        if (metadata().contains(key)) setMetadataObject(nullptr, key);
    static const MarqenJSON none = MarqenJSON::object();
    const MarqenJSON *extension = marqen_objectForKey(dictionary, "extension");
    const MarqenJSON *olderMetadata = marqen_objectForKey(dictionary, "metadata");
    if (!extension) extension = &none;
    if (!olderMetadata) olderMetadata = &none;
    auto start = MarqenDOMVectorPointForKey(*extension, "startPoint");
    if (!start) start = MarqenDOMVectorPointForKey(*olderMetadata, MarqenDOMLineStartMetadataKey);
    if (start) setStartPoint(*start);
    auto end = MarqenDOMVectorPointForKey(*extension, "endPoint");
    if (!end) end = MarqenDOMVectorPointForKey(*olderMetadata, MarqenDOMLineEndMetadataKey);
    if (end) setEndPoint(*end);
}

MarqenJSON MarqenDOMLine::dictionaryRepresentation() const {
    if (startPoint_ == endPoint_) return nullptr;
    MarqenJSON dictionary = MarqenDOMVector::dictionaryRepresentation();
    dictionary["extension"] = MarqenJSON{{"type", "Line"},
                                         {"startPoint", NSDictionaryFromCGPoint(startPoint_)},
                                         {"endPoint", NSDictionaryFromCGPoint(endPoint_)}};
    return dictionary;
}

void MarqenDOMLine::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMVector::copyStateTo(target);
    auto &line = static_cast<MarqenDOMLine &>(target);
    line.startPoint_ = startPoint_;
    line.endPoint_ = endPoint_;
}

}  // namespace marqen
