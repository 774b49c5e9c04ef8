#include "net/JInetAddress.h"

#include <cstring>

#include "net/detail/Resolver.h"

const JClass JInetAddress::classJInetAddress = {"JInetAddress", sizeof(JInetAddress), &JObject::classJObject};

JInetAddress::JInetAddress() = default;

const JClass* JInetAddress::getClass() const {
    return &classJInetAddress;
}

JInetAddress JInetAddress::getByName(const char* host) {
    JInetAddress result;
    in_addr found{};
    if (jay::detail::parseDotted(host, found) || jay::detail::lookUpName(host, found))
        std::memcpy(result.address, &found, sizeof result.address);
    return result;
}

JInetAddress JInetAddress::getAllByName(const char*) {
    return JInetAddress();
}

JInetAddress JInetAddress::getLocalHost() {
    return JInetAddress();
}

namespace {

in_addr asInAddr(const unsigned char* bytes) {
    in_addr result{};
    std::memcpy(&result, bytes, sizeof result);
    return result;
}

}  // namespace

JString JInetAddress::getHostName() {
    return JString(jay::detail::lookUpAddress(asInAddr(address)).c_str());
}

JString JInetAddress::getHostAddress() {
    return JString(jay::detail::dottedForm(asInAddr(address)).c_str());
}

JByte JInetAddress::getAddress() {
    return JByte(static_cast<void*>(address), 0, sizeof address);
}

int JInetAddress::hashCode() {
    unsigned h = 0;
    for (const unsigned char b : address) h = h << 8 | b;
    return static_cast<int>(h);
}

bool JInetAddress::equals(JObject& other) {
    const JObject& object = other;
    return JObject::equals(object) &&
           std::memcmp(address, static_cast<JInetAddress&>(other).address, sizeof address) == 0;
}

bool JInetAddress::equals(JObject* other) {
    return equals(*other);
}

bool JInetAddress::isMulticastAddress() {
    return false;
}
