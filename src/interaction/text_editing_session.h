#pragma once
// The text being typed into one text element: UTF-8 text with a caret and a selection (byte offsets on
// character boundaries), and the input method's uncommitted pre-edit text shown at the caret. Plain
// value; main thread by use.
#include <cstddef>
#include <string>

namespace marqen {

class MarqenTextEditingSession {
public:
    explicit MarqenTextEditingSession(std::string text = {});

    const std::string &text() const { return text_; }
    // The text with the pre-edit text at the caret: what is shown while composing.
    std::string displayText() const;
    size_t caret() const { return caret_; }
    size_t anchor() const { return anchor_; }
    bool hasSelection() const { return caret_ != anchor_; }
    const std::string &preedit() const { return preedit_; }

    // Invalid UTF-8 in inserted text is replaced by U+FFFD.
    void insert(const std::string &text);
    void setPreedit(const std::string &text);
    void deleteBackward();
    void deleteForward();
    void moveLeft(bool extend);
    void moveRight(bool extend);
    void moveToStart(bool extend);
    void moveToEnd(bool extend);
    void selectAll();
    // Any offset: held within the text and moved back onto a character boundary.
    void placeCaret(size_t offset, bool extend);

private:
    size_t previousBoundary(size_t offset) const;
    size_t nextBoundary(size_t offset) const;
    void deleteSelection();

    std::string text_, preedit_;
    size_t caret_ = 0, anchor_ = 0;
};

// Valid UTF-8: malformed sequences become U+FFFD.
std::string marqen_validUTF8(const std::string &text);

}  // namespace marqen
