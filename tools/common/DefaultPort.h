#ifndef JAY_TOOLS_COMMON_DEFAULTPORT_H
#define JAY_TOOLS_COMMON_DEFAULTPORT_H

/**
 * The default port of jayd and jay. It is below 32768, where the system's range of local ports begins: a client that connects
 * to a port of that range on which no server listens may be connected to itself.
 */
constexpr int DEFAULT_PORT = 23117;

#endif
