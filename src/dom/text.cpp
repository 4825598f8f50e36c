#include "dom/text.h"

#include <algorithm>
#include <cmath>

#include "dom/change_protocol.h"
#include "dom/document.h"
#include "dom/node_class.h"
#include "dom/text_measure.h"
#include "foundation/undo_manager.h"
#include "foundation/value_encoding.h"

namespace marqen {

namespace {

constexpr CGFloat kMinimumToolFontSize = 8.0;
constexpr CGFloat kMaximumToolFontSize = 1024.0;
constexpr CGFloat kLabelFontSize = 15.0;
constexpr CGFloat kLabelAttachFontSize = 24.0;
// The plate behind a label starts under its parent (a stamp's badge covers its first units), so the text
// keeps 38 units from the plate's edge on the parent's side and 14 on the far side; 16 down, at least
// 34 high.
constexpr CGFloat kLabelParentSideMargin = 38.0;
constexpr CGFloat kLabelFarSideMargin = 14.0;
constexpr CGFloat kLabelVerticalMargin = 16.0;
constexpr CGFloat kLabelMinimumHeight = 34.0;
// While a label is typed into it is at least 147 units wide and keeps 33 units of room for the caret.
constexpr CGFloat kLabelEditingMinimumWidth = 147.0;
constexpr CGFloat kLabelEditingCaretRoom = 33.0;
constexpr unsigned long kLabelPositionLeft = 1;
// Glyph ink may reach past the measured line boxes (italic overhangs sideways; accents and the marks of
// Arabic or Hebrew above and below): room around the text, as a share of the font size.
constexpr CGFloat kInkAllowanceAcross = 0.15;
constexpr CGFloat kInkAllowanceDown = 0.3;

// A text's own geometry: the font size a relative size step stands for.
CGFloat toolFontSizeStep(CGFloat relative) {
    if (relative <= 0.2) return 12;
    if (relative <= 0.4) return 18;
    if (relative <= 0.6) return 24;
    if (relative <= 0.8) return 36;
    return 48;
}

}  // namespace

const MarqenDOMNodeClass &MarqenDOMText::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMText", "Text", [] { return create(); }, nullptr,
                                               &MarqenDOMElement::classDescriptor};
    return descriptor;
}

MarqenDOMText::MarqenDOMText() : font_(MarqenDOMFont(MarqenDOMFont::defaultFontName(), defaultFontSize())) {}

std::shared_ptr<MarqenDOMText> MarqenDOMText::create() { return MarqenMakeNode<MarqenDOMText>(); }

std::shared_ptr<MarqenDOMText> MarqenDOMText::fromDictionary(const MarqenJSON &dictionary) {
    auto text = create();
    text->initWithDictionary(dictionary);
    return text;
}

bool MarqenDOMText::isDarkColor(const MarqenDOMColor &color) {
    double luminance = (0.299 * color.red() + 0.587 * color.green() + 0.114 * color.blue()) / 255.0;
    return luminance < 0.5;
}

MarqenDOMColor MarqenDOMText::strokeColorForTextColor(const MarqenDOMColor &color) {
    return isDarkColor(color) ? MarqenDOMColor::whiteColor() : MarqenDOMColor(0, 0, 0, 1);
}

void MarqenDOMText::invalidateLayout() {
    layoutCache_.valid = false;
}

// MARK: Setters

namespace {
// What the box of the text is measured from. The layout cache is keyed by the measured values, so a
// change of them needs no invalidation of its own.
constexpr MarqenDOMChangeRules kLayoutChange{.affectsContentBounds = true};
}  // namespace

void MarqenDOMText::setText(const std::string &text, bool quiet) {
    if (text_ && *text_ == text) return;
    if (quiet) {
        text_ = text;
        invalidateLayout();
        return;
    }
    auto old = text_;
    std::function<void(MarqenDOMNode &)> inverse;
    // Undoing the first typing must not bring back an empty string.
    if (old && !old->empty())
        inverse = [old](MarqenDOMNode &node) { static_cast<MarqenDOMText &>(node).setText(*old); };
    MarqenDOMChangeProtocol::perform(
        *this, kLayoutChange,
        [&] {
            text_ = text;
            invalidateLayout();
        },
        std::move(inverse), [this] { placeLabelBesideStamp(); });
}

