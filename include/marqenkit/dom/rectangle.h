#pragma once
// A rectangle, square-cornered or rounded: a polygon of exactly four vertices in the order top-left,
// top-right, bottom-right, bottom-left (after a rotation, the same corners rotated).
//
// Threads: main thread only, like every node (see node.h).
#include "../export.h"
#include "polygon.h"

namespace marqen {

// The editable geometry of a rectangle.
struct MARQEN_EXPORT MarqenDOMRectangleGeometry {
    std::vector<CGPoint> vertices;
    CGFloat cornerRadius = 0;
    CGFloat lineWidth = 1;
};

class MARQEN_EXPORT MarqenDOMRectangle : public MarqenDOMPolygon {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMRectangle> create();
    std::string jsonTypePath() const override { return MarqenDOMPolygon::jsonTypePath() + ".Rectangle"; }

    // 0 draws square corners; a radius larger than half a side draws arcs of half that side.
    CGFloat cornerRadius() const { return cornerRadius_; }
    void setCornerRadius(CGFloat radius);
    // Where the drag that created the rectangle began (not saved).
    CGPoint startPoint() const { return startPoint_; }

    // Corners: vertices 0 to 3.
    CGPoint topLeft() const { return pointAtIndex(0); }
    CGPoint topRight() const { return pointAtIndex(1); }
    CGPoint bottomRight() const { return pointAtIndex(2); }
    CGPoint bottomLeft() const { return pointAtIndex(3); }
    // Each corner move keeps the opposite corner.
    void moveTopLeftToPoint(CGPoint point);
    void moveTopRightToPoint(CGPoint point);
    void moveBottomRightToPoint(CGPoint point);
    void moveBottomLeftToPoint(CGPoint point);
    void setTopLeft(CGPoint topLeft, CGPoint bottomRight);

    // Hooks kept for the widgets: every corner is valid and no minimum size is enforced.
    bool validateCornerForCornerRadiusFromPoint(CGPoint, CGPoint) const { return true; }
    void enforceMinimumSizeOnScale(CGSize) {}
    void enforceMinimumSize() {}

    // Drawing protocol: the drag spans the rectangle; the constrain option makes it a square.
    void beginAtPoint(CGPoint point) override;
    void appendPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    // A click without a drag gives a square of 200 view units.
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                    const CGAffineTransform &viewModelTransform) override;

    // The radius follows the smaller of the two scaled radii; rotating and scaling keep it.
    void applyTransform(const CGAffineTransform &t) override;
    void rotate(CGFloat angle, CGPoint aroundPoint) override;
    void scale(CGSize factors, CGPoint aroundPoint) override;

    // MarqenDOMRectangleGeometry
    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;

    // The rounded outline of four vertices with the effective radius, and its pixel-aligned twin.
    static MarqenBezierPath roundedRectanglePath(const std::vector<CGPoint> &vertices, CGFloat cornerRadius,
                                                 bool aligned);

protected:
    void writeExtensionMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMRectangle() = default;
    void copyStateTo(MarqenDOMNode &target) const override;
    void updateBezierPath() override;

private:
    CGFloat cornerRadius_ = 0;
    CGPoint startPoint_{};
};

}  // namespace marqen
