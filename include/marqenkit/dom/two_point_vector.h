#pragma once
// The common ground of the line and the arrow: a vector shape held by two end points, dragged out from one
// end to the other, and read from older documents that marked it in the node's metadata.
//
// Threads: main thread only, like every node (see node.h).
#include <initializer_list>

#include "../export.h"
#include "vector.h"

namespace marqen {

// Older documents marked lines and arrows in their metadata instead of naming their class.
inline constexpr const char *MarqenDOMEditorMetadataKey = "com.brondale.marqen.editor";
inline constexpr const char *MarqenDOMLineStartMetadataKey = "com.brondale.marqen.element.semantics.line.start";
inline constexpr const char *MarqenDOMLineEndMetadataKey = "com.brondale.marqen.element.semantics.line.end";

// The end points in the editable geometry of a line or an arrow.
struct MARQEN_EXPORT MarqenDOMTwoPointGeometry {
    CGPoint startPoint{};
    CGPoint endPoint{};
};

class MARQEN_EXPORT MarqenDOMTwoPointVector : public MarqenDOMVector {
public:
    CGPoint startPoint() const { return startPoint_; }
    CGPoint endPoint() const { return endPoint_; }
    // With snap on, the point is first snapped to 0°/45°/90° about the other end; a point that then equals the
    // stored one changes nothing.
    void setStartPoint(CGPoint point);
    void setEndPoint(CGPoint point);
    // Set while a drag runs with the constrain modifier (not saved).
    bool snap() const { return snap_; }
    void setSnap(bool snap) { snap_ = snap; }

    // Drawing protocol: the drag runs from the start to the end (or from the end to the start where the shape
    // says so); the constrain option snaps the angle. The end of the drag grows the shape to its minimum length.
    void beginAtPoint(CGPoint point) override;
    void appendPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) override;
    // A click without a drag (shorter than 2 units) gives a shape of 200 view units.
    void endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                    const CGAffineTransform &viewModelTransform) override;

    // Nothing written when the start equals the end: such a shape is not saved.
    bool writesRepresentation() const override;

protected:
    MarqenDOMTwoPointVector() = default;
    void copyStateTo(MarqenDOMNode &target) const override;

    // Where the line and the arrow part ways.
    // True when a drag begins at the end point and moves the start point.
    virtual bool drawsFromEndPoint() const { return false; }
    // Asked before snapping whether the end at `stored` may move to `point`, the other end being at `otherEnd`.
    virtual bool acceptsEndPoint(CGPoint stored, CGPoint point, CGPoint otherEnd) const;
    // Whether a moved end marks the document as needing save.
    virtual bool endPointChangeMarksDocument() const = 0;
    // The length a drag is grown to when it ends without a view transform, and after a real drag with one.
    virtual CGFloat minimumDrawnLength() const = 0;
    virtual CGFloat minimumDraggedLength() const { return minimumDrawnLength(); }
    // Moves an end out so that the shape is at least `minimumLength` long.
    virtual void growToMinimumLength(CGFloat minimumLength) = 0;

    // Sets both ends with snap off (a transform or a restored geometry moves them as given).
    void setEndPointsWithoutSnap(CGPoint start, CGPoint end);
    // Stores the end point without notifications or undo, for an outline rebuild that adjusts it.
    void storeEndPointWithoutChange(CGPoint point) { endPoint_ = point; }

    // True when the older metadata marks the dictionary with `editorType`.
    static bool olderMetadataMarksEditorType(const MarqenJSON &dictionary, const char *editorType);
    // Reading starts with snap off and the older metadata marks (the editor key, `ownKeys`, then the end point
    // keys) removed from the node's metadata.
    void startReading(std::initializer_list<const char *> ownKeys);
    // "extension" → key, or else the older "metadata" → olderKey; null when neither holds a value.
    static const MarqenJSON *extensionValueForKey(const MarqenJSON &dictionary, const char *key,
                                                  const char *olderKey);
    // Sets the start, then the end point that the dictionary holds.
    void readEndPoints(const MarqenJSON &dictionary);
    // The vector's members, then an "extension" of extensionType(), the two points and the kind's own
    // extension members.
    void writeMembers(MarqenJSONWriter &writer) const override;
    virtual const char *extensionType() const = 0;
    virtual void writeExtensionMembers(MarqenJSONWriter &) const {}

    // Sets a flag for the length of a scope and restores it after.
    class FlagScope {
    public:
        FlagScope(bool &flag, bool value) : flag_(flag), saved_(flag) { flag_ = value; }
        ~FlagScope() { flag_ = saved_; }
        FlagScope(const FlagScope &) = delete;
        FlagScope &operator=(const FlagScope &) = delete;

    private:
        bool &flag_;
        bool saved_;
    };

private:
    void setPoint(CGPoint &stored, CGPoint point, CGPoint otherEnd,
                  void (MarqenDOMTwoPointVector::*setter)(CGPoint));

    CGPoint startPoint_{};
    CGPoint endPoint_{};
    bool snap_ = false;
};

}  // namespace marqen
