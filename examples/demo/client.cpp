// A bus client in C++ that reads from standard input what to send, and writes what it receives to standard output, line by
// line. The demonstration and the tests use it. client.c does the same in C. Usage: demo_client ID PORT
//
// It reads from standard input, until its end:
//     send DEST FLAG PRIORITY SECTION STAMP PAYLOAD
// and writes to standard output:
//     got SRC DEST FLAG PRIORITY SECTION STAMP LENGTH PAYLOAD     for each message, in the order of arrival
//     lost                                                        the connection could not be made, or is lost; the program ends
// The payload is hexadecimal, or - if it is empty; the other numbers are decimal. STAMP is used in TIMED messages only.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <poll.h>
#include <sstream>
#include <string>
#include <unistd.h>

#include "bus/CA.h"
#include "bus/M.h"

namespace {

constexpr int LOOK_UP_MS = 50;  ///< how often we look whether the connection is still there

std::string toHex(const JByte& bytes) {
    static const char digits[] = "0123456789abcdef";
    if (bytes.size() == 0) return "-";
    const auto* data = static_cast<const unsigned char*>(bytes);
    std::string hex;
    for (int i = 0; i < bytes.size(); i++) hex += {digits[data[i] >> 4], digits[data[i] & 15]};
    return hex;
}

int digit(char c) {
    return c <= '9' ? c - '0' : c - 'a' + 10;
}

std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(digit(hex[i]) << 4 | digit(hex[i + 1]));
    return bytes;
}

/** Called on the client's own thread after each message, so that there is just one to take. */
void print(CA* bus) {
    const std::unique_ptr<M> m(bus->get());
    m->setPos(M::HEADER_SIZE);
    const std::string payload = toHex(m->getBytes(m->size() - M::HEADER_SIZE));
    std::printf("got %d %d %d %d %d %d %d %s\n", m->getSrcId(), m->getDestId(), m->getFlag(),
                m->getPriority(), m->getSection(), m->getTimestamp(), m->getLength(), payload.c_str());
    std::fflush(stdout);
}

void obey(CA& bus, int id, const std::string& line) {
    std::istringstream words(line);
    std::string verb, payload;
    int dest = 0, flag = 0, priority = 0, section = 0, stamp = 0;
    words >> verb >> dest >> flag >> priority >> section >> stamp >> payload;
    if (!words || verb != "send") {
        std::fprintf(stderr, "demo_client: what is '%s'?\n", line.c_str());
        return;
    }
    M m;
    m.setSrcId(id);
    m.setDestId(dest);
    m.setFlag(flag);
    m.setPriority(priority);
    m.setTimestamp(stamp);
    m.setSection(section);
    const std::string bytes = fromHex(payload);  // a lone dash is no byte
    m.addBytes(bytes.data(), 0, static_cast<int>(bytes.size()));
    bus.put(m);
}

/** Executes the commands that can be read from standard input now; returns false at the end of the input. */
bool obeyInput(CA& bus, int id, std::string& unfinished) {
    char some[65536];
    const ssize_t n = read(STDIN_FILENO, some, sizeof some);
    if (n <= 0) return false;
    unfinished.append(some, static_cast<std::size_t>(n));
    std::size_t start = 0, end = 0;
    for (; (end = unfinished.find('\n', start)) != std::string::npos; start = end + 1)
        obey(bus, id, unfinished.substr(start, end - start));
    unfinished.erase(0, start);
    return true;
}

void serve(CA& bus, int id) {
    std::string unfinished;
    for (;;) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, LOOK_UP_MS) > 0 && !obeyInput(bus, id, unfinished)) return;
        if (bus.isConnected()) continue;
        std::puts("lost");
        std::fflush(stdout);
        return;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: demo_client ID PORT\n", stderr);
        return 2;
    }
    const int id = std::atoi(argv[1]);
    CA bus(id, "127.0.0.1", std::atoi(argv[2]));
    bus.setEventCallback(print);
    bus.start();
    bus.connect();
    serve(bus, id);
    return 0;
}
