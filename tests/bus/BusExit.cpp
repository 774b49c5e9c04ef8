// A process that ends as many do: without taking anything down. A server with clients and a half-said greeting, clients
// that nobody closes, threads that wait. It must end at once, with its own status, and cleanly under the sanitizers.

#include <arpa/inet.h>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bus/CA.h"
#include "bus/ca.h"
#include "bus/SM.h"
#include "net/JSocket.h"
#include "system/JSystem.h"

namespace {

constexpr int STATUS = 7;

int freePort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (bind(fd, any, size) != 0 || getsockname(fd, any, &size) != 0) _exit(1);
    close(fd);
    return ntohs(address.sin_port);
}

/** Waits for a message that never comes. */
class Waiter : public JThread {
public:
    explicit Waiter(CA* client) : client_(client) {}
    void run() override { client_->wait(-1); }

private:
    CA* client_;
};

bool serves(SM& server) {
    server.start();
    return server.waitUntilListening(30000) == 0;
}

}  // namespace

int main() {
    JSystem::debug(false);
    const int port = freePort();
    SM* server = new SM(port);
    if (!serves(*server)) return 1;

    CA* client = new CA(5, "127.0.0.1", port);
    client->start();
    client->connect();
#ifndef __SANITIZE_THREAD__
    // Their threads are cancelled, and ThreadSanitizer misses what a cancelled thread unlocks while it is unwound.
    SM serverOnStack(freePort());
    CA onStack(6, "127.0.0.1", port);
    if (!serves(serverOnStack)) return 1;
    onStack.start();
    onStack.connect();
#endif
    (new Waiter(client))->start();

    (new CA(8, "127.0.0.1", 1))->start();  // never connected

    const ca_handle open = ca_open(7, "127.0.0.1", port);
    unsigned char message[16] = {16, 0, 7, 0, 5, 0};
    M wakeUp(message, 0, sizeof message);
    client->put(wakeUp);
    while (ca_read(open, message, sizeof message) == 0) JSystem::sleep(1);  // the bus is alive

    JSocket silent("127.0.0.1", port);
    if (!silent.connect()) return 1;
    JByte half("12345678", 0, 8);
    silent.getOutputStream()->write(half);
    exit(STATUS);
}
