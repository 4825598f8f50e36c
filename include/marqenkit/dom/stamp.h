#pragma once
// The stamp: a round badge of fixed design placed with a click, optionally with a tail pointing in
// one of eight directions, and with a label text beside it.
//
// Threads: main thread only, like every node (see node.h).
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "element.h"

namespace marqen {

class MarqenDOMText;

// What elementGeometry() of a stamp holds.
struct MARQEN_EXPORT MarqenDOMStampGeometry {
    CGRect frame;
    CGPoint startPoint;
    CGPoint endPoint;
    std::optional<long> tailAngleInDegrees;
    std::optional<unsigned long> labelNodeLabelPosition;
};

// Label sides.
inline constexpr unsigned long MarqenDOMStampLabelPositionLeft = 1;
inline constexpr unsigned long MarqenDOMStampLabelPositionRight = 2;

class MARQEN_EXPORT MarqenDOMStamp : public MarqenDOMElement {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMStamp> create();
    static std::shared_ptr<MarqenDOMStamp> createWithStampName(const std::string &name);
    static std::shared_ptr<MarqenDOMStamp> fromDictionary(const MarqenJSON &dictionary);
    std::string jsonType() const override { return "Stamp"; }

    static const std::vector<std::string> &allStampNames();
    static const std::vector<std::string> &allFunnyStampNames();
    // The English default label text of a stamp name ("" for an unknown name), before localization.
    static std::string defaultTextForStampName(const std::string &name);

    // Unscaled dimensions of the design.
    static constexpr CGFloat kStampSize = 100.0;
    static constexpr CGFloat kInnerCircleSize = 56.0;
    static constexpr CGFloat kLabelOffset = 20.0;
    static constexpr CGFloat kLabelLineHeight = 34.0;
    static constexpr CGFloat kTailMinimumLength = 32.0;
    static constexpr CGFloat kLoadedTailLength = 64.0;

    const std::optional<std::string> &stampName() const { return stampName_; }
    void setStampName(const std::optional<std::string> &name);
    const std::optional<long> &tailAngleInDegrees() const { return tailAngleInDegrees_; }
    void setTailAngleInDegrees(const std::optional<long> &angle);
    CGRect frame() const { return frame_; }
    void setFrame(CGRect frame);
    CGPoint startPoint() const { return startPoint_; }
    void setStartPoint(CGPoint point);
    CGPoint endPoint() const { return endPoint_; }
    void setEndPoint(CGPoint point);
    CGFloat contentScaleFactor() const { return contentScaleFactor_; }
    void setContentScaleFactor(CGFloat factor) { contentScaleFactor_ = factor; }
    bool keepConstrainedVerticallyOnDocument() const { return keepConstrainedVerticallyOnDocument_; }
    void setKeepConstrainedVerticallyOnDocument(bool flag) { keepConstrainedVerticallyOnDocument_ = flag; }

    CGSize scaledStampSize() const;
    CGRect stampInnerCircleBounds() const;
    void updateFrame();
    // Where the tail's tip is drawn: a tail as long as on a loaded stamp, scaled with the badge.
    std::optional<CGPoint> tailTipPoint() const;

    // Drawing protocol
    void beginAtPoint(CGPoint point);
    void appendPoint(CGPoint point, CGPoint velocity, unsigned long options);
    void endAtPoint(CGPoint point, CGPoint velocity, unsigned long options);
    void updateTailWithPoint(CGPoint point);
    // Snaps the tail to the nearest multiple of 45°; the tail may appear or vanish only when allowed.
    void updateTailAngleInDegrees(bool mayCreateOrRemoveTail);

    // Labels
    std::string localizedDefaultText() const;
    CGPoint labelOriginForPosition(unsigned long position);
    unsigned long preferredTextLabelPositionForNode(const std::shared_ptr<MarqenDOMText> &label, bool initialPlacement);
    void positionLabelQuietly(bool quietly, bool initially) override;
    void removeTailWithLabelPosition(unsigned long position);

    MarqenDOMNodePtr hitTestWithPoint(CGPoint point) override;
    MarqenDOMNodePtr hitTestWithPoint(CGPoint point, CGFloat minimumHitStrokeWidth) override;
    MarqenDOMNodePtr hitTestWithRect(CGRect rect) override;
    // Badge, tail and the badge's shadow.
    CGRect contentBounds() const override;
    // Badge and tail.
    CGRect tightContentBounds() const override;

    void applyTransform(const CGAffineTransform &t) override;
    void translate(CGPoint delta) override;

    CGFloat toolSizeAbsolute() const override { return 1.0; }
    void setToolSizeAbsolute(CGFloat) override {}
    CGFloat convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat, CGFloat) const override {
        return relative;
    }
    CGFloat convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat, CGFloat) const override {
        return absolute;
    }

    std::any elementGeometry() const override;
    void setElementGeometry(const std::any &geometry) override;

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMStamp() = default;
    void copyStateTo(MarqenDOMNode &target) const override;

private:
    std::shared_ptr<MarqenDOMText> labelText();
    CGRect badgeAndTailBounds() const;

    std::optional<std::string> stampName_;
    std::optional<long> tailAngleInDegrees_;
    CGRect frame_ = CGRectZero;
    CGFloat contentScaleFactor_ = 1.0;
    bool keepConstrainedVerticallyOnDocument_ = false;
    CGPoint startPoint_{0, 0};
    CGPoint endPoint_{0, 0};
};

}  // namespace marqen
