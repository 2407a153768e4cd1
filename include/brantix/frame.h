// Initialisation, the log function of the host, callbacks, trace flags.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "brantix/export.h"

/** @file
 * The library frame: initialisation, the host's log function, callback slots, trace flags. */

BRANTIX_BEGIN_C

/**
 * The host's log function.
 *
 * @param operation name of the operation that logs, a static text such as "SC_Get_command"
 * @param threshold the pointer that the host gave as `logModuleOffset`
 * @param level     the current value of `critical`, `info` or `debug`
 * @param format    printf-style format of the line; its arguments follow
 */
typedef void SCI_log_fn(const char* operation, int32_t* threshold, int32_t level, const char* format, ...)
    BRANTIX_PRINTF(4, 5);

/** What a host hands over at start-up. Owned by the host, read once by `SCI_Initialize_lib`. */
typedef struct SCI_lib_init_s {
  SCI_log_fn* logFn;        /**< log function, or null: the library logs nothing */
  int32_t debugLevel;       /**< the host's value for its debug level */
  int32_t infoLevel;        /**< the host's value for its info level */
  int32_t criticalLevel;    /**< the host's value for its critical level */
  int32_t* logModuleOffset; /**< the module's threshold, or null: the library logs nothing. It stays the host's,
                                 which may change it at any time; every line reads it afresh. */
} SCI_lib_init_s;

/**
 * Initialises the library: stores the record's five values, hands them to the platform firmware library, logs one
 * line at info. May be repeated; the last call holds. Other threads must not be calling the library meanwhile.
 *
 * @param a,b,c not read
 * @param init  the record; its content is not validated. Null changes nothing.
 * @return 1000, always
 */
BRANTIX_EXPORT int32_t SCI_Initialize_lib(const void* a, const void* b, const void* c, const SCI_lib_init_s* init);

/** Tells the version of this interface. @return 0 */
BRANTIX_EXPORT int32_t get_interface_version(void);

/**
 * Prints a trace message to standard output as it stands: no line end added, nothing substituted.
 *
 * @param level   -3 to 0: printed while `cs_debug_verbose` is not 0; 1 and 2: printed while `cs_debug_errors` is
 *                not 0; any other level: never printed
 * @param message NUL-terminated text
 */
BRANTIX_EXPORT void T_log(int level, const char* message);

/**
 * @name The frame's state, open to the host
 * A line at level L is handed to `gLogPelkFn` only when it and `gLogPelkModuleOffset` are set and
 * `*gLogPelkModuleOffset <= L`. Nothing is locked.
 * @{
 */
BRANTIX_EXPORT extern SCI_log_fn* gLogPelkFn;        /**< null at load */
BRANTIX_EXPORT extern int32_t* gLogPelkModuleOffset; /**< null at load */
BRANTIX_EXPORT extern int32_t debug;                 /**< the host's debug level; -1 at load */
BRANTIX_EXPORT extern int32_t info;                  /**< the host's info level; -1 at load */
BRANTIX_EXPORT extern int32_t critical;              /**< the host's critical level; -1 at load */

BRANTIX_EXPORT extern int32_t cs_debug_verbose;    /**< not 0: trace levels -3 to 0, verbose lines of the bundle walk */
BRANTIX_EXPORT extern int32_t cs_debug_errors;     /**< not 0: trace levels 1 and 2 */
BRANTIX_EXPORT extern int32_t cs_debug_revocation; /**< the host's; not read by the library */
BRANTIX_EXPORT extern int32_t cs_debug_key;        /**< the host's; not read by the library */
BRANTIX_EXPORT extern int32_t cs_debug_envelope;   /**< the host's; not read by the library */

BRANTIX_EXPORT extern uintptr_t cmi_session_id; /**< the host's; neither read nor written by the library */
BRANTIX_EXPORT extern uintptr_t cmi_username;   /**< the host's; neither read nor written by the library */
/** @} */

struct SCI_snmp_get_req_s;  /* laid out by the host */
struct SCI_snmp_get_resp_s; /* laid out by the host */
struct _SCI_cli_session_s;

/**
 * @name Callbacks
 * The library stores what is registered, null at load, and calls none of them. What their arguments mean is the host's.
 * @{
 */
/** Told of a login. */
typedef void (*SCI_krellLoginCb_fn)(const char*, const char*);
/** Told how the transfer of a core file by TFTP stands. */
typedef void (*SCI_krellTftpCoreTransferStatusCb_fn)(int, const char*, const char*, const char*);
/** Asked to answer an SNMP get request. */
typedef void (*SCI_snmpGetRequestCb_fn)(const struct SCI_snmp_get_req_s*, struct SCI_snmp_get_resp_s**);
/** Told of a CLI session. */
typedef void (*SCI_cliSessionAnnounceCb_fn)(const struct _SCI_cli_session_s*);

/** The slot of that type. */
BRANTIX_EXPORT extern SCI_krellLoginCb_fn SCI_krellLoginCb;
/** The slot of that type. */
BRANTIX_EXPORT extern SCI_krellTftpCoreTransferStatusCb_fn SCI_krellTftpCoreTransferStatusCb;
/** The slot of that type. */
BRANTIX_EXPORT extern SCI_snmpGetRequestCb_fn SCI_snmpGetRequestCb;
/** The slot of that type. */
BRANTIX_EXPORT extern SCI_cliSessionAnnounceCb_fn SCI_cliSessionAnnounceCb;
/** @} */

BRANTIX_END_C

#ifdef __cplusplus
/**
 * @name Registration of callbacks
 * Each stores `cb` in its slot, replacing what was there; null clears the slot. These four are exported under their
 * C++ names. A host written in C sets the slots above instead.
 * @{
 */
/** Fills `SCI_krellLoginCb`. */
BRANTIX_EXPORT void FCI_register_SCI_krellLoginCb(SCI_krellLoginCb_fn cb);
/** Fills `SCI_krellTftpCoreTransferStatusCb`. */
BRANTIX_EXPORT void FCI_register_SCI_krellTftpCoreTransferStatusCb(SCI_krellTftpCoreTransferStatusCb_fn cb);
/** Fills `SCI_snmpGetRequestCb`. */
BRANTIX_EXPORT void FCI_register_SCI_snmpGetRequestCb(SCI_snmpGetRequestCb_fn cb);
/** Fills `SCI_cliSessionAnnounceCb`. */
BRANTIX_EXPORT void FCI_register_SCI_cliSessionAnnounceCb(SCI_cliSessionAnnounceCb_fn cb);
/** @} */

static_assert(sizeof(SCI_lib_init_s) == 32);
static_assert(offsetof(SCI_lib_init_s, debugLevel) == 8);
static_assert(offsetof(SCI_lib_init_s, logModuleOffset) == 24);
#endif
