/**
 * @file
 * The two visibility macros.
 *
 * JAY_API in front of a class or function exports it from the shared library. Everything else stays inside.
 *
 * JAY_HIDDEN in front of a member of an exported class keeps that member inside the library. It is for private,
 * non-virtual member functions and private static members that no inline function of a public header uses: a
 * program never refers to them, so they are free to change in a later version.
 */
#ifndef JAY_CORE_JEXPORT_H
#define JAY_CORE_JEXPORT_H

#if defined(__GNUC__)
#define JAY_API __attribute__((visibility("default")))
#define JAY_HIDDEN __attribute__((visibility("hidden")))
#else
#define JAY_API
#define JAY_HIDDEN
#endif

#endif
