#include "dom/two_point_vector.h"

#include "dom/change_protocol.h"
#include "foundation/snapping.h"
#include "foundation/value_encoding.h"
#include "foundation/vector_math.h"

namespace marqen {

// End points

bool MarqenDOMTwoPointVector::acceptsEndPoint(CGPoint, CGPoint, CGPoint) const { return true; }

void MarqenDOMTwoPointVector::setPoint(CGPoint &stored, CGPoint point, CGPoint otherEnd,
                                       void (MarqenDOMTwoPointVector::*setter)(CGPoint)) {
    if (!acceptsEndPoint(stored, point, otherEnd)) return;
    if (snap_) point = MarqenSnapEndpointAt45Degrees(otherEnd, point);
    // The arrow leaves the save mark to the gesture; the line marks the document itself.
    MarqenDOMChangeProtocol::set(*this, stored, point, setter, {.marksNeedsSave = endPointChangeMarksDocument()},
                                 [this] { updateBezierPath(); });
}

void MarqenDOMTwoPointVector::setStartPoint(CGPoint point) {
    setPoint(startPoint_, point, endPoint_, &MarqenDOMTwoPointVector::setStartPoint);
}

void MarqenDOMTwoPointVector::setEndPoint(CGPoint point) {
    setPoint(endPoint_, point, startPoint_, &MarqenDOMTwoPointVector::setEndPoint);
}

void MarqenDOMTwoPointVector::setEndPointsWithoutSnap(CGPoint start, CGPoint end) {
    FlagScope noSnap(snap_, false);
    setStartPoint(start);
    setEndPoint(end);
}

// Drawing protocol

void MarqenDOMTwoPointVector::beginAtPoint(CGPoint point) {
    if (drawsFromEndPoint())
        setEndPoint(point);
    else
        setStartPoint(point);
}

void MarqenDOMTwoPointVector::appendPoint(CGPoint point, CGPoint, MarqenVectorDrawingOptions options) {
    snap_ = MarqenVectorDrawingIsConstrained(options);
    if (drawsFromEndPoint())
        setStartPoint(point);
    else
        setEndPoint(point);
}

void MarqenDOMTwoPointVector::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) {
    appendPoint(point, velocity, options);
    growToMinimumLength(minimumDrawnLength());
    snap_ = false;
}

void MarqenDOMTwoPointVector::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                                         const CGAffineTransform &viewModelTransform) {
    appendPoint(point, velocity, options);
    bool click = MarqenGetLineLength(startPoint_, endPoint_) < 2.0;
    growToMinimumLength(click ? MarqenViewUnitsInModelUnits(viewModelTransform, 200) : minimumDraggedLength());
    snap_ = false;
}

// JSON

bool MarqenDOMTwoPointVector::olderMetadataMarksEditorType(const MarqenJSON &dictionary, const char *editorType) {
    const MarqenJSON *metadata = marqen_objectForKey(dictionary, "metadata");
    if (!metadata) return false;
    const std::string *type = marqen_stringPointerForKey(*metadata, MarqenDOMEditorMetadataKey);
    return type && *type == editorType;
}

void MarqenDOMTwoPointVector::startReading(std::initializer_list<const char *> ownKeys) {
    snap_ = false;
    std::vector<const char *> keys{MarqenDOMEditorMetadataKey};
    keys.insert(keys.end(), ownKeys);
    keys.insert(keys.end(), {MarqenDOMLineStartMetadataKey, MarqenDOMLineEndMetadataKey});
    for (const char *key : keys)
        if (metadata().contains(key)) setMetadataObject(nullptr, key);
}

const MarqenJSON *MarqenDOMTwoPointVector::extensionValueForKey(const MarqenJSON &dictionary, const char *key,
                                                                const char *olderKey) {
    if (const MarqenJSON *extension = marqen_objectForKey(dictionary, "extension"))
        if (const MarqenJSON *value = marqen_objectForKey(*extension, key)) return value;
    const MarqenJSON *olderMetadata = marqen_objectForKey(dictionary, "metadata");
    return olderMetadata ? marqen_objectForKey(*olderMetadata, olderKey) : nullptr;
}

void MarqenDOMTwoPointVector::readEndPoints(const MarqenJSON &dictionary) {
    if (const MarqenJSON *start = extensionValueForKey(dictionary, "startPoint", MarqenDOMLineStartMetadataKey))
        setStartPoint(CGPointFromNSDictionary(*start));
    if (const MarqenJSON *end = extensionValueForKey(dictionary, "endPoint", MarqenDOMLineEndMetadataKey))
        setEndPoint(CGPointFromNSDictionary(*end));
}

bool MarqenDOMTwoPointVector::writesRepresentation() const { return !(startPoint_ == endPoint_); }

void MarqenDOMTwoPointVector::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMVector::writeMembers(writer);
    writer.key("extension");
    writer.beginObject();
    writer.stringMember("type", extensionType());
    writer.key("startPoint");
    MarqenWriteCGPoint(writer, startPoint_);
    writer.key("endPoint");
    MarqenWriteCGPoint(writer, endPoint_);
    writeExtensionMembers(writer);
    writer.endObject();
}

void MarqenDOMTwoPointVector::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMVector::copyStateTo(target);
    auto &shape = static_cast<MarqenDOMTwoPointVector &>(target);
    shape.startPoint_ = startPoint_;
    shape.endPoint_ = endPoint_;
}

}  // namespace marqen