void MarqenDOMText::placeLabelBesideStamp() {
    auto parent = labelParentNode();
    if (!parent || !parent->isKindOfClass("MarqenDOMStamp")) return;
    // The stamp re-places its label as part of this change, not as an undo step of its own.
    UndoManager *undo = undoManager();
    if (undo) undo->disableUndoRegistration();
    parent->positionLabelQuietly(false, false);
    if (undo) undo->enableUndoRegistration();
}

void MarqenDOMText::setOrigin(CGPoint origin) {
    MarqenDOMChangeProtocol::set(*this, origin_, origin, &MarqenDOMText::setOrigin, kLayoutChange);
}

void MarqenDOMText::setOriginQuietly(CGPoint origin) { origin_ = origin; }

void MarqenDOMText::setWrapWidth(CGFloat width) {
    MarqenDOMChangeProtocol::set(*this, wrapWidth_, width, &MarqenDOMText::setWrapWidth, kLayoutChange);
}

void MarqenDOMText::setFont(const std::optional<MarqenDOMFont> &font) {
    MarqenDOMChangeProtocol::set(*this, font_, font, &MarqenDOMText::setFont, kLayoutChange);
}

void MarqenDOMText::setStrokeColor(const std::optional<MarqenDOMColor> &color) {
    MarqenDOMChangeProtocol::set(*this, strokeColor_, color, &MarqenDOMText::setStrokeColor);
}

void MarqenDOMText::setFillColor(const std::optional<MarqenDOMColor> &color) {
    MarqenDOMChangeProtocol::set(*this, fillColor_, color, &MarqenDOMText::setFillColor);
}

void MarqenDOMText::setLineWidth(CGFloat width) {
    MarqenDOMChangeProtocol::set(*this, lineWidth_, width, &MarqenDOMText::setLineWidth, kLayoutChange);
}

// Only stored: the alignment is read when the text is drawn.
void MarqenDOMText::setAlignment(MarqenDOMTextAlignment alignment) { alignment_ = alignment; }

void MarqenDOMText::setDirection(MarqenDOMTextDirection direction) {
    // Announced even when unchanged, and not undoable on its own.
    MarqenDOMChangeProtocol::set(*this, direction_, direction, &MarqenDOMText::setDirection,
                                 {.comparesFirst = false, .registersUndo = false, .marksNeedsSave = false});
}

void MarqenDOMText::setTextBlockStyle(MarqenDOMTextBlockStyle style) {
    // A label never becomes another kind of text.
    if (isLabel()) return;
    MarqenDOMChangeProtocol::set(*this, textBlockStyle_, style, &MarqenDOMText::setTextBlockStyle, kLayoutChange,
                                 [this] { invalidateLayout(); });
}

void MarqenDOMText::setEditingInProgress(bool flag) {
    // The editing allowance widens the box while the user types; a view state, not an edit.
    MarqenDOMChangeProtocol::set(*this, editingInProgress_, flag, &MarqenDOMText::setEditingInProgress,
                                 {.affectsContentBounds = true, .registersUndo = false, .marksNeedsSave = false});
}

void MarqenDOMText::setLabelPosition(unsigned long position) {
    unsigned long old = labelPosition_;
    registerUndo<MarqenDOMText>([old](MarqenDOMText &node) { node.setLabelPosition(old); });
    labelPosition_ = position;
}

// MARK: Display values

std::string MarqenDOMText::displayFontName() const {
    if (isLabel()) return MarqenDOMFont::defaultLabelFontName();
    return font_ ? font_->name() : MarqenDOMFont::defaultFontName();
}

CGFloat MarqenDOMText::displayFontSize() const {
    if (isLabel()) return applyContentScaleFactor(kLabelFontSize);
    return font_ ? font_->size() : defaultFontSize();
}

MarqenDOMColor MarqenDOMText::displayTextColor() const {
    if (isLabel()) return MarqenDOMColor::whiteColor();
    return fillColor_.value_or(MarqenDOMColor());
}

CGFloat MarqenDOMText::bubbleStrokeWidth() const {
    CGFloat size = isLabel() ? applyContentScaleFactor(kLabelAttachFontSize) : (font_ ? font_->size() : defaultFontSize());
    return bubbleStrokeWidthFromFontSize(size);
}

