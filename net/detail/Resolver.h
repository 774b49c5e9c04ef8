#ifndef JAY_NET_DETAIL_RESOLVER_H
#define JAY_NET_DETAIL_RESOLVER_H

#include <netinet/in.h>
#include <string>

namespace jay::detail {

/** Whether `host` is a dotted address as inet_addr() takes it (so not the all-ones one); stores it. Null is
 * not. */
bool parseDotted(const char* host, in_addr& address);

/** The first address of a host name. The resolver is not reentrant: calls wait for one another. May block for
 * long. */
bool lookUpName(const char* host, in_addr& address);

/** The official name of an address, empty if there is none. May block for long. */
std::string lookUpAddress(const in_addr& address);

/** The dotted form of an address. */
std::string dottedForm(const in_addr& address);

}  // namespace jay::detail

#endif
