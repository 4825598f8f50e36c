#pragma once
// The arrow: a filled outline with a tapered shaft, a rounded tail at the start point and a pointed
// head at the end point. Its geometry lives entirely in its two points and its size.
//
// Threads: main thread only, like every node (see node.h).
#include "../export.h"
#include "two_point_vector.h"

namespace marqen {

inline constexpr const char *MarqenDOMEditorTypeArrow = "com.brondale.marqen.editor.type.arrow";
inline constexpr const char *MarqenDOMArrowSizeMetadataKey = "com.brondale.marqen.element.semantics.arrow.toolArrowSize";

// The editable geometry of an arrow.
struct MARQEN_EXPORT MarqenDOMArrowGeometry : MarqenDOMTwoPointGeometry {
    CGFloat toolArrowSize = 0;
};

class MARQEN_EXPORT MarqenDOMArrow : public MarqenDOMTwoPointVector {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    // A new arrow wears the default style (a soft shadow).
    static std::shared_ptr<MarqenDOMArrow> create();
    std::string jsonTypePath() const override { return MarqenDOMVector::jsonTypePath() + ".Arrow"; }
    // True for an older dictionary whose metadata marks it as an arrow.
    static bool willInitializeWithDictionary(const MarqenJSON &dictionary);
    // Shadow radius 2, offset (0, 2), black at opacity 0.35.
    static std::shared_ptr<MarqenDOMStyle> defaultStyle();

    // The outline from start (tail) to end (tip) for the given size.
    static MarqenBezierPath makeArrowPath(CGPoint start, CGPoint end, CGFloat arrowSize);

    // The inherited end point setters: an arrow can always be lengthened but not dragged shorter than 12 units
    // (unless the guard is off), and neither marks the document.

    CGFloat toolArrowSize() const { return toolArrowSize_; }
    void setToolArrowSize(CGFloat size);

    bool ignoreMinimumConstraints() const { return ignoreMinimumConstraints_; }
    void setIgnoreMinimumConstraints(bool flag) { ignoreMinimumConstraints_ = flag; }
    // From the view's preference: a drag puts the tip where it began.
    bool arrowheadsAtBeginningOfShape() const { return arrowheadsAtBeginningOfShape_; }
    void setArrowheadsAtBeginningOfShape(bool flag) { arrowheadsAtBeginningOfShape_ = flag; }
    // Kept for the views; the model does not consult it.
    CGFloat minimumLength() const { return minimumLength_; }
    void setMinimumLength(CGFloat length) { minimumLength_ = length; }

    // Minimum length: 40 units times the content scale factor.
    void enforceMinimumLength(bool growFromStartPoint);
    // Keeps the start (grow flag true) or the end fixed and moves the other end out to the minimum;
    // an arrow without a usable direction gets a standard placement in the document's frame.
    void enforceMinimumLength(CGFloat minimumLength, bool growFromStartPoint);
    // The start of an arrow whose tip is at `tip`, pointing away from the frame's centre. A zero length
    // means 0.4 of the frame's smaller side, capped by a positive maximum.
    static CGPoint getStandardArrowStart(CGPoint tip, CGRect frame, CGFloat length, CGFloat maximumLength);
    static CGPoint getStandardArrowStart(CGPoint tip, CGRect frame, CGFloat length, CGFloat maximumLength,
                                         CGFloat rotation);

    // Moves both points; the size follows the x part of t. The node's own transform is not touched.
    void applyTransform(const CGAffineTransform &t) override;
    void translate(CGPoint delta) override;
    // Keeps the size.
    void rotate(CGFloat angle, CGPoint aroundPoint) override;

    // The fill colour; setting it clears the stroke colour.
    const std::optional<MarqenDOMColor> &toolColor() const override { return fillColor(); }
    void setToolColor(const std::optional<MarqenDOMColor> &color) override;
    CGFloat toolSizeAbsolute() const override { return toolArrowSize_; }
    // Unclamped; posts the needs-display notification.
    void setToolSizeAbsolute(CGFloat size) override;
    // The steps 4, 8, 12, 16, 26 for the relative sizes 0.2 to 1.0.
    static CGFloat toolSizeAbsoluteForRelative(CGFloat relative, CGFloat absoluteScale, CGFloat contentScaleFactor);
    static CGFloat toolSizeRelativeForAbsolute(CGFloat absolute, CGFloat absoluteScale, CGFloat contentScaleFactor);

    // MarqenDOMArrowGeometry
    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    const char *extensionType() const override { return "Arrow"; }
    void writeExtensionMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMArrow() = default;
    void copyStateTo(MarqenDOMNode &target) const override;
    void updateBezierPath() override;
    // The steps 4, 8, 12, 16, 26.
    const MarqenToolSizeSteps &toolSizeSteps() const override;
    // The drag puts the tip where it began when the arrowheads go at the beginning of the shape. A finished drag
    // is 40 units long at least: times the content scale without a view transform, as given after a real drag.
    bool drawsFromEndPoint() const override { return arrowheadsAtBeginningOfShape_; }
    bool acceptsEndPoint(CGPoint stored, CGPoint point, CGPoint otherEnd) const override;
    bool endPointChangeMarksDocument() const override { return false; }
    CGFloat minimumDrawnLength() const override;
    CGFloat minimumDraggedLength() const override;
    void growToMinimumLength(CGFloat minimumLength) override {
        enforceMinimumLength(minimumLength, arrowheadsAtBeginningOfShape_);
    }

private:
    bool ignoreMinimumConstraints_ = false;
    CGFloat toolArrowSize_ = 0;
    bool arrowheadsAtBeginningOfShape_ = false;
    CGFloat minimumLength_ = 0;
};

}  // namespace marqen