void MarqenDOMText::updateLineWidth() { setLineWidth(bubbleStrokeWidth()); }

std::optional<MarqenDOMTextAttributes> MarqenDOMText::stringAttributes() const {
    if (textBlockStyle_ == MarqenDOMTextBlockStyleBubble &&
        (!font_ || font_->name().empty() || !fillColor_ || !strokeColor_))
        return std::nullopt;
    return MarqenDOMTextAttributes{displayFontName(), displayFontSize(), 1.1};
}

// MARK: Bounds

CGSize MarqenDOMText::measuredTextSize() const {
    std::string string = text_.value_or("");
    std::string fontName = displayFontName();
    CGFloat fontSize = displayFontSize();
    CGFloat width = wrapWidth_ > 0 && !isLabel() ? wrapWidth_ : 0;
    if (layoutCache_.valid && layoutCache_.text == string && layoutCache_.fontName == fontName &&
        layoutCache_.fontSize == fontSize && layoutCache_.wrapWidth == width)
        return layoutCache_.size;
    CGSize size = MarqenDOMTextMeasure(string, {fontName, fontSize, 1.1}, width);
    layoutCache_ = {string, fontName, fontSize, width, size, true};
    return size;
}

CGSize MarqenDOMText::outlineAndInkMargin() const {
    CGFloat size = displayFontSize();
    // Bubble text is outlined: the outline reaches out by up to the stroke width on every side.
    CGFloat outline = textBlockStyle_ == MarqenDOMTextBlockStyleBubble ? std::max(bubbleStrokeWidth(), lineWidth_) : 0;
    return CGSizeMake(outline + kInkAllowanceAcross * size, outline + kInkAllowanceDown * size);
}

CGRect MarqenDOMText::textBounds() const {
    CGSize size = measuredTextSize();
    if (isLabel()) {
        CGRect box = contentBoundsTight(true);
        CGRect plate = contentBoundsTight(false);
        // The text sits after the plate's left margin, centred vertically.
        CGFloat x = plate.origin.x +
                    applyContentScaleFactor(isLeftOfLabelParent() ? kLabelFarSideMargin : kLabelParentSideMargin);
        CGFloat y = box.origin.y + (box.size.height - size.height) / 2;
        return CGRectMake(x, y, size.width, size.height);
    }
    CGSize inset = outlineAndInkMargin();
    return CGRectMake(origin_.x + inset.width, origin_.y + inset.height, size.width, size.height);
}

bool MarqenDOMText::isLeftOfLabelParent() const {
    if (labelPosition_ != 0) return labelPosition_ == kLabelPositionLeft;
    // A loaded label has no position yet: its side is where its origin lies. A right label starts just
    // past its parent's centre, a left one ends just before it.
    MarqenDOMNodePtr parent = labelParentNode();
    return parent && origin_.x < CGRectGetMidX(parent->tightContentBounds());
}

CGRect MarqenDOMText::contentBoundsTight(bool tight) const {
    CGSize size = measuredTextSize();
    if (isLabel()) {
        CGFloat width = size.width + applyContentScaleFactor(kLabelParentSideMargin + kLabelFarSideMargin);
        CGFloat height = std::max(size.height + applyContentScaleFactor(kLabelVerticalMargin),
                                  applyContentScaleFactor(kLabelMinimumHeight));
        CGFloat x = origin_.x;
        if (editingInProgress_ && !tight) {
            CGFloat editingWidth = std::max(width, applyContentScaleFactor(kLabelEditingMinimumWidth)) +
                                   applyContentScaleFactor(kLabelEditingCaretRoom);
            // Left of its parent a label grows leftwards, keeping its edge next to the parent.
            if (isLeftOfLabelParent()) x -= editingWidth - width;
            width = editingWidth;
        }
        return CGRectMake(x, origin_.y, width, height);
    }
    CGSize margin = outlineAndInkMargin();
    CGFloat width = size.width + 2 * margin.width;
    CGFloat height = size.height + 2 * margin.height;
    // Room for the next character and the caret while typing.
    if (editingInProgress_ && !tight) width += displayFontSize();
    return CGRectMake(origin_.x, origin_.y, width, height);
}

