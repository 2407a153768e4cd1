// The numbered templates of the switch command language.
#pragma once

#include <stdint.h>

#include "brantix/export.h"

/** @file
 * The numbered templates of the switch command language. */

BRANTIX_BEGIN_C

/** Size of a table. */
enum {
  BRANTIX_COMMAND_COUNT = 447, /**< templates in one table; slot 447 holds the guard "Array Guard" */
};

/** The templates of version 0, in the order of their numbers, then the guard. The library never changes it. */
BRANTIX_EXPORT extern const char* VER_0_CMDS[BRANTIX_COMMAND_COUNT + 1];

/** The tables by version of the command language; null until `SC_Initialize_commands` selects version 0. */
BRANTIX_EXPORT extern const char** grand_daddy_of_all_commands[1];

/** Version in use, an index into `grand_daddy_of_all_commands`; 0. */
BRANTIX_EXPORT extern int32_t CUR_VER;

/**
 * Checks the guard of the command table and selects the table. To be called once, after `SCI_Initialize_lib`.
 *
 * @return 0, or -1 when the guard is damaged; the selection is then as it was. Logs at info.
 */
BRANTIX_EXPORT int32_t SC_Initialize_commands(void);

/**
 * Hands out a command template; its placeholders (%u, %s, %d, %02x) are the caller's to fill.
 *
 * @param cmd command number, 0 to 446
 * @return the template, the library's own for the life of the process; null, with a line at info, when the number is
 *         out of range or no table is selected yet
 */
BRANTIX_EXPORT const char* SC_Get_command(unsigned int cmd);

BRANTIX_END_C
