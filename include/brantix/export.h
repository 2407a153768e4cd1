// What the declarations of the interface are marked with.
#pragma once

/** @file
 * What the declarations of the interface are marked with. */

/** Marks what the library exports. Everything else is hidden. */
#define BRANTIX_EXPORT __attribute__((visibility("default")))

/** Lets the compiler check a printf-style format (argument `format_index`) against its arguments (from `first`). */
#define BRANTIX_PRINTF(format_index, first) __attribute__((format(printf, format_index, first)))

/** @def BRANTIX_BEGIN_C
 * Begins declarations with plain names, in C as in C++. @def BRANTIX_END_C
 * Ends them. */
#ifdef __cplusplus
#define BRANTIX_BEGIN_C extern "C" {
#define BRANTIX_END_C }
#else
#define BRANTIX_BEGIN_C
#define BRANTIX_END_C
#endif
