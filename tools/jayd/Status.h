#ifndef JAY_TOOLS_JAYD_STATUS_H
#define JAY_TOOLS_JAYD_STATUS_H

/** What jayd ends with. */
enum Status { DONE = 0, CANNOT_SERVE = 1, WRONG_USE = 2 };

#endif
