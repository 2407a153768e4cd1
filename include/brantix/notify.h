// Syslog settings and messages, and SNMP notifications.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "brantix/export.h"

/** @file
 * SNMP notifications through the platform's notification service, and syslog through the platform's syslog script. */

BRANTIX_BEGIN_C

/** Value types of a variable: the SNMP type tags. Others are refused. */
enum {
  BRANTIX_SNMP_INTEGER = 2,      /**< INTEGER */
  BRANTIX_SNMP_OCTET_STRING = 4, /**< OCTET STRING */
  BRANTIX_SNMP_OBJECT_ID = 6,    /**< OBJECT IDENTIFIER */
  BRANTIX_SNMP_TEXT = 32,        /**< text */
  BRANTIX_SNMP_COUNTER32 = 65,   /**< Counter32 */
  BRANTIX_SNMP_GAUGE32 = 66,     /**< Gauge32 */
  BRANTIX_SNMP_COUNTER64 = 70    /**< Counter64 */
};

/** Limits of a notification. */
enum {
  BRANTIX_OID_MAX = 127,        /**< sub-identifiers of an OID */
  BRANTIX_SNMP_TEXT_MAX = 65530 /**< characters of a text value */
};

/** One variable of a notification. Owned by the host, as is all it points to; read during the call only. */
typedef struct SCI_snmp_varbind_s {
  const uint64_t* oid; /**< the variable's OID: `oid_len` sub-identifiers */
  uint16_t oid_len;    /**< at most BRANTIX_OID_MAX */
  uint8_t type;        /**< type of the value, BRANTIX_SNMP_... */
  union {
    int32_t integer;      /**< INTEGER */
    uint32_t unsigned32;  /**< Counter32, Gauge32 */
    uint64_t counter64;   /**< Counter64 */
    const char* text;     /**< OCTET STRING, text: NUL-terminated, at most BRANTIX_SNMP_TEXT_MAX characters */
    const uint64_t* oid;  /**< OBJECT IDENTIFIER: `value_oid_len` sub-identifiers */
  } value;                /**< the value, as its type tells */
  uint16_t value_oid_len; /**< OBJECT IDENTIFIER only: at most BRANTIX_OID_MAX */
} SCI_snmp_varbind_s;

/**
 * Packs a notification and sends it to the notification service at tcp://127.0.0.1:5558; waits for the service's
 * answer, which is printed and not judged. The first call of a process, refused or not, creates its channel to the
 * service, which is kept for the life of the process; a forked process gets its own. Calls may come from several
 * threads, one at a time.
 *
 * The descriptors, threads and memory that a channel takes are asked for before it is created. What no one can ask for
 * beforehand still ends the process, inside the transport: that another thread takes the last of them in between, and
 * that memory runs out later. A standard stream that is closed is opened on /dev/null, since the channel would take its
 * place. Cancellation of the calling thread is held off during the call.
 *
 * What the message layer throws (no service, no answer in time, ...) is printed to standard output; the call then
 * still counts as sent and the next notification goes out on the same channel. Ends by printing
 * "SCI_sendSnmpNotification: exit", without a line end. Logs at info.
 *
 * @param notifOid              the notification's OID
 * @param aInNotifOidSize       its sub-identifiers, at most BRANTIX_OID_MAX
 * @param aInVariableList       the variables; must not be null, even when there are none
 * @param aInVariableListSize   how many there are
 * @param aOutErrBuf,errBufSize receives why nothing was sent, cut to `errBufSize` bytes; its last byte is then NUL.
 *                              Untouched when the notification was sent. Null or a size of 0: not reported there.
 * @return 0: sent. Also 0, and only the error text tells: refused (an input is null, an OID or a text too long, a type
 *         unknown, no memory); nothing was sent. -1, with the error text: the channel could not be created; the next
 *         call tries again.
 */
BRANTIX_EXPORT int32_t SCI_sendSnmpNotification(const uint64_t* notifOid, uint16_t aInNotifOidSize,
                                                const SCI_snmp_varbind_s* aInVariableList, uint16_t aInVariableListSize,
                                                char* aOutErrBuf, int32_t errBufSize);

/**
 * Converts an OID into the form in which messages carry it.
 *
 * @param src   the sub-identifiers
 * @param count how many there are
 * @param dst   receives them; the caller's scratch area of 128 sub-identifiers
 * @return 0; -1, with nothing copied: more than BRANTIX_OID_MAX (logged at info), or a pointer is null although there
 *         are some (logged at critical)
 */
BRANTIX_EXPORT int32_t set_rnq_msg_oid(const uint64_t* src, uint16_t count, uint64_t* dst);

/**
 * Appends an entry to a message: a 32-bit count of entries, then the entries back to back, each a 16-bit type, a 16-bit
 * length and that many bytes of value, all in the byte order of the machine. Walks the entries that are there.
 *
 * @param array   the message, in the caller's buffer; one without entries is four zero bytes
 * @param maxSize bytes of the buffer
 * @param type    type of the entry
 * @param length  bytes of the value
 * @param value   the value, which is copied
 * @return 0; 48, with the message as it was: the entry does not fit, the message that is there reaches beyond
 *         `maxSize`, or a pointer is null
 */