MarqenDOMNodePtr MarqenDOMText::hitTestWithPoint(CGPoint point) {
    return CGRectContainsPoint(contentBounds(), point) ? shared_from_this() : nullptr;
}

MarqenDOMNodePtr MarqenDOMText::hitTestWithPoint(CGPoint point, CGFloat) { return hitTestWithPoint(point); }

MarqenDOMNodePtr MarqenDOMText::hitTestWithRect(CGRect rect) {
    return CGRectIntersectsRect(contentBounds(), rect) ? shared_from_this() : nullptr;
}

// MARK: Transforms

void MarqenDOMText::scale(CGSize factors, CGPoint) {
    if (!allowsScaling()) return;
    CGFloat oldSize = toolSizeAbsolute();
    CGAffineTransform t = CGAffineTransformMakeTranslation(origin_.x, origin_.y);
    t = CGAffineTransformScale(t, factors.width, factors.height);
    t = CGAffineTransformTranslate(t, -origin_.x, -origin_.y);
    // Text scales with the vertical factor.
    CGFloat scaled = std::fabs(t.b * oldSize + t.d * oldSize);
    if (scaled != oldSize) setToolSizeAbsolute(scaled);
    CGFloat newSize = toolSizeAbsolute();
    if (oldSize > 0 && wrapWidth_ > 0) setWrapWidth(wrapWidth_ * (newSize / oldSize));
    setOrigin(CGPointApplyAffineTransform(origin_, t));
}

void MarqenDOMText::rotate(CGFloat angle, CGPoint aroundPoint) {
    // Text stays upright: its box moves so that its centre turns about the point.
    if (hasSuperNode()) return;
    CGRect bounds = contentBounds();
    CGPoint centre = CGPointMake(CGRectGetMidX(bounds), CGRectGetMidY(bounds));
    CGAffineTransform t = CGAffineTransformMakeTranslation(aroundPoint.x, aroundPoint.y);
    t = CGAffineTransformRotate(t, angle);
    t = CGAffineTransformTranslate(t, -aroundPoint.x, -aroundPoint.y);
    CGPoint moved = CGPointApplyAffineTransform(centre, t);
    setOrigin(origin_ + (moved - centre));
}

void MarqenDOMText::translate(CGPoint delta) { setOrigin(origin_ + delta); }

void MarqenDOMText::applyTransform(const CGAffineTransform &t) {
    // Text stays upright; its size follows the transform's area scale.
    CGFloat factor = std::sqrt(std::fabs(t.a * t.d - t.b * t.c));
    if (!isLabel() && std::isfinite(factor) && factor > 0 && std::fabs(factor - 1) > 1e-9) {
        if (font_) setFont(MarqenDOMFont(font_->name(), font_->size() * factor));
        if (wrapWidth_ > 0) setWrapWidth(wrapWidth_ * factor);
        if (lineWidth_ > 0) setLineWidth(lineWidth_ * factor);
    }
    setOrigin(CGPointApplyAffineTransform(origin_, t));
}

// MARK: Tool size and colour

CGFloat MarqenDOMText::toolSizeAbsolute() const { return font_ ? font_->size() : defaultFontSize(); }

void MarqenDOMText::setToolSizeAbsolute(CGFloat size) {
    if (isLabel() || std::isnan(size)) return;
    size = std::clamp(size, kMinimumToolFontSize, kMaximumToolFontSize);
    setFont(MarqenDOMFont(font_ ? font_->name() : MarqenDOMFont::defaultFontName(), size));
    postNeedsDisplay();
}

CGFloat MarqenDOMText::convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat absoluteScale,
                                                                 CGFloat contentScaleFactor) const {
    return toolFontSizeStep(relative) * contentScaleFactor * absoluteScale;
}

CGFloat MarqenDOMText::convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat absoluteScale,
                                                                 CGFloat contentScaleFactor) const {
    CGFloat v = absolute / contentScaleFactor / absoluteScale;
    if (v - 12 <= 0.01) return 0.2;
    if (v - 18 <= 0.01) return 0.4;
    if (v - 24 <= 0.01) return 0.6;
    if (v - 36 <= 0.01) return 0.8;
    return 1.0;
}

