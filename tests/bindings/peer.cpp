// A bus client in C++ for the tests of the other languages' clients: peer.c says what it does.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "bus/CA.h"
#include "bus/M.h"
#include "system/JSystem.h"
#include "tests/bindings/workload.h"

namespace {

std::unique_ptr<M> waitForMessage(CA& bus) {
    for (;;) {
        std::unique_ptr<M> message(bus.get());
        if (message != nullptr) return message;
        bus.wait(-1);
    }
}

void sendNumbered(CA& bus, int id, int dest, unsigned number) {
    unsigned char payload[WORKLOAD_LONGEST];
    const int length = workload_fill(number, payload);
    M message;
    message.setSrcId(id);
    message.setDestId(dest);
    message.setPriority(1);  // as what tells that all has arrived: it must not overtake
    message.addBytes(payload, 0, length);
    bus.put(message);
}

/** A message to ourselves comes back when the server has read what was sent before. */
void roundTrip(CA& bus, int id) {
    sendNumbered(bus, id, id, 0);
    waitForMessage(bus);
}

int receiveAll(CA& bus, unsigned count) {
    for (unsigned number = 0; number < count; number++) {
        const JByte bytes = waitForMessage(bus)->toByteArray();
        const auto* payload =
            reinterpret_cast<const unsigned char*>(static_cast<const char*>(bytes)) + M::HEADER_SIZE;
        if (!workload_fits(number, payload, bytes.size() - M::HEADER_SIZE)) {
            std::printf("message %u is another one\n", number);
            return 1;
        }
    }
    std::puts("ok");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) return 2;
    JSystem::debug(false);
    const int id = std::atoi(argv[1]);
    CA bus(id, "127.0.0.1", std::atoi(argv[2]));
    bus.start();
    bus.connect();
    roundTrip(bus, id);
    const std::string task = argv[3];
    if (task == "send" && argc == 6) {
        const auto count = static_cast<unsigned>(std::atoi(argv[5]));
        for (unsigned number = 0; number < count; number++) sendNumbered(bus, id, std::atoi(argv[4]), number);
        roundTrip(bus, id);
        return 0;
    }
    if (task != "receive") return 2;
    std::puts("ready");
    std::fflush(stdout);
    return receiveAll(bus, static_cast<unsigned>(std::atoi(argv[4])));
}
