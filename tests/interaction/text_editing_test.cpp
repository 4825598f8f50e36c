#include <gtest/gtest.h>

#include "dom/text.h"
#include "interaction/page_view.h"
#include "interaction/text_editing_session.h"
#include "platform/text_layout.h"

using namespace marqen;

TEST(TextEditingSession, CaretAndSelectionKeepToCharacterBoundaries) {
    MarqenTextEditingSession session("h\u00e9llo");  // é is two bytes
    EXPECT_EQ(session.caret(), 6u);
    session.moveToStart(false);
    session.moveRight(false);
    session.moveRight(true);  // selects é
    EXPECT_EQ(session.anchor(), 1u);
    EXPECT_EQ(session.caret(), 3u);
    session.insert("E");
    EXPECT_EQ(session.text(), "hEllo");
    session.placeCaret(100, false);
    EXPECT_EQ(session.caret(), 5u);
    session.deleteBackward();
    EXPECT_EQ(session.text(), "hEll");

    MarqenTextEditingSession emoji("a\U0001F600b");
    emoji.placeCaret(3, false);  // inside the four-byte character: back to its start
    EXPECT_EQ(emoji.caret(), 1u);
    emoji.deleteForward();
    EXPECT_EQ(emoji.text(), "ab");

    session.setPreedit("ka");
    EXPECT_EQ(session.displayText(), "hEllka");
    EXPECT_EQ(session.text(), "hEll");
    session.insert("\u304b");  // the input method commits
    EXPECT_EQ(session.text(), "hEll\u304b");
    EXPECT_EQ(session.displayText(), session.text());

    MarqenTextEditingSession broken;
    broken.insert(std::string("a\xff" "b", 3));
    EXPECT_EQ(broken.text(), "a\uFFFDb");
    broken.selectAll();
    broken.deleteBackward();
    EXPECT_EQ(broken.text(), "");
    broken.deleteBackward();
    broken.moveLeft(false);
    EXPECT_EQ(broken.caret(), 0u);
}

namespace {

class TextEditingTest : public test::PageViewTest {
protected:
    void click(CGFloat x, CGFloat y, unsigned count = 1) { PageView::click({x, y}, 0, count); }
    std::vector<MarqenDOMNodePtr> texts() const { return document->textLayer()->children(); }
};

}  // namespace

TEST_F(TextEditingTest, TextToolTypesComposesAndFinishesAsOneStep) {
    tool(MarqenToolIDText);
    click(100, 100);
    ASSERT_TRUE(view.isEditingText());
    auto text = view.editingText();
    EXPECT_TRUE(text->editingInProgress());
    view.insertText("Hello");
    view.keyPressed({"Return"});
    view.insertText("wrld");
    view.keyPressed({"Left"});
    view.keyPressed({"Left"});
    view.keyPressed({"Left"});
    view.setPreeditText("o");
    EXPECT_EQ(text->text(), "Hello\nworld");  // shown with the pre-edit at the caret…
    EXPECT_EQ(view.textCaret(), 7u);          // …which is not committed yet
    view.setPreeditText("");
    EXPECT_EQ(text->text(), "Hello\nwrld");
    view.insertText("o");
    EXPECT_EQ(text->text(), "Hello\nworld");
    EXPECT_EQ(view.textCaret(), 8u);
    EXPECT_EQ(undo->undoCount(), 0u);  // nothing registered while typing

    view.keyPressed({"Escape"});
    EXPECT_FALSE(view.isEditingText());
    EXPECT_FALSE(text->editingInProgress());
    ASSERT_EQ(texts().size(), 1u);
    EXPECT_EQ(undo->undoCount(), 1u);
    EXPECT_EQ(view.selectedElements().size(), 1u);
    expectLastStep("Add Text", start);
}

TEST_F(TextEditingTest, AnEmptyTextIsRemovedWhenEditingEnds) {
    tool(MarqenToolIDText);
    click(100, 100);
    ASSERT_TRUE(view.isEditingText());
    view.insertText("x");
    view.keyPressed({"BackSpace"});
    click(700, 500);  // a press outside ends editing
    EXPECT_FALSE(view.isEditingText());
    EXPECT_TRUE(texts().empty());
    EXPECT_EQ(undo->undoCount(), 0u);
    EXPECT_EQ(json(), start);
    EXPECT_TRUE(undo->isUndoRegistrationEnabled());
}

TEST_F(TextEditingTest, TypingWithNothingSelectedFollowsThePreference) {
    EXPECT_FALSE(view.insertText("Note"));  // off unless asked for
    EXPECT_TRUE(texts().empty());
    preferences.setBool(kMarqenPreferenceTypingCreatesTextAnnotation, true);
    EXPECT_TRUE(view.insertText("Note"));
    ASSERT_TRUE(view.isEditingText());
    view.endTextEditing();
    ASSERT_EQ(texts().size(), 1u);
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(texts()[0]);
    EXPECT_EQ(text->text(), "Note");

    view.clearNodeSelection();
    preferences.setBool(kMarqenPreferenceTypingCreatesTextAnnotation, false);
    EXPECT_FALSE(view.insertText("more"));
    EXPECT_EQ(texts().size(), 1u);
}