BRANTIX_EXPORT int32_t tlv_array_add_tlv(void* array, int32_t maxSize, uint16_t type, uint16_t length,
                                         const void* value);

/**
 * Prints a line with its second and third argument to standard output. Registers nothing.
 *
 * @param mib                   not read
 * @param aInVariableListLength number that is printed
 * @param aOutErrBuf            text that is printed; null prints "(null)"
 * @return 0
 */
BRANTIX_EXPORT int32_t SCI_registerMib(const void* mib, uint16_t aInVariableListLength, const char* aOutErrBuf);

/**
 * @name Syslog
 * These operations run the platform's syslog script, /opt/tolm-mgmt-scripts/syslog_utils.sh, and wait for it.
 * They log at debug, failures at critical, and return 0 when the script exited with 0 (or no shell could be started),
 * else its exit code (1 to 255) or the number of the signal that killed it; -1 when an index is outside its table, a
 * text is null or an argument text is refused: the script is then not run.
 *
 * Severities: 0 emergencies, 1 alerts, 2 critical, 3 errors, 4 warnings, 5 notifications, 6 information, 7 debugging.
 * The command line holds at most 127 characters; what is longer is cut. Cancellation of the calling thread is held off
 * while the script runs.
 * @{
 */

/**
 * Adds a remote destination.
 *
 * @param n        number for the script, passed through
 * @param severity 0 to 7
 * @param hostName of the destination; reaches the script as one argument, whatever it holds
 * @param facility 0 to 7, for local0 to local7
 */
BRANTIX_EXPORT int32_t SCI_EnableExternalSyslogging(int32_t n, const char* hostName, int32_t severity,
                                                    int32_t facility);

/** Removes all remote destinations. */
BRANTIX_EXPORT int32_t SCI_DisableExternalSyslogging(void);

/** Sets the level of the console. @param severity 0 to 2 only */
BRANTIX_EXPORT int32_t SCI_EnableConsoleSyslogging(int32_t severity);

/** Keeps syslog messages from the console. */
BRANTIX_EXPORT int32_t SCI_DisableConsoleSyslogging(void);

/** Sets the level of the platform's own messages. @param severity 0 to 7 */
BRANTIX_EXPORT int32_t SCI_SetPlatformSyslogging(int32_t severity);

/**
 * Sets the level of the platform's log files.
 *
 * @param severity 0 to 7
 * @param argument text for the script, passed on unchanged: it may hold several arguments. Refused when it holds one
 *                 of ; | & < > ( ) $ ` or a line end, with which a command or an expansion could start.
 */
BRANTIX_EXPORT int32_t SCI_EnableFileSyslogging(int32_t severity, const char* argument);

/** Switches the platform's log files off. */
BRANTIX_EXPORT int32_t SCI_DisableFileSyslogging(void);
/** @} */

/**
 * Turns a wait status, as `system` returns it, into the result of a syslog operation.
 *
 * @return the exit code of a process that exited, the signal number of one that a signal killed, 0 for every other
 *         status, -1 (no shell could be started) included
 */
BRANTIX_EXPORT int32_t statusHelper(int32_t status);

/**
 * Hands one message to the platform syslog library, tagged "VTRC".
 *
 * @param a1,a2,a5,a6 the message, as that library takes it
 * @param a3,a4       not passed on
 * @return 0
 */
BRANTIX_EXPORT int32_t SCI_SendSyslogMessage(long a1, long a2, long a3, long a4, long a5, long a6);

BRANTIX_END_C

#ifdef __cplusplus
namespace mesvo {
class MsgRequestClientChannel;
}

/**
 * Sends a message as one request on a channel of the platform message layer and waits for the reply. Logs the entries
 * at info and prints them, then the reply, to standard output. Exported under its plain name, for C++ hosts.
 *
 * @param channel the channel, with its end point set
 * @param msgType type of the request
 * @param array   the message; entries are read no further than `size` tells
 * @param size    bytes of the message
 * @return 0, whatever the reply holds, also when the message layer throws (its reason is printed); -1, with a line at
 *         critical: a pointer is null or the size negative, and nothing is sent
 */
extern "C" BRANTIX_EXPORT int32_t ngm_send_ipc_notify(mesvo::MsgRequestClientChannel* channel, int32_t msgType,
                                                      void* array, int32_t size);

static_assert(sizeof(SCI_snmp_varbind_s) == 32 && sizeof(SCI_snmp_varbind_s::value) == 8);
static_assert(offsetof(SCI_snmp_varbind_s, oid_len) == 8 && offsetof(SCI_snmp_varbind_s, type) == 10);
static_assert(offsetof(SCI_snmp_varbind_s, value) == 16 && offsetof(SCI_snmp_varbind_s, value_oid_len) == 24);
#endif
