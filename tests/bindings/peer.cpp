// A bus client in C++ for the tests of the other languages' clients. It does what peer.c does, and besides:
//
//     peer_cpp ID PORT ask DEST COUNT    sends as many messages, each after the answer to the one before, and says "ok"
//     peer_cpp ID PORT answer COUNT      says "ready", and answers as many messages with their own bytes
#include <chrono>
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

/** Says "ok" and the seconds since `begin`. */
int finish(std::chrono::steady_clock::time_point begin) {
    std::printf("ok %f\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    return 0;
}

void sayReady() {
    std::puts("ready");
    std::fflush(stdout);
}

int sendAll(CA& bus, int id, int dest, unsigned count) {
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned number = 0; number < count; number++) sendNumbered(bus, id, dest, number);
    roundTrip(bus, id);
    return finish(begin);
}

int receiveAll(CA& bus, unsigned count) {
    sayReady();
    auto begin = std::chrono::steady_clock::now();
    for (unsigned number = 0; number < count; number++) {
        const JByte bytes = waitForMessage(bus)->toByteArray();
        if (number == 0) begin = std::chrono::steady_clock::now();
        const auto* payload =
            reinterpret_cast<const unsigned char*>(static_cast<const char*>(bytes)) + M::HEADER_SIZE;
        if (!workload_fits(number, payload, bytes.size() - M::HEADER_SIZE)) {
            std::printf("message %u is another one\n", number);
            return 1;
        }
    }
    return finish(begin);
}

int askAll(CA& bus, int id, int dest, unsigned count) {
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned number = 0; number < count; number++) {
        sendNumbered(bus, id, dest, number);
        waitForMessage(bus);
    }
    return finish(begin);
}

int answerAll(CA& bus, int id, unsigned count) {
    sayReady();
    for (unsigned number = 0; number < count; number++) {
        const std::unique_ptr<M> message = waitForMessage(bus);
        message->setDestId(message->getSrcId());
        message->setSrcId(id);
        bus.put(*message);
    }
    roundTrip(bus, id);
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
    const auto count = static_cast<unsigned>(std::atoi(argv[argc - 1]));
    if (task == "send") return sendAll(bus, id, std::atoi(argv[4]), count);
    if (task == "receive") return receiveAll(bus, count);
    if (task == "ask") return askAll(bus, id, std::atoi(argv[4]), count);
    if (task == "answer") return answerAll(bus, id, count);
    return 2;
}
