#include "dom/stamp.h"

#include <cmath>
#include <map>

#include "dom/change_protocol.h"
#include "dom/document.h"
#include "dom/node_class.h"
#include "dom/text.h"
#include "foundation/localization.h"
#include "foundation/undo_manager.h"
#include "foundation/value_encoding.h"
#include "foundation/vector_math.h"

namespace marqen {

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;
// The tail is drawn this wide on each side of its centre line, as a share of the badge's side.
constexpr CGFloat kTailHalfWidthShare = 0.15;
// The badge's shadow (blur plus offset, either way up) stays within this share of the side.
constexpr CGFloat kShadowMarginShare = 0.12;

const std::map<std::string, std::string> &defaultTexts() {
    static const std::map<std::string, std::string> texts{
        {"com.brondale.marqen.rejected", "Rejected"}, {"com.brondale.marqen.exclaim", "Wow!"},
        {"com.brondale.marqen.question", "What?"},    {"com.brondale.marqen.approved", "Approved"},
        {"com.brondale.marqen.perfect", "Perfect"},   {"com.brondale.marqen.happy", "Fantastic!"},
        {"com.brondale.marqen.cool", "Hehe"},         {"com.brondale.marqen.silly", "Kidding!"},
        {"com.brondale.marqen.surprise", "Uh oh\u2026"}, {"com.brondale.marqen.angry", "Grrr"},
    };
    return texts;
}

// An angle read from a file: whole degrees folded into [0, 360); nothing for values no stamp can have.
std::optional<long> tailAngleFromJSON(const MarqenJSON &value) {
    if (!marqen_isNumber(value)) return std::nullopt;
    double degrees = marqen_doubleValue(value);
    if (!std::isfinite(degrees) || std::fabs(degrees) > 1e9) return std::nullopt;
    long whole = static_cast<long>(degrees);
    return ((whole % 360) + 360) % 360;
}

}  // namespace

const MarqenDOMNodeClass &MarqenDOMStamp::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMStamp", "Stamp", [] { return create(); }, nullptr,
                                               &MarqenDOMElement::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMStamp> MarqenDOMStamp::create() { return MarqenMakeNode<MarqenDOMStamp>(); }

std::shared_ptr<MarqenDOMStamp> MarqenDOMStamp::createWithStampName(const std::string &name) {
    auto stamp = create();
    stamp->stampName_ = name;
    return stamp;
}

std::shared_ptr<MarqenDOMStamp> MarqenDOMStamp::fromDictionary(const MarqenJSON &dictionary) {
    auto stamp = create();
    stamp->initWithDictionary(dictionary);
    return stamp;
}

const std::vector<std::string> &MarqenDOMStamp::allStampNames() {
    static const std::vector<std::string> names{"com.brondale.marqen.rejected", "com.brondale.marqen.exclaim",
                                                "com.brondale.marqen.question", "com.brondale.marqen.approved",
                                                "com.brondale.marqen.perfect"};
    return names;
}

const std::vector<std::string> &MarqenDOMStamp::allFunnyStampNames() {
    static const std::vector<std::string> names{"com.brondale.marqen.happy", "com.brondale.marqen.cool",
                                                "com.brondale.marqen.silly", "com.brondale.marqen.surprise",
                                                "com.brondale.marqen.angry"};
    return names;
}

std::string MarqenDOMStamp::defaultTextForStampName(const std::string &name) {
    auto found = defaultTexts().find(name);
    return found == defaultTexts().end() ? std::string() : found->second;
}

std::string MarqenDOMStamp::localizedDefaultText() const {
    std::string english = stampName_ ? defaultTextForStampName(*stampName_) : std::string();
    if (english.empty()) return english;
    return MarqenLocalizedString(english, kMarqenLocalizationTable);
}

// MARK: Stored values

void MarqenDOMStamp::setStampName(const std::optional<std::string> &name) {
    MarqenDOMChangeProtocol::set(*this, stampName_, name, &MarqenDOMStamp::setStampName);
}

void MarqenDOMStamp::setFrame(CGRect frame) {
    MarqenDOMChangeProtocol::set(*this, frame_, frame, &MarqenDOMStamp::setFrame, {.affectsContentBounds = true});
}