void MarqenDOMText::setToolColor(const std::optional<MarqenDOMColor> &color) {
    if (isLabel() || !color) return;
    auto old = fillColor_;
    std::function<void(MarqenDOMNode &)> inverse;
    // A text that never had a colour has nothing to go back to.
    if (old) inverse = [old](MarqenDOMNode &node) { static_cast<MarqenDOMText &>(node).setToolColor(old); };
    MarqenDOMChangeProtocol::perform(
        *this, {.postsNeedsDisplay = true},
        [&] {
            fillColor_ = color;
            strokeColor_ = strokeColorForTextColor(*color);
        },
        std::move(inverse));
}

std::any MarqenDOMText::elementGeometry() const {
    return MarqenDOMTextGeometry{origin_, wrapWidth_, toolSizeAbsolute(), direction_};
}

void MarqenDOMText::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMTextGeometry>(&geometry);
    if (!value) return;
    setOrigin(value->origin);
    setWrapWidth(value->wrapWidth);
    setToolSizeAbsolute(value->toolSizeAbsolute);
    setDirection(value->direction);
}

// MARK: Labels

std::shared_ptr<MarqenDOMText> MarqenDOMText::attachLabelToNode(const MarqenDOMNodePtr &node, const std::string &string) {
    if (!node) return nullptr;
    auto label = create();
    label->setText(string);
    label->setTextBlockStyle(MarqenDOMTextBlockStyleLabel);
    label->setFont(MarqenDOMFont(MarqenDOMFont::defaultLabelFontName(), node->applyContentScaleFactor(kLabelAttachFontSize)));
    label->setFillColor(MarqenDOMColor(0, 0, 0, 1));
    label->setStrokeColor(MarqenDOMColor(0, 0, 0, 1));
    label->setLabelParentNode(node);
    node->setLabelNode(label);
    if (auto document = node->document()) document->addLabel(label, node);
    UndoManager *undo = node->undoManager();
    if (undo) undo->disableUndoRegistration();
    node->positionLabelQuietly(false, true);
    if (undo) undo->enableUndoRegistration();
    return label;
}

MarqenDOMNodePtr MarqenDOMText::labelParentNode() const {
    if (auto parent = labelParentNode_.lock()) return parent;
    if (!labelParentGUID_) return nullptr;
    auto document = this->document();
    if (!document) return nullptr;
    auto parent = document->findNode(*labelParentGUID_);
    if (parent.get() == this) return nullptr;
    labelParentNode_ = parent;
    return parent;
}

void MarqenDOMText::setLabelParentNode(const MarqenDOMNodePtr &node) {
    labelParentNode_ = node;
    labelParentGUID_ = node ? std::optional<std::string>(node->guid()) : std::nullopt;
}

void MarqenDOMText::setLabelParentGUID(const std::optional<std::string> &guid) {
    labelParentGUID_ = guid;
    labelParentNode_.reset();
}

MarqenDOMNodePtr MarqenDOMText::detachLabelConnection() {
    auto parent = labelParentNode();
    if (!parent) return nullptr;
    auto self = std::static_pointer_cast<MarqenDOMText>(shared_from_this());
    setLabelParentNode(nullptr);
    if (parent->labelNode() == self) parent->setLabelNode(nullptr);
    registerUndo<MarqenDOMText>([parent](MarqenDOMText &node) { node.setLabelParentNode(parent); });
    std::weak_ptr<MarqenDOMText> weakSelf = self;
    parent->registerUndo<MarqenDOMNode>([weakSelf](MarqenDOMNode &node) {
        if (auto label = weakSelf.lock()) node.setLabelNode(label);
    });
    return parent;
}

void MarqenDOMText::upgradeParagraphTextToRespectColorAndFont() {
    if (textBlockStyle_ != MarqenDOMTextBlockStyleParagraph) return;
    CGFloat oldSize = font_ ? font_->size() : defaultFontSize();
    setFillColor(MarqenDOMColor());
    setFont(MarqenDOMFont("Helvetica", 21.0 * (oldSize / 24.0)));
}

// MARK: JSON

