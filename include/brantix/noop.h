// The operations that do nothing on this platform.
#pragma once

#include "brantix/export.h"

/**
 * @file
 * The operations that make the interface complete and do nothing on this platform. Each takes any arguments, reads
 * none, never logs, and returns 0 in the whole result register, which serves as status, count, null or false (those
 * listed as NOTHING have no result). A list getter leaves the caller's list as it was.
 *
 * noop.def lists all 79. Four have a signature of their own and are declared elsewhere: `get_interface_version`,
 * `SCI_srgOpen`, `SCI_srgClose` and `SCI_srgGetBuildDate`, of which the second and the last return their argument.
 */

BRANTIX_BEGIN_C

#pragma GCC diagnostic push
/* Any arguments: "..." in C++ and C23, where "()" takes none; before, and in compilers that learned C23 later, "()",
   which -Wstrict-prototypes would have replaced. */
#if defined(__cplusplus) || (__STDC_VERSION__ > 201710L && (__GNUC__ >= 13 || __clang_major__ >= 15))
#define BRANTIX_ANY_ARGUMENTS ...
#else
#define BRANTIX_ANY_ARGUMENTS
#pragma GCC diagnostic ignored "-Wstrict-prototypes"
#endif

#define BRANTIX_NOOP_ZERO(operation) BRANTIX_EXPORT long operation(BRANTIX_ANY_ARGUMENTS);
#define BRANTIX_NOOP_NOTHING(operation) BRANTIX_EXPORT void operation(BRANTIX_ANY_ARGUMENTS);
#define BRANTIX_NOOP_OWN(operation)
#define NOOP(operation, result) BRANTIX_NOOP_##result(operation)
#include "brantix/noop.def"
#undef NOOP
#undef BRANTIX_NOOP_OWN
#undef BRANTIX_NOOP_NOTHING
#undef BRANTIX_NOOP_ZERO

#pragma GCC diagnostic pop
#undef BRANTIX_ANY_ARGUMENTS

BRANTIX_END_C
