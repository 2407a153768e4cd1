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
