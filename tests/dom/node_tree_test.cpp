#include <gtest/gtest.h>

#include <map>
#include <set>

#include "dom/document.h"
#include "dom/node_class.h"
#include "dom/notifications.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"

using namespace marqen;

namespace {

// Records the names of node notifications posted for the given senders.
class NotificationRecorder {
public:
    NotificationRecorder() {
        token_ = NotificationCenter::defaultCenter().addObserver("", nullptr, [this](const Notification &n) {
            if (n.name.rfind("MarqenDOMNode", 0) == 0 && (watched_.empty() || watched_.count(n.object)))
                names_.push_back(n.name);
            last_[n.name] = n;
        });
    }
    void watch(const void *sender) { watched_.insert(sender); }
    const std::vector<std::string> &names() const { return names_; }
    const Notification &last(const std::string &name) { return last_.at(name); }
    void clear() { names_.clear(); }

private:
    NotificationToken token_;
    std::set<const void *> watched_;
    std::vector<std::string> names_;
    std::map<std::string, Notification> last_;
};

// A leaf kind with fixed bounds, standing in for the element kinds.
class TestBox : public MarqenDOMElement {
public:
    static std::shared_ptr<TestBox> create(CGRect bounds) {
        auto box = MarqenMakeNode<TestBox>();
        box->bounds_ = bounds;
        return box;
    }
    static const MarqenDOMNodeClass &classDescriptor() {
        static const MarqenDOMNodeClass descriptor{"TestBox", "", [] { return create(CGRectZero); }, nullptr,
                                                   &MarqenDOMElement::classDescriptor};
        return descriptor;
    }
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    CGRect contentBounds() const override { return bounds_; }
    MarqenDOMNodePtr detachLabelConnection() override {
        auto owner = labelled.lock();
        labelled.reset();
        return owner;
    }
    std::weak_ptr<MarqenDOMNode> labelled;

protected:
    TestBox() = default;

private:
    CGRect bounds_{};
};

// The annotation layer of a 100 × 100 page.
struct AnnotationLayer : ::testing::Test {
    std::shared_ptr<MarqenDOMDocument> document = MarqenDOMDocument::createWithSize({100, 100}, 1);
    std::shared_ptr<MarqenDOMLayer> layer = document->annotationLayer();
};

}  // namespace

TEST_F(AnnotationLayer, AddChildPostsTheExactSequenceAndUndoRemovesIt) {
    NotificationRecorder recorder;
    recorder.watch(layer.get());
    auto box = TestBox::create(CGRectMake(1, 2, 3, 4));
    layer->addChild(box);
    EXPECT_EQ(recorder.names(),
              (std::vector<std::string>{"MarqenDOMNodeWillChange", "MarqenDOMNodeWillChange", "MarqenDOMNodeDidChange",
                                        "MarqenDOMNodeContentBoundsDidChange", "MarqenDOMNodeDidAddChild",
                                        "MarqenDOMNodeDidChange"}));
    const Notification &added = recorder.last(MarqenDOMNodeDidAddChild);
    EXPECT_EQ(*added.value<std::shared_ptr<MarqenDOMNode>>(MarqenDOMNodeUserInfoChildKey), box);
    EXPECT_EQ(added.value<size_t>(MarqenDOMNodeUserInfoIndexKey), nullptr);
    const Notification &bounds = recorder.last(MarqenDOMNodeContentBoundsDidChange);
    EXPECT_EQ(*bounds.value<CGRect>(MarqenKeyValueChangeOldKey), CGRectZero);
    EXPECT_EQ(*bounds.value<CGRect>(MarqenKeyValueChangeNewKey), CGRectMake(1, 2, 3, 4));
    EXPECT_TRUE(document->needsSave());
    EXPECT_EQ(document->findNode(box->guid()), box);

    recorder.clear();
    document->undoManager()->undo();
    EXPECT_EQ(layer->childCount(), 0u);
    EXPECT_EQ(box->document(), nullptr);
    EXPECT_EQ(document->findNode(box->guid()), nullptr);
    EXPECT_EQ(recorder.names(),
              (std::vector<std::string>{"MarqenDOMNodeWillChange", "MarqenDOMNodeWillRemoveChild",
                                        "MarqenDOMNodeWillChange", "MarqenDOMNodeDidChange",
                                        "MarqenDOMNodeContentBoundsDidChange", "MarqenDOMNodeDidRemoveChild",
                                        "MarqenDOMNodeDidChange"}));
    document->undoManager()->redo();
    EXPECT_EQ(layer->childCount(), 1u);
    EXPECT_EQ(box->parent(), layer);
}