namespace {
// A stamp's placement marks the document before it registers its undo action.
constexpr MarqenDOMChangeRules kPlacementChange{.marksNeedsSaveBeforeUndo = true};
}  // namespace

void MarqenDOMStamp::setStartPoint(CGPoint point) {
    MarqenDOMChangeProtocol::set(*this, startPoint_, point, &MarqenDOMStamp::setStartPoint, kPlacementChange);
}

void MarqenDOMStamp::setEndPoint(CGPoint point) {
    MarqenDOMChangeProtocol::set(*this, endPoint_, point, &MarqenDOMStamp::setEndPoint, kPlacementChange);
}

void MarqenDOMStamp::setTailAngleInDegrees(const std::optional<long> &angle) {
    // Stored and announced even when unchanged; the label moves away from the new tail.
    MarqenDOMChangeProtocol::set(
        *this, tailAngleInDegrees_, angle, &MarqenDOMStamp::setTailAngleInDegrees,
        {.comparesFirst = false, .affectsContentBounds = true, .marksNeedsSaveBeforeUndo = true},
        [this] { positionLabelQuietly(false, false); });
}

CGSize MarqenDOMStamp::scaledStampSize() const {
    CGFloat side = std::floor(applyContentScaleFactor(kStampSize));
    return CGSizeMake(side, side);
}

CGRect MarqenDOMStamp::stampInnerCircleBounds() const {
    CGFloat side = std::floor(applyContentScaleFactor(kInnerCircleSize));
    return CGRectMake(startPoint_.x - side / 2, startPoint_.y - side / 2, side, side);
}

void MarqenDOMStamp::updateFrame() {
    CGSize size = scaledStampSize();
    setFrame(CGRectMake(startPoint_.x - size.width / 2, startPoint_.y - size.height / 2, size.width, size.height));
}

std::optional<CGPoint> MarqenDOMStamp::tailTipPoint() const {
    if (!tailAngleInDegrees_) return std::nullopt;
    CGFloat side = std::max(CGRectGetWidth(frame_), CGRectGetHeight(frame_));
    CGFloat length = kLoadedTailLength * side / kStampSize;
    double radians = static_cast<double>(*tailAngleInDegrees_) / kDegreesPerRadian;
    CGPoint centre = CGPointMake(CGRectGetMidX(frame_), CGRectGetMidY(frame_));
    return CGPointMake(centre.x + length * std::cos(radians), centre.y + length * std::sin(radians));
}

// MARK: Drawing protocol

void MarqenDOMStamp::beginAtPoint(CGPoint point) {
    if (keepConstrainedVerticallyOnDocument_) {
        if (auto document = this->document()) {
            CGRect bounds = document->frame();
            CGFloat half = scaledStampSize().height / 2;
            CGFloat top = CGRectGetMinY(bounds) + half, bottom = CGRectGetMaxY(bounds) - half;
            // A document lower than the badge keeps the badge's top on the document.
            point.y = std::max(top, std::min(point.y, bottom));
        }
    }
    startPoint_ = point;
    endPoint_ = point;
    markDocumentNeedsSave();
    updateFrame();
}

void MarqenDOMStamp::appendPoint(CGPoint point, CGPoint, unsigned long) { updateTailWithPoint(point); }

void MarqenDOMStamp::endAtPoint(CGPoint point, CGPoint, unsigned long) { updateTailWithPoint(point); }

void MarqenDOMStamp::updateTailWithPoint(CGPoint point) {
    setEndPoint(point);
    updateTailAngleInDegrees(true);
}

void MarqenDOMStamp::updateTailAngleInDegrees(bool mayCreateOrRemoveTail) {
    CGPoint d = MarqenVectorGetDifference(startPoint_, endPoint_);
    CGFloat magnitude = MarqenVectorGetMagnitude(d);
    long degrees = static_cast<long>(MarqenVectorGetAngle(d) * kDegreesPerRadian + 22.5);
    long snapped = (degrees / 45 * 45) % 360;
    bool wantsTail = magnitude >= kTailMinimumLength;
    if (!mayCreateOrRemoveTail && wantsTail != tailAngleInDegrees_.has_value()) return;
    std::optional<long> angle = wantsTail ? std::optional<long>(snapped) : std::nullopt;
    if (angle == tailAngleInDegrees_) return;
    setTailAngleInDegrees(angle);
}

