// The SNMP agent's service, destinations, users, communities, contact and location.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "brantix/export.h"

/**
 * @file
 * The SNMP agent: its service, trap destinations, SNMPv3 users, communities, contact and location.
 *
 * What these operations are given reaches the agent's configuration file /etc/snmp/snmpd.conf as it stands, and lines
 * are deleted wherever they contain a given text; docs/snmp.md says what a caller must check. A value never becomes a
 * command of the shell.
 *
 * Destinations and users are also kept in lists in memory, empty at load, never rebuilt from the agent's files. A null
 * text or record is logged at critical and makes the operation fail before anything runs or changes. A text that fills
 * its field without a terminator is cut by its last character.
 *
 * The lists are not locked. The configuration file is, by flock(2) on its directory: a change that has waited for
 * another for 5 seconds fails, with a line at critical, as does one that could not be written; the file is then as
 * before.
 */

BRANTIX_BEGIN_C

/** Security levels of SNMPv3. */
enum { SCI_SNMP_AUTH_NO_PRIV = 1, SCI_SNMP_NO_AUTH_NO_PRIV = 2, SCI_SNMP_AUTH_PRIV = 3 };

/** What a destination is sent. */
enum { SCI_SNMP_TRAP = 1, SCI_SNMP_INFORM = 2 };

/** A destination of traps or informs. Owned by the caller. */
typedef struct SCI_snmp_host_s {
  char server_addr[64]; /**< address or name; the destination list knows it by this text alone */
  char community[64];   /**< versions 1 and 2: the community; version 3: the name of a user set by `SCI_SetSnmpUser` */
  int32_t port;         /**< UDP port; 0: none given, the agent takes its own */
  int32_t version;      /**< 1: SNMPv1, 2: SNMPv2c, 3: SNMPv3 */
  int32_t v3_priv;      /**< version 3: security level, SCI_SNMP_AUTH_NO_PRIV and its companions */
  int32_t notify_type;  /**< SCI_SNMP_TRAP or SCI_SNMP_INFORM; version 1 sends traps, whatever stands here */
} SCI_snmp_host_s;

/** An SNMPv3 user. Owned by the caller. */
typedef struct SCI_snmp_user_s {
  char username[33];  /**< not empty */
  char password[81];  /**< of authentication; not empty */
  char priv_pass[81]; /**< of privacy; not empty when `priv_type` is 3 */
  int32_t auth_type;  /**< authentication protocol: 1 MD5, 3 SHA-256, any other SHA */
  int32_t priv_type;  /**< 3: AES-128 and level authPriv; any other: no privacy, level authNoPriv */
} SCI_snmp_user_s;

/** An entry of the array that `SCI_GetSnmpCommunity` fills. Owned by the caller. */
typedef struct SCI_snmp_community_s {
  char community[41]; /**< community, terminated */
  char reserved[127]; /**< neither read nor written */
} SCI_snmp_community_s;

/**
 * Switches the agent's service on and has it start the agent. Three lines at info.
 *
 * @return 0, always: what the platform's commands say is not looked at
 */
BRANTIX_EXPORT int32_t SCI_EnableSnmp(void);

/** As `SCI_EnableSnmp`, but off: the service stops the agent. @return 0, always */
BRANTIX_EXPORT int32_t SCI_DisableSnmp(void);

/**
 * Adds a destination: hands its directive to the platform's script, enters its address in the destination list (once
 * only) and writes the list's length to the trap host count file. A combination of version, level and notify type that
 * has no directive goes through the same steps with an empty one.
 *
 * @return 0; 1, with a line at critical: the configuration file cannot be opened for appending, the user of a version 3
 *         destination is not in the user list, directive or command exceed 511 characters (nothing is changed in
 *         these cases), or the script could not be run (list and count file are then changed); -1, with a line at
 *         critical: unknown version, nothing is changed. A script that is missing or fails after it was run is not
 *         noticed; its status, as system(3) returns it, stands in a line at debug.
 */
BRANTIX_EXPORT int32_t SCI_SetSnmpHostV3(const SCI_snmp_host_s* host);

/**
 * Deletes every trapsess, trap2sink, trapsink and informsink line of the configuration file that contains `host`
 * anywhere (so 10.0.0.1 also deletes 10.0.0.10, and an empty text all of them), and, when there was one, the entry of
 * exactly that name in the destination list. Writes "0" to the count file when the list is empty afterwards. The
 * running agent is not told.
 *
 * @return 0, also when nothing matched; 1: a step on the files failed, told by a line at debug, or at critical when the
 *         new file could not be written (disk full) and the old one therefore stays
 */
BRANTIX_EXPORT int32_t SCI_DeleteSnmpHostV3(const char* host);

/**
 * Copies the addresses of the destination list, in the order in which they were added.
 *
 * @param hosts    receives the addresses in `server_addr`, no other field is written. Must have room for the whole
 *                 list; null: only the count is wanted
 * @param aInCount receives the number of entries
 * @param ...      one more argument is accepted and ignored
 * @return 0, always
 */