TEST_F(AnnotationLayer, InsertBeforeCarriesIndexAndClearsActive) {
    auto first = TestBox::create(CGRectZero), second = TestBox::create(CGRectZero);
    layer->addChild(first);
    NotificationRecorder recorder;
    std::vector<std::string> activity;
    auto token = NotificationCenter::defaultCenter().addObserver(MarqenDOMNodeDidBecomeInactive, second.get(),
                                                                 [&](const Notification &n) { activity.push_back(n.name); });
    second->setActive(true);
    second->setActive(true);  // no second post for the same value
    layer->addChild(second, first);
    EXPECT_EQ(layer->childAtIndex(0), second);
    EXPECT_EQ(*recorder.last(MarqenDOMNodeDidAddChild).value<size_t>(MarqenDOMNodeUserInfoIndexKey), 0u);
    EXPECT_FALSE(second->isActive());
    EXPECT_EQ(activity.size(), 1u);
    EXPECT_THROW(layer->addChild(TestBox::create(CGRectZero), TestBox::create(CGRectZero)), std::logic_error);
}

TEST(MarqenDOMNode, RemovedLabelComesBackInFrontOfItsNode) {
    auto document = MarqenDOMDocument::createWithSize({100, 100}, 1);
    auto layer = document->textLayer();
    auto owner = TestBox::create(CGRectZero), other = TestBox::create(CGRectZero), label = TestBox::create(CGRectZero);
    layer->addChild(other);
    layer->addChild(owner);
    layer->addChild(label);
    label->labelled = owner;
    owner->setLabelNode(label);
    EXPECT_EQ(owner->labelGUID(), label->guid());
    layer->removeChild(label);
    EXPECT_TRUE(label->labelled.expired());  // the link is broken on removal
    document->undoManager()->undo();
    ASSERT_EQ(layer->childCount(), 3u);
    EXPECT_EQ(layer->childAtIndex(1), label);
    EXPECT_EQ(layer->childAtIndex(2), owner);
}

TEST_F(AnnotationLayer, UndoGroupsReverseAndRedo) {
    auto *undo = document->undoManager();
    auto a = TestBox::create(CGRectZero), b = TestBox::create(CGRectZero);
    undo->beginUndoGrouping();
    layer->addChild(a);
    layer->addChild(b);
    undo->setActionName("Add Two");
    undo->endUndoGrouping();
    EXPECT_EQ(undo->undoActionName(), "Add Two");
    undo->undo();
    EXPECT_EQ(layer->childCount(), 0u);
    EXPECT_EQ(undo->redoActionName(), "Add Two");
    undo->redo();
    ASSERT_EQ(layer->childCount(), 2u);
    EXPECT_EQ(layer->childAtIndex(0), a);  // re-added in the original order
    EXPECT_EQ(layer->childAtIndex(1), b);
    // A new change clears the redo stack.
    undo->undo();
    layer->addChild(TestBox::create(CGRectZero));
    EXPECT_FALSE(undo->canRedo());
}

TEST_F(AnnotationLayer, DestroyedTargetsLeaveNoUndoActions) {
    auto *undo = document->undoManager();
    auto box = TestBox::create(CGRectZero);
    // Attached and detached without undo, so that no action of the layer keeps the box alive.
    undo->disableUndoRegistration();
    layer->addChild(box);
    layer->removeChild(box);
    undo->enableUndoRegistration();
    bool ran = false;
    undo->registerUndo(box.get(), [&ran] { ran = true; });
    undo->registerUndo(document.get(), [] {});
    ASSERT_EQ(undo->undoCount(), 2u);
    box.reset();  // the box is gone: an action aimed at it would run on freed memory
    EXPECT_EQ(undo->undoCount(), 1u);
    undo->undo();
    EXPECT_FALSE(ran);
}

TEST_F(AnnotationLayer, ArrangeMovesSecondAfterFirstWithoutUndo) {
    auto a = TestBox::create(CGRectZero), b = TestBox::create(CGRectZero), c = TestBox::create(CGRectZero);
    for (auto &node : {a, b, c}) layer->addChild(node);
    size_t before = document->undoManager()->undoCount();
    layer->arrangeChildren(a, c);
    EXPECT_EQ(layer->children(), (std::vector<MarqenDOMNodePtr>{a, c, b}));
    EXPECT_EQ(document->undoManager()->undoCount(), before);
    EXPECT_TRUE(c->isDescendantOf(document.get()));
    EXPECT_FALSE(document->isDescendantOf(c.get()));
    EXPECT_FALSE(c->isDescendantOf(nullptr));
}

