#include "interaction/text_editing_session.h"

#include <algorithm>

#include "foundation/utf8.h"

namespace marqen {

namespace {
bool isContinuationByte(unsigned char c) { return (c & 0xC0) == 0x80; }
}  // namespace

std::string marqen_validUTF8(const std::string &text) { return marqen_encodeUTF8(marqen_decodeUTF8(text)); }

MarqenTextEditingSession::MarqenTextEditingSession(std::string text) : text_(marqen_validUTF8(text)) {
    caret_ = anchor_ = text_.size();
}

std::string MarqenTextEditingSession::displayText() const {
    if (preedit_.empty()) return text_;
    std::string shown = text_;
    shown.insert(caret_, preedit_);
    return shown;
}

size_t MarqenTextEditingSession::previousBoundary(size_t offset) const {
    if (offset == 0) return 0;
    --offset;
    while (offset > 0 && isContinuationByte(static_cast<unsigned char>(text_[offset]))) --offset;
    return offset;
}

size_t MarqenTextEditingSession::nextBoundary(size_t offset) const {
    if (offset >= text_.size()) return text_.size();
    ++offset;
    while (offset < text_.size() && isContinuationByte(static_cast<unsigned char>(text_[offset]))) ++offset;
    return offset;
}

void MarqenTextEditingSession::deleteSelection() {
    size_t from = std::min(caret_, anchor_), to = std::max(caret_, anchor_);
    text_.erase(from, to - from);
    caret_ = anchor_ = from;
}

void MarqenTextEditingSession::insert(const std::string &text) {
    preedit_.clear();
    deleteSelection();
    std::string valid = marqen_validUTF8(text);
    text_.insert(caret_, valid);
    caret_ = anchor_ = caret_ + valid.size();
}

void MarqenTextEditingSession::setPreedit(const std::string &text) {
    if (!text.empty()) deleteSelection();
    preedit_ = marqen_validUTF8(text);
}

void MarqenTextEditingSession::deleteBackward() {
    if (!hasSelection()) anchor_ = previousBoundary(caret_);
    deleteSelection();
}

void MarqenTextEditingSession::deleteForward() {
    if (!hasSelection()) anchor_ = nextBoundary(caret_);
    deleteSelection();
}

void MarqenTextEditingSession::moveLeft(bool extend) {
    if (hasSelection() && !extend) {
        caret_ = anchor_ = std::min(caret_, anchor_);
        return;
    }
    caret_ = previousBoundary(caret_);
    if (!extend) anchor_ = caret_;
}

void MarqenTextEditingSession::moveRight(bool extend) {
    if (hasSelection() && !extend) {
        caret_ = anchor_ = std::max(caret_, anchor_);
        return;
    }
    caret_ = nextBoundary(caret_);
    if (!extend) anchor_ = caret_;
}

void MarqenTextEditingSession::moveToStart(bool extend) { placeCaret(0, extend); }

void MarqenTextEditingSession::moveToEnd(bool extend) { placeCaret(text_.size(), extend); }

void MarqenTextEditingSession::selectAll() {
    anchor_ = 0;
    caret_ = text_.size();
}

void MarqenTextEditingSession::placeCaret(size_t offset, bool extend) {
    offset = std::min(offset, text_.size());
    while (offset > 0 && offset < text_.size() && isContinuationByte(static_cast<unsigned char>(text_[offset]))) --offset;
    caret_ = offset;
    if (!extend) anchor_ = caret_;
}

}  // namespace marqen
