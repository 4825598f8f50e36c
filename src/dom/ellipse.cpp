#include "dom/ellipse.h"

#include <cmath>

#include "dom/change_protocol.h"
#include "dom/node_class.h"
#include "foundation/value_encoding.h"

namespace marqen {

const MarqenDOMNodeClass &MarqenDOMEllipse::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMEllipse", "Vector.Ellipse", [] { return create(); },
                                               nullptr, &MarqenDOMVector::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMEllipse> MarqenDOMEllipse::create() { return MarqenMakeNode<MarqenDOMEllipse>(); }

template <typename Value>
void MarqenDOMEllipse::changeOutlineParameter(Value &stored, Value value, void (MarqenDOMEllipse::*setter)(Value),
                                              bool transient) {
    // The creating drag's corners are transient: announced even when unchanged, no undo, no save mark.
    MarqenDOMChangeRules rules;
    if (transient) rules = {.comparesFirst = false, .registersUndo = false, .marksNeedsSave = false};
    MarqenDOMChangeProtocol::set(*this, stored, value, setter, rules, [this] { updateBezierPath(); });
}

void MarqenDOMEllipse::setCenter(CGPoint center) { changeOutlineParameter(center_, center, &MarqenDOMEllipse::setCenter); }
void MarqenDOMEllipse::setXradius(CGFloat radius) { changeOutlineParameter(xradius_, radius, &MarqenDOMEllipse::setXradius); }
void MarqenDOMEllipse::setYradius(CGFloat radius) { changeOutlineParameter(yradius_, radius, &MarqenDOMEllipse::setYradius); }
void MarqenDOMEllipse::setTheta(CGFloat theta) { changeOutlineParameter(theta_, theta, &MarqenDOMEllipse::setTheta); }
void MarqenDOMEllipse::setStart(CGPoint point) { changeOutlineParameter(start_, point, &MarqenDOMEllipse::setStart, true); }
void MarqenDOMEllipse::setEnd(CGPoint point) { changeOutlineParameter(end_, point, &MarqenDOMEllipse::setEnd, true); }

CGPoint MarqenDOMEllipse::rotatedPoint(CGPoint point) const {
    CGFloat c = std::cos(theta_), s = std::sin(theta_);
    CGPoint d = point - center_;
    return {center_.x + d.x * c - d.y * s, center_.y + d.x * s + d.y * c};
}

void MarqenDOMEllipse::setTopLeft(CGPoint tl, CGPoint br) {
    CGFloat xr = (br.x - tl.x) / 2, yr = (br.y - tl.y) / 2;
    setXradius(xr);
    setYradius(yr);
    setCenter({tl.x + xr, tl.y + yr});
}

void MarqenDOMEllipse::moveTopLeftToPoint(CGPoint p) { setTopLeft(p, bottomRight()); }
void MarqenDOMEllipse::moveTopRightToPoint(CGPoint p) { setTopLeft({topLeft().x, p.y}, {p.x, bottomRight().y}); }
void MarqenDOMEllipse::moveBottomRightToPoint(CGPoint p) { setTopLeft(topLeft(), p); }
void MarqenDOMEllipse::moveBottomLeftToPoint(CGPoint p) { setTopLeft({p.x, topLeft().y}, {bottomRight().x, p.y}); }

void MarqenDOMEllipse::enforceMinimumSize() {
    if (std::fabs(xradius_) < 0.5) setXradius(0.5);
    if (std::fabs(yradius_) < 0.5) setYradius(0.5);
}

void MarqenDOMEllipse::updateBezierPath() {
    CGRect oval = CGRectMake(center_.x - xradius_, center_.y - yradius_, 2 * xradius_, 2 * yradius_);
    MarqenBezierPath path = MarqenBezierPath::pathWithOvalInRect(oval);
    CGAffineTransform t = CGAffineTransformMakeTranslation(-center_.x, -center_.y);
    t = CGAffineTransformConcat(t, CGAffineTransformMakeRotation(theta_));
    t = CGAffineTransformConcat(t, CGAffineTransformMakeTranslation(center_.x, center_.y));
    path.applyTransform(t);
    setBezierPathWithoutUndo(path);
}

// Drawing protocol

void MarqenDOMEllipse::beginAtPoint(CGPoint point) {
    setStart(point);
    setCenter(CGPointZero);
    setXradius(0);
    setYradius(0);
}

void MarqenDOMEllipse::appendPoint(CGPoint point, CGPoint, MarqenVectorDrawingOptions options) {
    if (MarqenVectorDrawingIsConstrained(options)) point = squareEndPointFromStart(start_, point);
    setEnd(point);
    CGFloat xr = (end_.x - start_.x) * 0.5, yr = (end_.y - start_.y) * 0.5;
    setXradius(xr);
    setYradius(yr);
    setCenter({start_.x + xr, start_.y + yr});
    setTheta(0);
}

void MarqenDOMEllipse::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) {
    appendPoint(point, velocity, options);
    enforceMinimumSize();
}

