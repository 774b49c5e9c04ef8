#ifndef JAY_TOOLS_JAYD_SERVE_H
#define JAY_TOOLS_JAYD_SERVE_H

#include "tools/jayd/Options.h"

/** Serves until a signal ends it. @return the exit status. */
int serve(const Options& options);

#endif
