#pragma once
// An ellipse given by its centre, its two radii and a rotation.
//
// Threads: main thread only, like every node (see node.h).
#include "../export.h"
#include "vector.h"

namespace marqen {

// The editable geometry of an ellipse.
struct MARQEN_EXPORT MarqenDOMEllipseGeometry {
    CGPoint center{};
    CGFloat xradius = 0;
    CGFloat yradius = 0;
    CGFloat theta = 0;
    CGFloat lineWidth = 1;
};

class MARQEN_EXPORT MarqenDOMEllipse : public MarqenDOMVector {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMEllipse> create();
    std::string jsonTypePath() const override { return MarqenDOMVector::jsonTypePath() + ".Ellipse"; }

    CGPoint center() const { return center_; }
    void setCenter(CGPoint center);
    // Signed while a drag runs up or left of its start.
    CGFloat xradius() const { return xradius_; }
    void setXradius(CGFloat radius);
    CGFloat yradius() const { return yradius_; }
    void setYradius(CGFloat radius);
    // The rotation in radians.
    CGFloat theta() const { return theta_; }
    void setTheta(CGFloat theta);
    // The creating drag's corners (not saved): they notify and rebuild but register no undo.
    CGPoint start() const { return start_; }
    void setStart(CGPoint point);
    CGPoint end() const { return end_; }
    void setEnd(CGPoint point);

    // The corners of the bounding rectangle, rotated by theta about the centre.
    CGPoint rotatedPoint(CGPoint point) const;
    CGPoint topLeft() const { return rotatedPoint({center_.x - xradius_, center_.y - yradius_}); }
    CGPoint topRight() const { return rotatedPoint({center_.x + xradius_, center_.y - yradius_}); }
    CGPoint bottomRight() const { return rotatedPoint({center_.x + xradius_, center_.y + yradius_}); }
    CGPoint bottomLeft() const { return rotatedPoint({center_.x - xradius_, center_.y + yradius_}); }
    // The moves pass rotated corners to setTopLeft:bottomRight:, which takes them as unrotated extremes.
    void moveTopLeftToPoint(CGPoint point);
    void moveTopRightToPoint(CGPoint point);
    void moveBottomRightToPoint(CGPoint point);
    void moveBottomLeftToPoint(CGPoint point);
    void setTopLeft(CGPoint topLeft, CGPoint bottomRight);
    // A radius of magnitude below 0.5 becomes 0.5 (a larger negative one stays as it is).
    void enforceMinimumSize();

    // Drawing protocol: the drag spans the bounding rectangle; the constrain option makes a circle.
    void beginAtPoint(CGPoint point) override;
    void appendPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    // A click without a drag gives radii of 100 view units.
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                    const CGAffineTransform &viewModelTransform) override;

    // Theta is transformed like a length (|T.a·θ + T.c·θ|); rotate() sets it properly.
    void applyTransform(const CGAffineTransform &t) override;
    void rotate(CGFloat angle, CGPoint aroundPoint) override;

    // MarqenDOMEllipseGeometry
    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;
    // Nothing written while the content bounds have zero size: such an ellipse is not saved.
    bool writesRepresentation() const override;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMEllipse() = default;
    void copyStateTo(MarqenDOMNode &target) const override;
    void updateBezierPath() override;

private:
    // The change of one parameter the outline is built from, then the outline's rebuild.
    template <typename Value>
    void changeOutlineParameter(Value &stored, Value value, void (MarqenDOMEllipse::*setter)(Value),
                                bool transient = false);

    CGPoint center_{};
    CGFloat xradius_ = 0;
    CGFloat yradius_ = 0;
    CGFloat theta_ = 0;
    CGPoint start_{};
    CGPoint end_{};
};

}  // namespace marqen
