/** @file Bus messages as they stand on the wire, made and taken apart without the library. */
#ifndef JAY_TESTS_BUS_WIRE_H
#define JAY_TESTS_BUS_WIRE_H

#include <cstddef>
#include <ostream>
#include <string>

#include "bus/M.h"

namespace bus {

constexpr int SYNC = 1;
constexpr int BROADCAST = 2;
constexpr int TIMED = 4;

constexpr std::size_t HEADER = 16;

/** One message: to(7).from(5).says("hello"). The length is the true one unless a test claims another. */
struct Wire {
    int length = -1;
    int dest = 0;
    int src = 0;
    int flag = 0;
    int priority = 0;
    unsigned stamp = 0;
    unsigned section = 0;
    std::string payload;

    Wire& to(int id) { return dest = id, *this; }
    Wire& from(int id) { return src = id, *this; }
    Wire& flagged(int bits) { return flag = bits, *this; }
    Wire& urgency(int number) { return priority = number, *this; }
    Wire& stamped(unsigned ms) { return stamp = ms, *this; }
    Wire& about(unsigned number) { return section = number, *this; }
    Wire& says(const std::string& text) { return payload = text, *this; }
    Wire& claims(int bytes) { return length = bytes, *this; }

    std::string bytes() const {
        std::string b;
        add(b, length >= 0 ? static_cast<unsigned>(length) : static_cast<unsigned>(HEADER + payload.size()),
            2);
        add(b, static_cast<unsigned>(dest), 2);
        add(b, static_cast<unsigned>(src), 2);
        add(b, static_cast<unsigned>(flag), 1);
        add(b, static_cast<unsigned>(priority), 1);
        add(b, stamp, 4);
        add(b, section, 4);
        return b + payload;
    }

    /** Of 16 bytes and what follows them. */
    static Wire parse(const std::string& b) {
        Wire w;
        w.length = static_cast<int>(number(b, 0, 2));
        w.dest = static_cast<int>(number(b, 2, 2));
        w.src = static_cast<int>(number(b, 4, 2));
        w.flag = static_cast<int>(number(b, 6, 1));
        w.priority = static_cast<int>(number(b, 7, 1));
        w.stamp = number(b, 8, 4);
        w.section = number(b, 12, 4);
        if (b.size() > HEADER) w.payload = b.substr(HEADER);
        return w;
    }

    bool operator==(const Wire& other) const { return bytes() == other.bytes(); }

private:
    static void add(std::string& b, unsigned value, int size) {
        for (int i = 0; i < size; i++) b += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    static unsigned number(const std::string& b, std::size_t at, std::size_t size) {
        unsigned value = 0;
        for (std::size_t i = size; i-- > 0;)
            value = value << 8 | (at + i < b.size() ? static_cast<unsigned char>(b[at + i]) : 0U);
        return value;
    }
};

inline Wire to(int id) {
    return Wire().to(id);
}

/** What agent 0 is sent to bring a client up. */
inline Wire wakeUp(int client, int askedFor) {
    return to(client).from(askedFor).flagged(SYNC);
}

/** The library's message with the same bytes. */
inline M message(const Wire& w) {
    std::string b = w.bytes();
    return M(&b[0], 0, static_cast<int>(b.size()));
}

inline Wire wire(M& m) {
    const JByte b = m.toByteArray();
    return Wire::parse(std::string(static_cast<const char*>(b), static_cast<std::size_t>(b.size())));
}

/** For GoogleTest. */
inline void PrintTo(const Wire& w, std::ostream* out) {
    *out << "length " << w.length << " to " << w.dest << " from " << w.src << " flag " << w.flag
         << " priority " << w.priority << " stamp " << w.stamp << " section " << w.section << " payload of "
         << w.payload.size() << ": " << w.payload.substr(0, 60);
}

}  // namespace bus

#endif
