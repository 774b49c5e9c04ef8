// Client 5 sends a greeting to client 7.
//
//     c++ -std=c++17 hello_sender.cpp $(pkg-config --cflags --libs jay) -o hello_sender
//     ./hello_sender [PORT]        (while a server runs: jayd)
#include <cstdio>
#include <cstdlib>

#include "bus/CA.h"
#include "bus/M.h"

namespace {

constexpr int OUR_ID = 5;
constexpr int THEIR_ID = 7;

}  // namespace

int main(int argc, char** argv) {
    const int port = argc > 1 ? std::atoi(argv[1]) : 23117;

    CA bus(OUR_ID, "127.0.0.1", port);
    bus.start();
    bus.connect();
    if (!bus.isConnected()) {  // the result of connect() does not say whether a server listens there
        std::fprintf(stderr, "cannot reach a bus server on port %d\n", port);
        return 1;
    }

    M greeting;
    greeting.setSrcId(OUR_ID);
    greeting.setDestId(THEIR_ID);
    greeting.addString("hello from C++");
    if (bus.put(greeting) == 0) {
        std::fprintf(stderr, "the connection is lost\n");
        return 1;
    }
    std::printf("client %d said: hello from C++\n", OUR_ID);
    return 0;  // the destructor of the client waits until the server has read the greeting
}
