// What the coupler calls of the platform firmware library.
#pragma once

/* The platform firmware library, libmelskfw.so. */

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

/** The host's log function: operation, threshold, level, printf-style format, arguments. */
typedef void melskfw_log_fn(const char* operation, int* threshold, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/** Hands over the host's levels, log function and threshold; the last two may be null. The result means nothing. */
int melskfw_initBrantixDebug(int debug, int info, int critical, melskfw_log_fn* log, int* threshold);

/** Stages the firmware at `path` for the next upgrade. @return 0, or the library's own error code */
int melskfw_upgradeStart(const char* path);

/* Versions of the running firmware: static texts. */
const char* melskfw_readVersionRommon(void);
const char* melskfw_readVersionFpga(void);
const char* melskfw_readVersionPseq(void);

/** @return how the last boot went */
int melskfw_bootStatus(void);

/** @return state of the upgrade of `component`, 0 to 3 */
int melskfw_getUpgState(int component);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop
