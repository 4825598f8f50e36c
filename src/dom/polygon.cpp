#include "dom/polygon.h"

#include "dom/change_protocol.h"
#include "dom/node_class.h"
#include "foundation/value_encoding.h"

namespace marqen {

const MarqenDOMNodeClass &MarqenDOMPolygon::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMPolygon", "Vector.Polygon", [] { return create(); },
                                               nullptr, &MarqenDOMVector::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMPolygon> MarqenDOMPolygon::create() { return MarqenMakeNode<MarqenDOMPolygon>(); }

void MarqenDOMPolygon::setVertices(const std::vector<CGPoint> &vertices) {
    // The rebuilt outline marks the document through its own change; the vertices do not.
    MarqenDOMChangeProtocol::set(*this, vertices_, vertices, &MarqenDOMPolygon::setVertices,
                                 {.marksNeedsSave = false}, [this] { updateBezierPath(); });
}

CGPoint MarqenDOMPolygon::pointAtIndex(size_t index) const {
    return index < vertices_.size() ? vertices_[index] : CGPointZero;
}

MarqenBezierPath MarqenDOMPolygon::polygonPath(const std::vector<CGPoint> &vertices) {
    MarqenBezierPath path;
    path.moveToPoint(vertices.front());
    for (CGPoint vertex : vertices) path.addLineToPoint(vertex);
    path.closeSubpath();
    return path;
}

void MarqenDOMPolygon::updateBezierPath() {
    if (vertices_.empty())
        setBezierPathWithoutUndo(std::nullopt);
    else
        setBezierPathWithoutUndo(polygonPath(vertices_));
}

void MarqenDOMPolygon::applyTransform(const CGAffineTransform &t) {
    MarqenDOMElement::applyTransform(t);
    std::vector<CGPoint> moved;
    moved.reserve(vertices_.size());
    for (CGPoint vertex : vertices_) moved.push_back(CGPointApplyAffineTransform(vertex, t));
    setVertices(moved);
    applyTransformToLineWidth(t);
}

void MarqenDOMPolygon::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMVector::initWithDictionary(dictionary);
    const MarqenJSON *vertices = marqen_valueForKeyPath(dictionary, "extension.vertices");
    if (!vertices || !vertices->is_array()) return;
    std::vector<CGPoint> points;
    points.reserve(vertices->size());
    for (const auto &vertex : *vertices) points.push_back(CGPointFromNSDictionary(vertex));
    setVertices(points);
}

void MarqenDOMPolygon::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMVector::writeMembers(writer);
    writer.key("extension");
    writer.beginObject();
    writer.stringMember("type", "Polygon");
    writer.key("vertices");
    writer.beginArray();
    for (CGPoint vertex : vertices_) MarqenWriteCGPoint(writer, vertex);
    writer.endArray();
    writeExtensionMembers(writer);
    writer.endObject();
}

void MarqenDOMPolygon::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMVector::copyStateTo(target);
    static_cast<MarqenDOMPolygon &>(target).vertices_ = vertices_;
}

}  // namespace marqen