void MarqenDOMText::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMElement::initWithDictionary(dictionary);
    // Stored directly: a node being read has no observers, and a long text is measured once, later.
    if (auto text = marqen_stringForKey(dictionary, "text")) text_ = *text;
    if (const MarqenJSON *origin = marqen_objectForKey(dictionary, "origin")) origin_ = CGPointFromNSDictionary(*origin);
    if (const MarqenJSON *wrap = marqen_objectForKey(dictionary, "wrapWidth")) wrapWidth_ = CGFloatFromNumber(*wrap);
    if (const MarqenJSON *font = marqen_objectForKey(dictionary, "font"); font && font->is_object())
        font_ = MarqenDOMFont::fromDictionary(*font);
    auto readColor = [&](const char *key) -> std::optional<MarqenDOMColor> {
        const MarqenJSON *value = marqen_objectForKey(dictionary, key);
        if (!value) value = marqen_valueForKeyPath(dictionary, std::string("inkStyle.") + key);
        if (value && value->is_object()) return MarqenDOMColor::fromDictionary(*value);
        return std::nullopt;
    };
    if (auto stroke = readColor("strokeColor")) strokeColor_ = stroke;
    if (auto fill = readColor("fillColor")) fillColor_ = fill;
    const MarqenJSON *lineWidth = marqen_objectForKey(dictionary, "lineWidth");
    if (!lineWidth) lineWidth = marqen_valueForKeyPath(dictionary, "inkStyle.lineWidth");
    if (lineWidth && marqen_isNumber(*lineWidth)) lineWidth_ = marqen_doubleValue(*lineWidth);
    // Unset until the keys say otherwise; written back as "left" and "leftToRight".
    alignment_ = static_cast<MarqenDOMTextAlignment>(4);
    direction_ = static_cast<MarqenDOMTextDirection>(~0UL);
    textBlockStyle_ = MarqenDOMTextBlockStyleBubble;
    canChangeTextStyle_ = true;
    if (auto alignment = marqen_stringForKey(dictionary, "alignment"))
        alignment_ = MarqenDOMTextAlignmentFromNSString(*alignment);
    if (auto direction = marqen_stringForKey(dictionary, "direction"))
        direction_ = MarqenDOMTextDirectionFromNSString(*direction);
    if (auto style = marqen_stringForKey(dictionary, "textStyle"))
        textBlockStyle_ = MarqenDOMTextBlockStyleFromNSString(*style);
    if (auto parent = marqen_stringForKey(dictionary, "labelParent")) setLabelParentGUID(*parent);
    invalidateLayout();
}

void MarqenDOMText::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMElement::writeMembers(writer);
    if (text_) writer.stringMember("text", *text_);
    if (!(origin_ == CGPointZero)) {
        writer.key("origin");
        MarqenWriteCGPoint(writer, origin_);
    }
    if (wrapWidth_ > 0) writer.numberMember("wrapWidth", wrapWidth_);
    writer.partMember("font", font_);
    writer.partMember("strokeColor", strokeColor_);
    writer.partMember("fillColor", fillColor_);
    writer.numberMember("lineWidth", lineWidth_);
    writer.stringMember("alignment", NSStringFromMarqenDOMTextAlignment(alignment_));
    writer.stringMember("direction", NSStringFromMarqenDOMTextDirection(direction_));
    writer.stringMember("textStyle", NSStringFromMarqenDOMTextBlockStyle(textBlockStyle_));
    if (labelParentGUID_) writer.stringMember("labelParent", *labelParentGUID_);
}

void MarqenDOMText::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMElement::copyStateTo(target);
    auto &copy = static_cast<MarqenDOMText &>(target);
    copy.text_ = text_;
    copy.origin_ = origin_;
    copy.wrapWidth_ = wrapWidth_;
    copy.font_ = font_;
    copy.strokeColor_ = strokeColor_;
    copy.fillColor_ = fillColor_;
    copy.lineWidth_ = lineWidth_;
    copy.alignment_ = alignment_;
    copy.direction_ = direction_;
    copy.textBlockStyle_ = textBlockStyle_;
    copy.canChangeTextStyle_ = canChangeTextStyle_;
    copy.labelParentGUID_ = labelParentGUID_;
    copy.labelPosition_ = labelPosition_;
}

}  // namespace marqen
