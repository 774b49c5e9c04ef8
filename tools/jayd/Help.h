#ifndef JAY_TOOLS_JAYD_HELP_H
#define JAY_TOOLS_JAYD_HELP_H

/** Both write to standard output, and return the exit status: shown text counts only if it arrived. */
int showHelp();
int showVersion();

#endif
