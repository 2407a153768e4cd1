// Roles and locales of users, and names that the application shares with the platform.
#pragma once

#include <stdint.h>

#include "brantix/export.h"

/** @file
 * Roles and locales of users, and names that the application shares with the platform. */

BRANTIX_BEGIN_C

/**
 * @name Users and application types
 * Constant texts, never read by the library.
 * @{
 */
BRANTIX_EXPORT extern const char* const USER_ADMINBACKUP;           /**< "adminbackup" */
BRANTIX_EXPORT extern const char* const USER_PELK_DME;              /**< "pelkdme" */
BRANTIX_EXPORT extern const char* const PELK_APPL_TYPE_LOGIN;       /**< "login" */
BRANTIX_EXPORT extern const char* const PELK_APPL_TYPE_DEFAULT;     /**< "default" */
BRANTIX_EXPORT extern const char* const PELK_APPL_SUB_TYPE_DEFAULT; /**< "default" */
BRANTIX_EXPORT extern const char* const PELK_APPL_SUB_TYPE_CONSOLE; /**< "console" */
/** @} */

/**
 * Tells a user's role from the operating system's groups: "admin read-only" when the line that `groups` prints holds
 * "ldapgroup" anywhere, else "read-only" when it holds that. Never logs. Cancellation is held off.
 *
 * @param user        the user's name, also an empty one: one argument of `groups`, whatever it holds; cut to 255
 * characters
 * @param roleBuf     receives the role, cut to its size; untouched when there is none
 * @param roleBufSize size of `roleBuf` in bytes
 * @return 0; 1: no role, no such user, or the groups cannot be asked for
 */
BRANTIX_EXPORT int32_t SCI_getUserRoles(const char* user, char* roleBuf, int32_t roleBufSize);

/**
 * Writes the empty text into `localeBuf`.
 *
 * @param user          not read
 * @param localeBuf     the caller's
 * @param localeBufSize size of `localeBuf` in bytes; 0: nothing is written
 * @return 0
 */
BRANTIX_EXPORT int32_t SCI_getUserLocales(const void* user, char* localeBuf, int32_t localeBufSize);

/** Tells whether this supervisor is the active one. @return 1 */
BRANTIX_EXPORT int32_t is_active_supervisor(void);

/** Waits for nothing: there are no events. @return -1, at once */
BRANTIX_EXPORT int32_t SCI_waitForKRELLAGEvents(void);

BRANTIX_END_C
