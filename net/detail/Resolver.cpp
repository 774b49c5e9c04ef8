#include "net/detail/Resolver.h"

#include <arpa/inet.h>
#include <cstring>
#include <mutex>
#include <netdb.h>
#include <sys/socket.h>

#include "thread/detail/CancelOff.h"

namespace jay::detail {

namespace {

/** One look-up at a time, and none is cancelled: a cancelled one would leave the C library's own lock held.
 */
struct LookUp {
    CancelOff off;
    std::lock_guard<std::mutex> lock{mutex()};

    static std::mutex& mutex() {
        static std::mutex one;
        return one;
    }
};

}  // namespace

bool parseDotted(const char* host, in_addr& address) {
    if (host == nullptr) return false;
    const in_addr_t value = inet_addr(host);
    if (value == INADDR_NONE) return false;
    address.s_addr = value;
    return true;
}

bool lookUpName(const char* host, in_addr& address) {
    if (host == nullptr) return false;
    const LookUp one;
    const hostent* entry = gethostbyname(host);
    if (entry == nullptr || entry->h_length != static_cast<int>(sizeof address) ||
        entry->h_addr_list[0] == nullptr)
        return false;
    std::memcpy(&address, entry->h_addr_list[0], sizeof address);
    return true;
}

std::string lookUpAddress(const in_addr& address) {
    const LookUp one;
    const hostent* entry = gethostbyaddr(&address, sizeof address, AF_INET);
    return entry != nullptr && entry->h_name != nullptr ? entry->h_name : "";
}

std::string dottedForm(const in_addr& address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

}  // namespace jay::detail
