// Client 5 sends a greeting to client 7, and ends once the server has it.
//
//     c++ -std=c++17 -I. examples/hello_sender.cpp -Lbuild/release -ljay -o hello_sender
//     ./hello_sender [PORT]        (with a jayd running; LD_LIBRARY_PATH=build/release while Jay is not installed)
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bus/CA.h"
#include "bus/M.h"

namespace {

constexpr int OUR_ID = 5;
constexpr int THEIR_ID = 7;
constexpr int PATIENCE_MS = 5000;

M messageTo(int dest, const char* text) {
    M message;
    message.setSrcId(OUR_ID);
    message.setDestId(dest);
    message.addString(text);
    return message;
}

/**
 * Closing a connection gives up what has not been transmitted yet. So a program that wants to end sends a message
 * to itself last: when it is back, the server has read everything before it.
 */
bool serverHasAll(CA& bus) {
    M echo = messageTo(OUR_ID, "");
    bus.put(echo);
    while (bus.wait(PATIENCE_MS) > 0) {
        const std::unique_ptr<M> message(bus.get());  // a message that was taken is ours to delete
        if (message != nullptr && message->getSrcId() == OUR_ID) return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    const int port = argc > 1 ? std::atoi(argv[1]) : 23117;

    CA bus(OUR_ID, "127.0.0.1", port);
    bus.start();
    bus.connect();
    if (!bus.isConnected()) {
        std::fprintf(stderr, "cannot reach a bus server on port %d\n", port);
        return 1;
    }

    M greeting = messageTo(THEIR_ID, "hello from C++");
    bus.put(greeting);
    if (!serverHasAll(bus)) {
        std::fprintf(stderr, "the server did not answer\n");
        return 1;
    }
    std::printf("client %d said: hello from C++\n", OUR_ID);
    return 0;
}
