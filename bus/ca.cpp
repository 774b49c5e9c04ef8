#include "bus/ca.h"

#include <memory>

#include "bus/CA.h"
#include "system/JSystem.h"

namespace {

constexpr int LEAST_LENGTH = 8;  ///< not the 16 of a header: kept, callers rely on it

CA* clientOf(ca_handle handle) {
    return static_cast<CA*>(handle);
}

}  // namespace

ca_handle ca_open(int id, const char* host, int port) {
    CA* client = new CA(id, host, port);
    client->start();
    client->connect();
    return client;
}

void ca_close(ca_handle handle) {
    delete clientOf(handle);
}

int ca_write(ca_handle handle, void* buf, int len) {
    if (handle == nullptr) return -1;
    if (buf == nullptr || len < LEAST_LENGTH) return 0;
    M m(buf, 0, len);
    clientOf(handle)->put(m);  // its result is not looked at: kept
    m.copyTo(buf, len);
    return len;
}

int ca_read(ca_handle handle, void* buf, int size) {
    if (handle == nullptr) return -1;
    if (buf == nullptr) return 0;
    const std::unique_ptr<M> m(clientOf(handle)->get());
    return m != nullptr ? m->copyTo(buf, size) : 0;
}

int ca_peek(ca_handle handle, void* buf, int size) {
    if (handle == nullptr) return -1;
    if (buf == nullptr) return 0;
    const std::unique_ptr<M> m(clientOf(handle)->copyNext());
    return m != nullptr ? m->copyTo(buf, size) : 0;
}

void ca_next(ca_handle handle) {
    if (handle != nullptr) clientOf(handle)->next();
}

void ca_dump(const char* buf, int len) {
    JSystem::dump(buf, len);
}
