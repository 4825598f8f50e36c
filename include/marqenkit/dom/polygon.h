#pragma once
// A closed outline through an ordered list of vertices.
//
// Threads: main thread only, like every node (see node.h).
#include <vector>

#include "../export.h"
#include "vector.h"

namespace marqen {

class MARQEN_EXPORT MarqenDOMPolygon : public MarqenDOMVector {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMPolygon> create();
    std::string jsonTypePath() const override { return MarqenDOMVector::jsonTypePath() + ".Polygon"; }

    const std::vector<CGPoint> &vertices() const { return vertices_; }
    // Change protocol with undo; rebuilds the outline. Deliberately does not mark the document.
    void setVertices(const std::vector<CGPoint> &vertices);
    // The vertex at index, or the zero point past the end.
    CGPoint pointAtIndex(size_t index) const;

    // Moves the vertices (and so the outline) and scales the line width.
    void applyTransform(const CGAffineTransform &t) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    // Members a kind of polygon adds to the "extension" after its type and vertices.
    virtual void writeExtensionMembers(MarqenJSONWriter &) const {}
    MarqenDOMPolygon() = default;
    void copyStateTo(MarqenDOMNode &target) const override;
    // Move to vertex 0, a line to every vertex (the first one deliberately of zero length), close.
    void updateBezierPath() override;
    static MarqenBezierPath polygonPath(const std::vector<CGPoint> &vertices);

private:
    std::vector<CGPoint> vertices_;
};

}  // namespace marqen
