#pragma once
// An annotation drawn as one stroked and/or filled outline. The plain class is a freehand stroke
// (marker and highlighter); the shapes derive from it and rebuild the outline from their own parameters.
//
// Threads: main thread only, like every node (see node.h).
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "../export.h"
#include "element.h"
#include "tool_size_steps.h"
#include "vector_drawing.h"
#include "../foundation/bezier_path.h"

namespace marqen {

class MarqenRitePointFilter;

// The editable geometry of a plain vector: its outline and line width.
struct MARQEN_EXPORT MarqenDOMVectorGeometry {
    std::optional<MarqenBezierPath> bezierPath;
    CGFloat lineWidth = 1;
};

class MARQEN_EXPORT MarqenDOMVector : public MarqenDOMElement {
public:
    ~MarqenDOMVector() override;
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMVector> create();
    std::string jsonType() const override { return "Vector"; }
    std::string jsonTypePath() const override { return "Vector"; }

    // The outline; absent for an element not drawn yet.
    const std::optional<MarqenBezierPath> &bezierPath() const { return bezierPath_; }
    // Change protocol with undo and a needs-save mark.
    void setBezierPath(const std::optional<MarqenBezierPath> &path);
    // Stores and notifies only: no undo, no needs-save mark (derived outlines and the fitted stroke).
    void setBezierPathWithoutUndo(const std::optional<MarqenBezierPath> &path);
    // The outline with coordinates rounded down, for pixel-aligned drawing (lines and rectangles only).
    const std::optional<MarqenBezierPath> &alignedBezierPath() const { return alignedBezierPath_; }
    // The outline as SVG path data; empty without one.
    std::string bezierPathString() const;

    const std::optional<MarqenDOMColor> &strokeColor() const { return strokeColor_; }
    void setStrokeColor(const std::optional<MarqenDOMColor> &color);
    // A fill makes the element a filled shape for hit testing.
    const std::optional<MarqenDOMColor> &fillColor() const { return fillColor_; }
    void setFillColor(const std::optional<MarqenDOMColor> &color);
    CGFloat lineWidth() const { return lineWidth_; }
    void setLineWidth(CGFloat width);

    // The raw input of a freehand stroke (not saved).
    const std::vector<CGPoint> &originalPoints() const { return originalPoints_; }

    // Drawing protocol, called by the tools in this order while a shape is dragged out.
    virtual void beginAtPoint(CGPoint point);
    virtual void appendPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options);
    virtual void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options);
    // The same with the view-to-model transform, which lets a click without a drag give a default size.
    virtual void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                            const CGAffineTransform &viewModelTransform);

    // Geometry
    CGRect contentBounds() const override;
    CGRect tightContentBounds() const override;
    MarqenDOMNodePtr hitTestWithPoint(CGPoint point) override;
    MarqenDOMNodePtr hitTestWithPoint(CGPoint point, CGFloat minimumHitStrokeWidth) override;
    MarqenDOMNodePtr hitTestWithRect(CGRect rect) override;
    void applyTransform(const CGAffineTransform &t) override;
    void translate(CGPoint delta) override;
    // Keeps the line width, which applyTransform changes even for a pure rotation.
    void rotate(CGFloat angle, CGPoint aroundPoint) override;
    // Freehand strokes scale only proportionally; shapes may be stretched.
    bool isAspectLocked() const override;

    // Tool colour and size (the properties model)
    const std::optional<MarqenDOMColor> &toolColor() const override { return strokeColor_; }
    void setToolColor(const std::optional<MarqenDOMColor> &color) override;
    CGFloat toolSizeAbsolute() const override { return lineWidth_; }
    // Clamped to [1, 256]; posts the needs-display notification.
    void setToolSizeAbsolute(CGFloat size) override;
    // 2 for translucent (highlighter) strokes, else 1.
    CGFloat absoluteToolSizeScale() const override;
    // Through the kind's tool-size steps.
    CGFloat convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat absoluteScale,
                                                      CGFloat contentScaleFactor) const override;
    CGFloat convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat absoluteScale,
                                                      CGFloat contentScaleFactor) const override;
    // The steps 1, 3, 7, 15, 31 for the relative sizes 0.2 to 1.0.
    static CGFloat toolSizeAbsoluteForRelative(CGFloat relative, CGFloat absoluteScale, CGFloat contentScaleFactor);
    static CGFloat toolSizeRelativeForAbsolute(CGFloat absolute, CGFloat absoluteScale, CGFloat contentScaleFactor);

    // MarqenDOMVectorGeometry
    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMVector();
    void copyStateTo(MarqenDOMNode &target) const override;
    // Shapes rebuild their outline from their parameters; the freehand stroke has none.
    virtual void updateBezierPath() {}
    // The steps of the tool-size conversions; the arrow has its own.
    virtual const MarqenToolSizeSteps &toolSizeSteps() const;
    void setAlignedBezierPath(std::optional<MarqenBezierPath> path) { alignedBezierPath_ = std::move(path); }
    // Stores both colours without notifications or undo, for callers that bracket the change themselves.
    void storeColors(std::optional<MarqenDOMColor> stroke, std::optional<MarqenDOMColor> fill) {
        strokeColor_ = std::move(stroke);
        fillColor_ = std::move(fill);
    }
    // lineWidth := |T.a·w + T.c·w|, the x part of T applied to (w, w).
    void applyTransformToLineWidth(const CGAffineTransform &t);

private:
    void fitStrokeInBackground();
    void installFittedPath(MarqenBezierPath path);

    std::optional<MarqenBezierPath> bezierPath_;
    std::optional<MarqenBezierPath> alignedBezierPath_;
    std::optional<MarqenDOMColor> strokeColor_;
    std::optional<MarqenDOMColor> fillColor_;
    CGFloat lineWidth_ = 1;
    std::vector<CGPoint> originalPoints_;
    std::unique_ptr<MarqenRitePointFilter> realtimePointFilter_;
    // Counts strokes begun, so that a late fit of an earlier stroke is not installed over a newer one.
    uint64_t strokeGeneration_ = 0;
};

// Reads "key" of the dictionary as a point when present.
MARQEN_EXPORT std::optional<CGPoint> MarqenDOMVectorPointForKey(const MarqenJSON &dictionary, const std::string &key);

}  // namespace marqen