BRANTIX_EXPORT int32_t SCI_GetSnmpHostsV3(SCI_snmp_host_s* hosts, unsigned int* aInCount, ...);

/**
 * Creates a user through the platform's script and keeps it, passwords included, in the user list. An earlier user of
 * that name is deleted first. Both passwords stand in clear in lines at debug and critical and in the command line of
 * the script, which is cut to 255 characters.
 *
 * @param aInConf the user
 * @param error   caller's buffer of at least 25 bytes: empty after a success, else "Error setting SNMP user"
 * @return 0; 1, with lines at critical: no record, no user name or password, no privacy password although `priv_type`
 *         is 3 (nothing is changed in these cases), the earlier user could not be deleted (it is out of the list), or
 *         the new one could not be created (it stays in the list)
 */
BRANTIX_EXPORT int32_t SCI_SetSnmpUser(const SCI_snmp_user_s* aInConf, char* error);

/**
 * Deletes a user from the list, where it need not be, and through the platform's script.
 *
 * @param username the user's name
 * @param error    caller's buffer of at least 25 bytes: untouched after a success, else "Error deleting SNMP user"
 * @return 0; 1, with a line at critical: the script failed
 */
BRANTIX_EXPORT int32_t SCI_DeleteSnmpUser(const char* username, char* error);

/**
 * Copies the names of the user list, in the order in which they were added. Passwords are never handed back.
 *
 * @param users    receives the names in `username`, no other field is written. Must have room for the whole list;
 *                 null: only the count is wanted
 * @param aInCount receives the number of entries
 * @return 0, always
 */
BRANTIX_EXPORT int32_t SCI_GetSnmpUsers(SCI_snmp_user_s* users, unsigned int* aInCount);

/**
 * Appends a read-only community, for IPv4 and for IPv6, to the configuration file; there is no check for one that is
 * already there. The running agent is not told.
 *
 * @return 0; -1, with a line at critical: the file could not be opened or not be written to (it is then as before)
 */
BRANTIX_EXPORT int32_t SCI_ConfigureSnmp(const char* community);

/**
 * Reads the second word of each line of the configuration file that contains "rocommunity" anywhere, comments included.
 * Only blanks separate words, so the word has the line's end with it when it is the last.
 *
 * @param communities receives the words, each cut to 40 characters. Must have room for every such line; null: only the
 *                    count is wanted
 * @param count       receives the number of words; not written when there is none
 * @return 0; -1, with a line at critical: the file could not be opened
 */
BRANTIX_EXPORT int32_t SCI_GetSnmpCommunity(SCI_snmp_community_s* communities, unsigned int* count);

/**
 * Deletes every line of the configuration file that contains `community` anywhere, whatever else it says; an empty text
 * deletes all. The running agent is not told.
 *
 * @return 0, also when nothing matched; -1, with a line at critical: a step on the files failed. When the new file
 *         could not be written, the old one stays.
 */
BRANTIX_EXPORT int32_t SCI_DeleteSnmpCommunity(const char* community);

/**
 * Deletes every line of the configuration file that contains `keyword` ("sysContact" or "sysLocation") and does not
 * begin with "#".
 *
 * @return as `SCI_DeleteSnmpCommunity`
 */
BRANTIX_EXPORT int32_t GetAndDeleteSnmpSysConOrLoc(const char* keyword);

/**
 * Replaces the system contact in the configuration file. The running agent is not told.
 *
 * @param text the contact; an empty one is written as ''
 * @return 0; -1, with lines at critical: the earlier line could not be deleted, or the new one not be written (there is
 *         then none)
 */
BRANTIX_EXPORT int32_t SCI_SetSnmpSysContact(const char* text);

/**
 * Replaces the system location in the configuration file and kills the running agent, which its service then starts
 * anew. Takes a second when there is an agent to kill.
 *
 * @return as `SCI_SetSnmpSysContact`; the agent is only killed after a success
 */
BRANTIX_EXPORT int32_t SCI_SetSnmpSysLocation(const char* text);

BRANTIX_END_C

#ifdef __cplusplus
static_assert(sizeof(SCI_snmp_host_s) == 144);
static_assert(offsetof(SCI_snmp_host_s, community) == 64 && offsetof(SCI_snmp_host_s, port) == 128);
static_assert(offsetof(SCI_snmp_host_s, version) == 132 && offsetof(SCI_snmp_host_s, v3_priv) == 136);
static_assert(offsetof(SCI_snmp_host_s, notify_type) == 140);
static_assert(sizeof(SCI_snmp_user_s) == 204);
static_assert(offsetof(SCI_snmp_user_s, password) == 33 && offsetof(SCI_snmp_user_s, priv_pass) == 114);
static_assert(offsetof(SCI_snmp_user_s, auth_type) == 196 && offsetof(SCI_snmp_user_s, priv_type) == 200);
static_assert(sizeof(SCI_snmp_community_s) == 168 && offsetof(SCI_snmp_community_s, reserved) == 41);
#endif