// MARK: Labels

std::shared_ptr<MarqenDOMText> MarqenDOMStamp::labelText() {
    return std::dynamic_pointer_cast<MarqenDOMText>(labelNode());
}

CGPoint MarqenDOMStamp::labelOriginForPosition(unsigned long position) {
    CGFloat y = CGRectGetMidY(frame_) - applyContentScaleFactor(kLabelLineHeight) / 2;
    CGFloat offset = applyContentScaleFactor(kLabelOffset);
    if (position == MarqenDOMStampLabelPositionLeft) {
        auto label = labelText();
        CGFloat width = label ? CGRectGetWidth(label->contentBounds()) : 0;
        return CGPointMake(CGRectGetMidX(frame_) - (offset + width), y);
    }
    return CGPointMake(CGRectGetMidX(frame_) + offset, y);
}

unsigned long MarqenDOMStamp::preferredTextLabelPositionForNode(const std::shared_ptr<MarqenDOMText> &label,
                                                                bool initialPlacement) {
    if (tailAngleInDegrees_ && *tailAngleInDegrees_ != 90 && *tailAngleInDegrees_ != 270 && !initialPlacement)
        return (*tailAngleInDegrees_ < 90 || *tailAngleInDegrees_ > 270) ? MarqenDOMStampLabelPositionLeft
                                                                         : MarqenDOMStampLabelPositionRight;
    bool left = false;
    if (label) {
        if (label->labelPosition() == 0)
            left = label->origin().x < CGRectGetMinX(frame_);
        else
            left = label->labelPosition() == MarqenDOMStampLabelPositionLeft;
        CGFloat width = CGRectGetWidth(label->contentBounds());
        CGPoint right = labelOriginForPosition(MarqenDOMStampLabelPositionRight);
        CGPoint leftOrigin = labelOriginForPosition(MarqenDOMStampLabelPositionLeft);
        auto document = this->document();
        if (document && right.x + width > CGRectGetWidth(document->frame()))
            left = true;
        else if (leftOrigin.x <= 0)
            left = false;
    }
    return left ? MarqenDOMStampLabelPositionLeft : MarqenDOMStampLabelPositionRight;
}

void MarqenDOMStamp::positionLabelQuietly(bool quietly, bool initially) {
    auto label = labelText();
    if (!label) return;
    unsigned long position = preferredTextLabelPositionForNode(label, initially);
    if (position != label->labelPosition()) label->setLabelPosition(position);
    CGPoint origin = labelOriginForPosition(position);
    if (quietly)
        label->setOriginQuietly(origin);
    else
        label->setOrigin(origin);
    postNeedsDisplay();
}

void MarqenDOMStamp::removeTailWithLabelPosition(unsigned long position) {
    setTailAngleInDegrees(std::nullopt);
    auto label = labelText();
    if (!label) return;
    label->setLabelPosition(position);
    label->setOrigin(labelOriginForPosition(position));
}

// MARK: Geometry

CGRect MarqenDOMStamp::badgeAndTailBounds() const {
    CGRect bounds = frame_;
    if (auto tip = tailTipPoint()) {
        CGFloat side = std::max(CGRectGetWidth(frame_), CGRectGetHeight(frame_));
        CGFloat half = kTailHalfWidthShare * side;
        CGRect tipArea = CGRectMake(tip->x - half, tip->y - half, 2 * half, 2 * half);
        bounds = CGRectUnion(bounds, tipArea);
    }
    return bounds;
}

CGRect MarqenDOMStamp::tightContentBounds() const { return badgeAndTailBounds(); }

CGRect MarqenDOMStamp::contentBounds() const {
    CGFloat side = std::max(CGRectGetWidth(frame_), CGRectGetHeight(frame_));
    CGFloat margin = kShadowMarginShare * side;
    return CGRectInset(badgeAndTailBounds(), -margin, -margin);
}

MarqenDOMNodePtr MarqenDOMStamp::hitTestWithPoint(CGPoint point) {
    CGRect inner = stampInnerCircleBounds();
    CGFloat radius = CGRectGetWidth(inner) / 2;
    CGFloat dx = point.x - CGRectGetMidX(inner), dy = point.y - CGRectGetMidY(inner);
    if (dx * dx + dy * dy <= radius * radius) return shared_from_this();
    if (!CGRectContainsPoint(contentBounds(), point)) return nullptr;
    if (auto label = labelNode())
        if (auto hit = label->hitTestWithPoint(point)) return hit;
    return shared_from_this();
}

