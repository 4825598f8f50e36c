#pragma once
// Helpers shared by the vector element tests.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dom/document.h"
#include "dom/node_class.h"
#include "dom/vector.h"
#include "dom/notifications.h"
#include "foundation/bezier_path.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"

namespace marqen::test {

// Records the node notifications posted for one sender.
class SenderNotifications {
public:
    explicit SenderNotifications(const void *sender) : sender_(sender) {
        token_ = NotificationCenter::defaultCenter().addObserver("", nullptr, [this](const Notification &n) {
            if (n.object == sender_ && n.name.rfind("MarqenDOM", 0) == 0) names_.push_back(n.name);
        });
    }
    const std::vector<std::string> &names() const { return names_; }
    size_t count(const std::string &name) const {
        size_t n = 0;
        for (const auto &each : names_) n += each == name;
        return n;
    }
    void clear() { names_.clear(); }

private:
    const void *sender_;
    NotificationToken token_;
    std::vector<std::string> names_;
};

// A 1000×800 document at content scale 1, with the node added to it and the undo history cleared.
inline std::shared_ptr<MarqenDOMDocument> documentHolding(const MarqenDOMNodePtr &node) {
    auto document = MarqenDOMDocument::createWithSize({1000, 800}, 1);
    document->setContentScaleFactor(1.0);
    if (node) document->addNode(node);
    document->undoManager()->removeAllActions();
    document->setNeedsSave(false);
    return document;
}

// Reads a node from its dictionary as the given kind (null when it reads as something else).
template <class Kind>
std::shared_ptr<Kind> readAs(const MarqenJSON &dictionary) {
    return std::dynamic_pointer_cast<Kind>(MarqenDOMNode::nodeWithDictionary(dictionary));
}

// A press at `from`, one drag step to `to` and the release there.
template <class Shape>
void drag(Shape &shape, CGPoint from, CGPoint to, MarqenVectorDrawingOptions options = 0,
          CGAffineTransform viewToModel = CGAffineTransformIdentity) {
    shape.beginAtPoint(from);
    shape.appendPoint(to, {}, options);
    shape.endAtPoint(to, {}, options, viewToModel);
}

inline void expectPointNear(CGPoint actual, CGPoint expected, double tolerance = 1e-9) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
}

// The path's elements as a compact text: "M0,0 L1,1 C... Z".
inline std::string describePath(const MarqenBezierPath &path, int decimals = 3) {
    std::string text;
    char buffer[64];
    for (const auto &element : path.elements()) {
        if (!text.empty()) text += ' ';
        switch (element.type) {
            case MarqenPathElementType::MoveToPoint: text += 'M'; break;
            case MarqenPathElementType::AddLineToPoint: text += 'L'; break;
            case MarqenPathElementType::AddQuadCurveToPoint: text += 'Q'; break;
            case MarqenPathElementType::AddCurveToPoint: text += 'C'; break;
            case MarqenPathElementType::CloseSubpath: text += 'Z'; continue;
        }
        for (int i = 0; i < element.pointCount(); ++i) {
            std::snprintf(buffer, sizeof buffer, "%s%.*f,%.*f", i ? " " : "", decimals, element.points[i].x + 0.0,
                          decimals, element.points[i].y + 0.0);
            text += buffer;
        }
    }
    return text;
}

}  // namespace marqen::test
