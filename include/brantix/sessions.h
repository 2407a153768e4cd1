// The CLI sessions that are open on the appliance.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "brantix/export.h"

/**
 * @file
 * The CLI sessions that are open on the appliance: every running process named "vsh" or "wytsh", with the terminal that
 * controls it and, where utmp has a login record for that terminal, who came from where.
 *
 * One snapshot exists at a time; taking a second one ends the first. The calls may be made from any thread: one lock is
 * held in each of them, so no thread can free the snapshot under another's call or see it half filled. A process that
 * ends during the scan is left out. Cancellation of the calling thread is held off during a call. Messages go to
 * standard output, without a line end; `%s` is the call's name without its prefix: "hasNextSession", "getNextSession",
 * "freeSessionIterator", "getSessions".
 */

BRANTIX_BEGIN_C

/** One session. All texts are terminated. */
typedef struct _SCI_cli_session_s {
  char user[128];    /**< the user that the process names itself, else the login's; may be empty */
  char host[256];    /**< where the login came from; empty for a local one, and without a login record */
  char tty[64];      /**< path of the terminal's device, such as "/dev/pts/3"; empty without a login record */
  int32_t pid;       /**< the CLI process */
  int64_t loginTime; /**< when it started, in seconds since the epoch */
} _SCI_cli_session_s;

/** A snapshot of the sessions, and how far it has been walked. Opaque. */
typedef struct _SCI_cli_session_iterator_s _SCI_cli_session_iterator_s;

/**
 * Takes a snapshot. One that was not freed is released first, with the message "Warning: Internal error:
 * getIterator() called for non-null iterator pointer for id: 0"; its handle must not be used again.
 *
 * @return the handle, to be given back with `SCI_cli_free_session_iterator`; null, with the message "%s: Internal error
 *         in retrieving sessions", when the process table cannot be read or memory is short
 */
BRANTIX_EXPORT _SCI_cli_session_iterator_s* SCI_cli_get_sessions(void);

/**
 * @name Walking a snapshot
 * These calls refuse a handle that is not the one handed out last, and not freed since: they print "%s: Internal
 * error: Invalid null iterator pointer for id: 0" or "%s: Internal error: Invalid iterator pointer for id: 0" and do
 * nothing. A refused handle is compared, never followed. It is an address, which a later snapshot may have again:
 * forget a handle that was freed.
 * @{
 */

/** Looks ahead. @return 1 when another session follows, else 0 */
BRANTIX_EXPORT int32_t SCI_cli_has_next_session(_SCI_cli_session_iterator_s* iterator);

/**
 * Hands out the next session, terminals by ascending device number, processes of a terminal by ascending id.
 *
 * @param iterator the handle
 * @param session  the caller's record; untouched when the result is 0
 * @return 1; 0 when no session is left or `session` is null
 */
BRANTIX_EXPORT int32_t SCI_cli_get_next_session(_SCI_cli_session_iterator_s* iterator, _SCI_cli_session_s* session);

/** Releases the snapshot. */
BRANTIX_EXPORT void SCI_cli_free_session_iterator(_SCI_cli_session_iterator_s* iterator);
/** @} */

BRANTIX_END_C

#ifdef __cplusplus
static_assert(sizeof(_SCI_cli_session_s) == 464);
static_assert(offsetof(_SCI_cli_session_s, host) == 128 && offsetof(_SCI_cli_session_s, tty) == 384);
static_assert(offsetof(_SCI_cli_session_s, pid) == 448 && offsetof(_SCI_cli_session_s, loginTime) == 456);
#endif
