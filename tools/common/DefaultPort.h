#ifndef JAY_TOOLS_COMMON_DEFAULTPORT_H
#define JAY_TOOLS_COMMON_DEFAULTPORT_H

/**
 * The port on which jayd listens, and jay connects, unless told otherwise. Below 32768: a client that tries a
 * port of the range from which the system takes the local ends of connections may, while nobody listens there,
 * be connected to itself.
 */
constexpr int DEFAULT_PORT = 23117;

#endif
