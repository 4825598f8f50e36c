#pragma once
// A straight line between two end points.
#include "dom/vector.h"

namespace marqen {

// Older documents marked lines and arrows in their metadata instead of naming their class.
inline constexpr const char *MarqenDOMEditorMetadataKey = "com.brondale.marqen.editor";
inline constexpr const char *MarqenDOMEditorTypeLine = "com.brondale.marqen.editor.type.line";
inline constexpr const char *MarqenDOMLineStartMetadataKey = "com.brondale.marqen.element.semantics.line.start";
inline constexpr const char *MarqenDOMLineEndMetadataKey = "com.brondale.marqen.element.semantics.line.end";

// The editable geometry of a line.
struct MarqenDOMLineGeometry {
    CGPoint startPoint{};
    CGPoint endPoint{};
    CGFloat lineWidth = 1;
};

class MarqenDOMLine : public MarqenDOMVector {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMLine> create();
    std::string jsonTypePath() const override { return MarqenDOMVector::jsonTypePath() + ".Line"; }
    // True for an older dictionary whose metadata marks it as a line.
    static bool willInitializeWithDictionary(const MarqenJSON &dictionary);

    CGPoint startPoint() const { return startPoint_; }
    CGPoint endPoint() const { return endPoint_; }
    // With snap on, the point is first snapped to 0°/45°/90° about the other end.
    void setStartPoint(CGPoint point);
    void setEndPoint(CGPoint point);
    // Set while a drag runs with the constrain modifier (not saved).
    bool snap() const { return snap_; }
    void setSnap(bool snap) { snap_ = snap; }
    // Grows a line shorter than the minimum along its direction (to the right when it has none).
    void enforceMinimumLength(CGFloat minimumLength);

    // Drawing protocol: the drag runs from the start to the end; the constrain option snaps the angle.
    void beginAtPoint(CGPoint point) override;
    void appendPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    // A click without a drag gives a line of 200 view units.
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                    const CGAffineTransform &viewModelTransform) override;

    // Moves the end points; the line width follows the x part of t, even for a pure rotation.
    void applyTransform(const CGAffineTransform &t) override;

    // MarqenDOMLineGeometry
    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;
    // Nothing (null) when the start equals the end: such a line is not saved.
    MarqenJSON dictionaryRepresentation() const override;

protected:
    MarqenDOMLine() = default;
    void copyStateTo(MarqenDOMNode &target) const override;
    void updateBezierPath() override;

private:
    void setPoint(CGPoint &stored, CGPoint point, CGPoint anchor, void (MarqenDOMLine::*setter)(CGPoint));

    CGPoint startPoint_{};
    CGPoint endPoint_{};
    bool snap_ = false;
};

}  // namespace marqen
