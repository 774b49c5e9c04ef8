#ifndef JAY_TOOLS_JAYD_SERVICEMANAGER_H
#define JAY_TOOLS_JAYD_SERVICEMANAGER_H

#include <string>

/**
 * Tells the service manager that has started the program how it is going: lines of KEY=VALUE in one datagram to the
 * socket that the environment names in NOTIFY_SOCKET, a path or, behind an '@', an abstract name. That is what systemd's
 * Type=notify waits for. Does nothing where the variable names no such socket.
 * @param state for instance "READY=1\nSTATUS=listening". @param ms the longest wait for a manager that does not read.
 */
void tellServiceManager(const std::string& state, int ms);

#endif
