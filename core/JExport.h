/**
 * @file
 * The one export macro: what carries JAY_API leaves the shared library, nothing else does.
 */
#ifndef JAY_CORE_JEXPORT_H
#define JAY_CORE_JEXPORT_H

#if defined(__GNUC__)
#define JAY_API __attribute__((visibility("default")))
#else
#define JAY_API
#endif

#endif