TEST(MarqenDOMNode, MetadataObjectPostsNestedPairs) {
    auto layer = MarqenDOMLayer::create();
    NotificationRecorder recorder;
    recorder.watch(layer.get());
    layer->setMetadataObject("v", "k");
    EXPECT_EQ(recorder.names(), (std::vector<std::string>{"MarqenDOMNodeWillChange", "MarqenDOMNodeWillChange",
                                                          "MarqenDOMNodeDidChange", "MarqenDOMNodeDidChange"}));
    EXPECT_EQ(layer->metadata(), (MarqenJSON{{"k", "v"}}));
    layer->setMetadataObject(nullptr, "k");
    EXPECT_TRUE(layer->metadata().empty());
}

TEST(MarqenDOMNode, RotationAndScalingAboutAPivot) {
    // A layer passes the transform to its children; the recorder box keeps the last one.
    struct Recorder : TestBox {
        CGAffineTransform applied{};
        void applyTransform(const CGAffineTransform &t) override { applied = t; }
    };
    auto layer = MarqenDOMLayer::create();
    auto box = MarqenMakeNode<Recorder>();
    layer->addChild(box);
    layer->rotate(M_PI / 2, {10, 0});
    CGPoint moved = CGPointApplyAffineTransform({20, 0}, box->applied);
    EXPECT_NEAR(moved.x, 10, 1e-12);
    EXPECT_NEAR(moved.y, 10, 1e-12);
    layer->scale({2, 3}, {10, 10});
    CGPoint scaled = CGPointApplyAffineTransform({11, 11}, box->applied);
    EXPECT_NEAR(scaled.x, 12, 1e-12);
    EXPECT_NEAR(scaled.y, 13, 1e-12);
}

TEST(MarqenDOMNode, AbstractOperationsRaiseWithTheirReasons) {
    auto element = MarqenDOMElement::create();
    try {
        element->toolSizeAbsolute();
        FAIL();
    } catch (const std::logic_error &error) {
        EXPECT_STREQ(error.what(), "Abstract method must be implemented in class MarqenDOMElement");
    }
    EXPECT_EQ(element->jsonType(), "Element");
}

TEST(MarqenDOMNode, NormalizeKeepsTheBoundsOutsideTheRange) {
    EXPECT_EQ(MarqenDOMNodeNormalizeValue(15, 0, 10), 10);
    EXPECT_EQ(MarqenDOMNodeNormalizeValue(5, 0, 10), 0.5);
    EXPECT_EQ(MarqenDOMNodeNormalizeValue(1, 2, 10), 2);
    EXPECT_EQ(MarqenDOMNodeDenormalizeValue(1.5, 2, 4), 4);
    EXPECT_EQ(MarqenDOMNodeDenormalizeValue(-1, 2, 4), 2);
    EXPECT_EQ(MarqenDOMNodeDenormalizeValue(0.5, 2, 4), 3);
}

TEST(MarqenDOMNode, CopiesKeepGuidAndLayersCopyChildren) {
    auto layer = MarqenDOMLayer::create();
    layer->setLayerId("custom");
    layer->addChild(MarqenDOMLayer::create());
    auto copy = std::dynamic_pointer_cast<MarqenDOMLayer>(layer->copy());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->guid(), layer->guid());
    EXPECT_EQ(copy->layerId(), "custom");
    ASSERT_EQ(copy->childCount(), 1u);
    EXPECT_NE(copy->childAtIndex(0), layer->childAtIndex(0));
    EXPECT_EQ(copy->childAtIndex(0)->guid(), layer->childAtIndex(0)->guid());
    EXPECT_EQ(copy->style(), layer->style());  // styles are shared
}

TEST(MarqenDOMNode, ChildrenChangeRecordsFollowEveryListChange) {
    auto layer = MarqenDOMLayer::create();
    std::vector<MarqenChildrenChange> records;
    auto token = MarqenDOMKeyValueObservationCenter().addObserver(
        MarqenDOMNodeChildrenDidChange, layer.get(),
        [&](const Notification &n) { records.push_back(*n.value<MarqenChildrenChange>(MarqenDOMNodeUserInfoChangeKey)); });
    auto a = TestBox::create(CGRectZero), b = TestBox::create(CGRectZero), c = TestBox::create(CGRectZero);
    layer->addChild(a);
    layer->addChild(b, a);
    layer->replaceObjectInChildrenAtIndex(1, c);
    layer->removeChild(b);
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[1].kind, MarqenChildrenChangeKind::Insertion);
    EXPECT_EQ(records[1].indexes, std::vector<size_t>{0});
    EXPECT_EQ(records[2].kind, MarqenChildrenChangeKind::Replacement);
    EXPECT_EQ(records[2].oldNodes, std::vector<MarqenDOMNodePtr>{a});
    EXPECT_EQ(records[2].newNodes, std::vector<MarqenDOMNodePtr>{c});
    EXPECT_EQ(records[3].kind, MarqenChildrenChangeKind::Removal);
    EXPECT_EQ(records[3].oldNodes, std::vector<MarqenDOMNodePtr>{b});
}