MarqenDOMNodePtr MarqenDOMStamp::hitTestWithPoint(CGPoint point, CGFloat) { return hitTestWithPoint(point); }

MarqenDOMNodePtr MarqenDOMStamp::hitTestWithRect(CGRect rect) {
    return CGRectIntersectsRect(contentBounds(), rect) ? shared_from_this() : nullptr;
}

void MarqenDOMStamp::applyTransform(const CGAffineTransform &t) {
    // The badge keeps its size and upright design: only its centre and the tail's end move.
    CGPoint start = CGPointApplyAffineTransform(startPoint_, t);
    CGPoint end = CGPointApplyAffineTransform(endPoint_, t);
    setStartPoint(start);
    setEndPoint(end);
    CGSize size = frame_.size;
    setFrame(CGRectMake(start.x - size.width / 2, start.y - size.height / 2, size.width, size.height));
    positionLabelQuietly(false, false);
}

void MarqenDOMStamp::translate(CGPoint delta) { applyTransform(CGAffineTransformMakeTranslation(delta.x, delta.y)); }

std::any MarqenDOMStamp::elementGeometry() const {
    std::optional<unsigned long> labelPosition;
    if (auto label = std::dynamic_pointer_cast<MarqenDOMText>(const_cast<MarqenDOMStamp *>(this)->labelNode()))
        labelPosition = label->labelPosition();
    return MarqenDOMStampGeometry{frame_, startPoint_, endPoint_, tailAngleInDegrees_, labelPosition};
}

void MarqenDOMStamp::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMStampGeometry>(&geometry);
    if (!value) return;
    setFrame(value->frame);
    setStartPoint(value->startPoint);
    setEndPoint(value->endPoint);
    if (value->tailAngleInDegrees != tailAngleInDegrees_) setTailAngleInDegrees(value->tailAngleInDegrees);
    if (value->labelNodeLabelPosition)
        if (auto label = labelText()) label->setLabelPosition(*value->labelNodeLabelPosition);
}

// MARK: JSON

void MarqenDOMStamp::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMElement::initWithDictionary(dictionary);
    if (const MarqenJSON *frame = marqen_objectForKey(dictionary, "frame")) frame_ = CGRectFromNSDictionary(*frame);
    if (auto name = marqen_stringForKey(dictionary, "stampName")) stampName_ = *name;
    if (const MarqenJSON *angle = marqen_objectForKey(dictionary, "tailAngleInDegrees"))
        tailAngleInDegrees_ = tailAngleFromJSON(*angle);
    startPoint_ = CGPointMake(CGRectGetMidX(frame_), CGRectGetMidY(frame_));
    endPoint_ = startPoint_;
    if (tailAngleInDegrees_) {
        double radians = static_cast<double>(*tailAngleInDegrees_) * M_PI / 180.0;
        endPoint_ = startPoint_ + CGPointMake(kLoadedTailLength * std::cos(radians), kLoadedTailLength * std::sin(radians));
    }
}

void MarqenDOMStamp::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMElement::writeMembers(writer);
    if (!CGRectIsEmpty(frame_)) {
        writer.key("frame");
        MarqenWriteCGRect(writer, frame_);
    }
    if (stampName_) writer.stringMember("stampName", *stampName_);
    if (tailAngleInDegrees_) writer.integerMember("tailAngleInDegrees", *tailAngleInDegrees_);
}

void MarqenDOMStamp::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMElement::copyStateTo(target);
    auto &copy = static_cast<MarqenDOMStamp &>(target);
    copy.stampName_ = stampName_;
    copy.tailAngleInDegrees_ = tailAngleInDegrees_;
    copy.frame_ = frame_;
    copy.contentScaleFactor_ = contentScaleFactor_;
    copy.keepConstrainedVerticallyOnDocument_ = keepConstrainedVerticallyOnDocument_;
    copy.startPoint_ = startPoint_;
    copy.endPoint_ = endPoint_;
}

}  // namespace marqen