void MarqenDOMEllipse::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                                  const CGAffineTransform &viewModelTransform) {
    appendPoint(point, velocity, options);
    if (std::fabs(xradius_) < 1.0 && std::fabs(yradius_) < 1.0) {
        CGFloat radius = MarqenViewUnitsInModelUnits(viewModelTransform, 100);
        setXradius(radius);
        setYradius(radius);
    }
}

// Transforms

void MarqenDOMEllipse::applyTransform(const CGAffineTransform &t) {
    postWillChange();
    MarqenDOMElement::applyTransform(t);
    CGFloat xr = xradius_, yr = yradius_, angle = theta_;
    setCenter(CGPointApplyAffineTransform(center_, t));
    setXradius(std::fabs(t.a * xr + t.c * yr));
    setYradius(std::fabs(t.b * xr + t.d * yr));
    setTheta(std::fabs(t.a * angle + t.c * angle));
    applyTransformToLineWidth(t);
    enforceMinimumSize();
    postDidChange();
}

void MarqenDOMEllipse::rotate(CGFloat angle, CGPoint aroundPoint) {
    CGFloat oldTheta = theta_, xr = xradius_, yr = yradius_;
    MarqenDOMVector::rotate(angle, aroundPoint);
    setXradius(xr);
    setYradius(yr);
    setTheta(oldTheta + angle);
}

std::any MarqenDOMEllipse::elementGeometry() const {
    return MarqenDOMEllipseGeometry{center_, xradius_, yradius_, theta_, lineWidth()};
}

void MarqenDOMEllipse::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMEllipseGeometry>(&geometry);
    if (!value) return;
    setCenter(value->center);
    setXradius(value->xradius);
    setYradius(value->yradius);
    setTheta(value->theta);
    setLineWidth(value->lineWidth);
}

// JSON

void MarqenDOMEllipse::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMVector::initWithDictionary(dictionary);
    const MarqenJSON *extension = marqen_objectForKey(dictionary, "extension");
    if (!extension || !extension->is_object()) return;
    if (auto center = MarqenDOMVectorPointForKey(*extension, "center")) setCenter(*center);
    if (auto xr = marqen_numberForKey(*extension, "xradius")) setXradius(*xr);
    if (auto yr = marqen_numberForKey(*extension, "yradius")) setYradius(*yr);
    if (auto angle = marqen_numberForKey(*extension, "theta")) setTheta(*angle);
}

bool MarqenDOMEllipse::writesRepresentation() const {
    CGRect bounds = contentBounds();
    return !(bounds.size.width == 0 && bounds.size.height == 0);
}

void MarqenDOMEllipse::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMVector::writeMembers(writer);
    writer.key("extension");
    writer.beginObject();
    writer.stringMember("type", "Ellipse");
    writer.key("center");
    MarqenWriteCGPoint(writer, center_);
    writer.numberMember("xradius", xradius_);
    writer.numberMember("yradius", yradius_);
    writer.numberMember("theta", theta_);
    writer.endObject();
}

void MarqenDOMEllipse::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMVector::copyStateTo(target);
    auto &ellipse = static_cast<MarqenDOMEllipse &>(target);
    ellipse.center_ = center_;
    ellipse.xradius_ = xradius_;
    ellipse.yradius_ = yradius_;
    ellipse.theta_ = theta_;
    ellipse.start_ = start_;
    ellipse.end_ = end_;
}

}  // namespace marqen
