#ifndef JAY_TOOLS_COMMON_STARTUP_H
#define JAY_TOOLS_COMMON_STARTUP_H

/**
 * Opens standard input, output and error where the caller left them closed. Otherwise the next socket would get such a
 * number, and output would be sent to a peer. Reading from an input and writing to an output opened here fails, so that
 * nothing is lost silently; what is written to standard error is dropped.
 */
void openStandardDescriptors();

/** Whether standard output can be written to at all. */
bool isOutputOpen();

/** Lets a write to a closed pipe fail instead of ending the process. */
void ignoreBrokenPipes();

#endif
