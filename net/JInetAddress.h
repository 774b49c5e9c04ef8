#ifndef JAY_NET_JINETADDRESS_H
#define JAY_NET_JINETADDRESS_H

#include "core/JByte.h"
#include "core/JObject.h"
#include "core/JString.h"

/**
 * One IPv4 address, copied by value; 0.0.0.0 when it is made without one or a look-up fails (no error is
 * reported). Look-ups go to the C resolver, one at a time in the whole process, and may block for as long as
 * it takes.
 */
class JAY_API JInetAddress : public JObject {
public:
    JInetAddress();

    /** The address of a dotted text or of a host name; 0.0.0.0 when it is unknown. 255.255.255.255 counts as
     * a name. */
    static JInetAddress getByName(const char* host);

    /** Always 0.0.0.0: kept, a list of addresses was never offered. */
    static JInetAddress getAllByName(const char* host);

    /** Always 0.0.0.0, without any look-up: kept. */
    static JInetAddress getLocalHost();

    /** The host's official name by reverse look-up, or empty. May block. */
    JString getHostName();

    /** The dotted form. */
    JString getHostAddress();

    /** The 4 bytes in network order. */
    JByte getAddress();

    /** The address as a big-endian number: 10.1.2.3 gives 0x0A010203. */
    int hashCode() override;

    const JClass* getClass() const override;
    static const JClass classJInetAddress;

    using JObject::equals;

    /** Whether `other` is an address with the same bytes. Through a const reference only classes are compared
     * (kept: these do not override JObject's const forms). */
    virtual bool equals(JObject& other);
    virtual bool equals(JObject* other);

    /** Always false: kept. */
    bool isMulticastAddress();

private:
    [[maybe_unused]] int reserved0 = 0;
    unsigned char address[4] = {0, 0, 0, 0};
    [[maybe_unused]] int reserved1 = 0;
    [[maybe_unused]] int reserved2 = 0;
};

static_assert(sizeof(void*) != 4 || sizeof(JInetAddress) == 20,
              "the layout of JInetAddress is part of the interface");

#endif
