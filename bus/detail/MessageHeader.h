#ifndef JAY_BUS_DETAIL_MESSAGEHEADER_H
#define JAY_BUS_DETAIL_MESSAGEHEADER_H

#include "bus/detail/MessageLayout.h"
#include "bus/M.h"

namespace jay::detail {

/** What the server routes by, read at once. */
struct MessageHeader {
    int dest;
    int src;
    int flag;
    int priority;

    static MessageHeader of(M& m) {
        using Layout = MessageLayout;
        const char* const bytes = m.header();
        if (bytes == nullptr) return {m.getDestId(), m.getSrcId(), m.getFlag(), m.getPriority()};
        return {Layout::wordAt(bytes, Layout::DEST), Layout::wordAt(bytes, Layout::SRC),
                static_cast<int>(Layout::byteAt(bytes, Layout::FLAG)),
                static_cast<int>(Layout::byteAt(bytes, Layout::PRIORITY))};
    }
};

}  // namespace jay::detail

#endif
