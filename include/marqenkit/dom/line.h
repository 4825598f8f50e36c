#pragma once
// A straight line between two end points.
//
// Threads: main thread only, like every node (see node.h).
#include "../export.h"
#include "two_point_vector.h"

namespace marqen {

inline constexpr const char *MarqenDOMEditorTypeLine = "com.brondale.marqen.editor.type.line";

// The editable geometry of a line.
struct MARQEN_EXPORT MarqenDOMLineGeometry : MarqenDOMTwoPointGeometry {
    CGFloat lineWidth = 1;
};

class MARQEN_EXPORT MarqenDOMLine : public MarqenDOMTwoPointVector {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMLine> create();
    std::string jsonTypePath() const override { return MarqenDOMVector::jsonTypePath() + ".Line"; }
    // True for an older dictionary whose metadata marks it as a line.
    static bool willInitializeWithDictionary(const MarqenJSON &dictionary);

    // Grows a line shorter than the minimum along its direction (to the right when it has none).
    void enforceMinimumLength(CGFloat minimumLength);

    // Moves the end points; the line width follows the x part of t, even for a pure rotation.
    void applyTransform(const CGAffineTransform &t) override;

    // MarqenDOMLineGeometry
    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    const char *extensionType() const override { return "Line"; }
    MarqenDOMLine() = default;
    void updateBezierPath() override;
    // Moving an end marks the document; a finished drag is at least 1 unit long.
    bool endPointChangeMarksDocument() const override { return true; }
    CGFloat minimumDrawnLength() const override;
    void growToMinimumLength(CGFloat minimumLength) override { enforceMinimumLength(minimumLength); }
};

}  // namespace marqen
