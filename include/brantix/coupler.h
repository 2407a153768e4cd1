// The whole interface of the library: its conventions, its guarantees and all headers for C.
#pragma once

/**
 * @file
 * The interface of libbrantix_coupler.so. Conventions, for every header of this folder:
 *
 *  1. Load, register callbacks if wanted, `SCI_Initialize_lib`, `SC_Initialize_commands`; then anything. An operation
 *     called before works too and logs nothing. There is nothing to shut down.
 *  2. An operation runs to its end on the caller's thread and returns 0 for success and -1 for failure, unless its
 *     comment says otherwise.
 *  3. The library writes into the caller's records and buffers. What it allocates for the caller, the comment says, and
 *     how it is given back. Other pointers that it returns are its own and must not be freed.
 *  4. Every text written into a field or buffer is cut to its capacity and terminated.
 *  5. Log lines go to the host's log function under the name of the operation (frame.h). A few operations print to
 *     standard output instead; their comments say so.
 *  6. No exception crosses the interface, and the library never ends the process.
 *  7. Nothing is locked, unless a comment says so: a host calls the operations that configure or write one at a time.
 *  8. Paths and command lines of the platform are fixed.
 *  9. The host's threads, signal handlers, locale, environment and working directory stay as they are. `dlclose`
 *     unloads the library and releases nothing else. Once a notification was sent it stays: its channel has threads.
 *
 * Each header compiles alone, as C11, C17 and C23 and as C++17 and later.
 *
 * What holds in every operation, unless its comment says otherwise:
 *
 *  - Null pointers: a null text or record is the operation's own failure. Other pointers must be valid.
 *  - Allocation failure: the operation's own failure; files are as before or as after. notify.h names the exception.
 *  - Signals: interrupted calls are resumed, and no handler is set. Writing a file beyond the size limit, or to a peer
 *    that is gone, fails and raises no SIGXFSZ or SIGPIPE; what an operation prints passes through the host's `stdout`
 *    and raises what the host's own printing would. While a command runs, SIGINT and SIGQUIT are ignored (`system`).
 *  - Fork: a child may call everything if no other thread was in a call then; it shares no channel with its parent.
 *  - Cancellation: held off to the operation's end in sessions, roles, syslog and notifications. In others it takes
 *    effect; memory, descriptors and locks are given back, files are as after a kill.
 *  - Descriptors: opened close-on-exec and closed before the operation ends, but for the channel's.
 *  - Locale: neither set nor needed, and no encoding turns a value into a command. The system's error texts in log
 *    lines follow it.
 *  - errno: any value after an operation.
 *  - Line ends: the format of a log line may begin or end with a line feed; many do not.
 *  - Threads: sessions and notifications, any. A second snapshot of sessions ends the first, whichever thread took it.
 *    The agent's configuration is changed by one thread and process at a time; the lists of users and destinations
 *    and the process-wide texts are not locked.
 */

#include "brantix/access.h"
#include "brantix/commands.h"
#include "brantix/container.h"
#include "brantix/firmware.h"
#include "brantix/frame.h"
#include "brantix/image.h"
#include "brantix/noop.h"
#include "brantix/notify.h"
#include "brantix/sessions.h"
#include "brantix/snmp.h"
