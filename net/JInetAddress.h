#ifndef JAY_NET_JINETADDRESS_H
#define JAY_NET_JINETADDRESS_H

#include "core/JByte.h"
#include "core/JObject.h"
#include "core/JString.h"

/**
 * One IPv4 address, copied by value. It is 0.0.0.0 after default construction and after a failed look-up; no
 * error is reported. Look-ups use the C resolver, one at a time in the whole process, and block until the
 * resolver returns.
 */
class JAY_API JInetAddress : public JObject {
public:
    JInetAddress();

    /** The address of a host, given as dotted address or as name; 0.0.0.0 if it is unknown. 255.255.255.255 is
     * treated as a name. */
    static JInetAddress getByName(const char* host);

    /** Always returns 0.0.0.0 (kept: callers rely on it). */
    static JInetAddress getAllByName(const char* host);

    /** Always returns 0.0.0.0, without a look-up (kept: callers rely on it). */
    static JInetAddress getLocalHost();

    /** The official name of the host, by a reverse look-up; empty if there is none. May block. */
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

    /** Whether `other` is an address with the same bytes. With a const argument, JObject's equals() is called, which
     * compares classes only (kept: callers rely on it). */
    virtual bool equals(JObject& other);
    virtual bool equals(JObject* other);

    /** Always returns false (kept: callers rely on it). */
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
