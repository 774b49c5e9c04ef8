#ifndef JAY_TOOLS_COMMON_STARTUP_H
#define JAY_TOOLS_COMMON_STARTUP_H

/**
 * Leads standard input, output and error to /dev/null where the caller left them closed. Otherwise the next
 * socket would get such a number, and what is meant for the terminal would be sent to a peer.
 */
void openStandardDescriptors();

/** Lets a write to a closed pipe fail instead of ending the process. */
void ignoreBrokenPipes();

#endif
