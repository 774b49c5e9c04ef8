#include "database/detail/RecordWalk.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/JByte.h"
#include "database/detail/RecordLayout.h"

namespace jay::detail {

namespace {

constexpr int HEAD_SIZE = RecordLayout::TEXT_OFFSET;  ///< length and id

}  // namespace

RecordWalk::RecordWalk(const FileBytes& file)
    : file_(file), fileSize_(file.size()), following_(RecordLayout::HEADER_SIZE) {
}

RecordWalk::Step RecordWalk::next() {
    offset_ = following_;
    if (fileSize_ < 0) return FAILED;
    const char* head = fetch(offset_, HEAD_SIZE, headHeld_);
    if (headHeld_ < 0) return FAILED;
    if (headHeld_ < RecordLayout::INT_SIZE) return END;
    length_ = RecordLayout::intAt(head);
    bodySize_ = std::clamp(fileSize_ - offset_ - RecordLayout::INT_SIZE, 0, std::max(length_, 0));
    if (headHeld_ == HEAD_SIZE) id_ = RecordLayout::intAt(head + RecordLayout::ID_OFFSET);
    following_ = offset_ + RecordLayout::INT_SIZE + bodySize_;
    assert(following_ <= fileSize_);  // each step moves on, and stays in the file
    return RECORD;
}

bool RecordWalk::hasId() const {
    return headHeld_ == HEAD_SIZE && bodySize_ >= RecordLayout::INT_SIZE;
}

bool RecordWalk::readInto(JMessage& message) {
    JByte body(bodySize_);
    if (file_.read(offset_ + RecordLayout::INT_SIZE, body, bodySize_) < bodySize_) return false;
    message.addInt(offset_);
    message.addInt(length_);
    message.addBytes(body);
    return true;
}

JString RecordWalk::textOf(const JMessage& found) {
    JMessage exact(found);  // ends with the record, whatever the found message holds behind it
    exact.getInt();         // offset
    exact.getInt();         // length
    exact.getInt();         // id
    return exact.getString();
}

bool RecordWalk::readInto(JString& text) {
    if (bodySize_ <= WINDOW_SIZE) {
        int held = 0;
        char* body = fetch(offset_ + RecordLayout::INT_SIZE, bodySize_, held);
        if (held < bodySize_) return false;
        if (takeText(body, text)) return true;
    }
    JMessage message;
    if (!readInto(message)) return false;
    text = textOf(message);
    return true;
}

/**
 * Takes a text of fewer than 254 bytes that lies within its record: the usual case, without a message in between. The string is
 * assigned from the window, where it is terminated meanwhile: that costs one allocation instead of two.
 */
bool RecordWalk::takeText(char* body, JString& text) const {
    const int start = RecordLayout::INT_SIZE + 1;  // after the id and a text length of one byte
    if (bodySize_ < start) return false;
    const auto length = static_cast<unsigned char>(body[start - 1]);
    if (RecordLayout::sizeOfTextLength(length) != 1 || length > bodySize_ - start) return false;
    char* const terminator = body + start + length;
    const char saved = std::exchange(*terminator, '\0');
    text = body + start;
    *terminator = saved;
    return true;
}

/** The file's bytes from an offset on. `held` becomes their number, fewer than `count` at the file's end, -1 after an error. */
char* RecordWalk::fetch(int offset, int count, int& held) {
    const int left = std::max(fileSize_ - offset, 0);
    count = std::min(count, left);
    assert(offset >= windowStart_);  // a walk never goes back
    if (count > windowStart_ + windowHeld_ - offset) {
        windowStart_ = offset;
        windowHeld_ = file_.read(offset, window_, std::min(WINDOW_SIZE, left));
    }
    held = windowHeld_ < 0 ? -1 : std::min(windowStart_ + windowHeld_ - offset, count);
    return window_ + (offset - windowStart_);
}

}  // namespace jay::detail