TEST_F(TextEditingTest, DoubleClickEditsAgainWithTheCaretWherePressed) {
    tool(MarqenToolIDText);
    click(100, 100);
    view.insertText("abcdefgh");
    view.keyPressed({"Escape"});
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(texts()[0]);
    std::string added = json();
    tool(MarqenToolIDArrow);

    CGRect bounds = text->textBounds();
    click(CGRectGetMinX(bounds) + 1, CGRectGetMidY(bounds), 2);
    ASSERT_TRUE(view.isEditingText());
    EXPECT_EQ(view.textCaret(), 0u);  // pressed before the first letter
    click(CGRectGetMaxX(bounds) - 1, CGRectGetMidY(bounds));
    EXPECT_EQ(view.textCaret(), 8u);  // pressed after the last letter
    view.keyPressed({"Left", MarqenModifierShift});
    view.keyPressed({"Left", MarqenModifierShift});
    EXPECT_EQ(view.textSelectionRange(), (std::pair<size_t, size_t>{6, 8}));
    view.insertText("!");
    view.keyPressed({"Escape"});
    EXPECT_EQ(text->text(), "abcdef!");
    EXPECT_EQ(undo->undoCount(), 2u);
    expectLastStep("Typing", added);
}

namespace {
// The size a layout gives a string in the text's own font and line height: an independent measure of
// how far the caret should move.
CGSize measured(const std::string &string, const MarqenDOMText &text) {
    MarqenTextAttributes attributes;
    attributes.fontName = text.stringAttributes()->fontName;
    attributes.fontSize = text.stringAttributes()->fontSize;
    attributes.lineHeightMultiple = text.stringAttributes()->lineHeightMultiple;
    return MarqenTextLayout(string, attributes).suggestedSize();
}
CGFloat advanceOf(const std::string &string, const MarqenDOMText &text) { return measured(string, text).width; }
}  // namespace

TEST_F(TextEditingTest, TheCaretStandsAfterTheLastTypedGlyphInViewPixels) {
    view.setZoom(2);
    view.setPan({30, 40});
    int redraws = 0;
    view.setDelegate({[&](CGRect) { ++redraws; }, nullptr, nullptr});
    EXPECT_FALSE(view.textCaretInView());  // nothing is being edited
    tool(MarqenToolIDText);
    click(300, 200);
    ASSERT_TRUE(view.isEditingText());
    auto text = view.editingText();
    const CGAffineTransform toView = view.modelToViewTransform();

    // An empty text: the caret at the start of its line, a line of the font tall at zoom 2.
    auto empty = view.textCaretInView();
    ASSERT_TRUE(empty);
    const CGRect bounds = CGRectApplyAffineTransform(text->textBounds(), toView);
    EXPECT_NEAR(empty->top.x, CGRectGetMinX(bounds), 0.01);
    EXPECT_NEAR(empty->top.y, CGRectGetMinY(bounds), 0.01);
    EXPECT_NEAR(empty->bottom.x, empty->top.x, 1e-9);
    EXPECT_GT(empty->bottom.y - empty->top.y, text->stringAttributes()->fontSize * 2 * 0.9);
    EXPECT_EQ(empty->viewRect.size.width, 0);

    view.insertText("A");
    const auto afterA = view.textCaretInView();
    ASSERT_TRUE(afterA);
    EXPECT_NEAR(afterA->top.x - empty->top.x, advanceOf("A", *text) * 2, 0.02);
    redraws = 0;
    view.insertText("W");
    const auto afterW = view.textCaretInView();
    ASSERT_TRUE(afterW);
    EXPECT_GT(redraws, 0);
    // Moved right by the advance of the W (kerning of "AW" apart: measured on the pair), on the same line.
    EXPECT_NEAR(afterW->top.x - empty->top.x, advanceOf("AW", *text) * 2, 0.02);
    EXPECT_GT(afterW->top.x - afterA->top.x, advanceOf("W", *text) * 2 * 0.8);
    EXPECT_NEAR(afterW->top.y, afterA->top.y, 1e-6);

    // The arrow keys and the pre-edit text move it; composing puts it after what is being composed. The
    // A is kerned against the W that follows it now: the caret after it stands where the W begins.
    view.keyPressed({"Left"});
    EXPECT_NEAR(view.textCaretInView()->top.x - empty->top.x, (advanceOf("AW", *text) - advanceOf("W", *text)) * 2, 0.02);
    view.setPreeditText("W");
    EXPECT_NEAR(view.textCaretInView()->top.x - empty->top.x, (advanceOf("AWW", *text) - advanceOf("W", *text)) * 2, 0.02);
    view.setPreeditText("");
    view.keyPressed({"End"});
    view.keyPressed({"Return"});
    const auto secondLine = view.textCaretInView();
    EXPECT_NEAR(secondLine->top.x, empty->top.x, 0.01);
    const CGFloat linePitch = measured("A\nA", *text).height - measured("A", *text).height;
    EXPECT_NEAR(secondLine->top.y - afterW->top.y, linePitch * 2, 0.02);

    // A selection shows as a selection, not as a caret; panning moves the caret with the page.
    view.keyPressed({"Left", MarqenModifierShift});
    EXPECT_FALSE(view.textCaretInView());
    view.keyPressed({"End"});
    view.setPan({130, 40});
    EXPECT_NEAR(view.textCaretInView()->top.x, secondLine->top.x + 100, 0.01);
    view.endTextEditing();
    EXPECT_FALSE(view.textCaretInView());
}
