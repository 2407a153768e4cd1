#pragma once

/* The platform syslog library, libtolmsyslog.so. */

#ifdef __cplusplus
extern "C" {
#endif

/** Writes one syslog message. The meaning of the numbers and of the result is the platform's. */
int tolm_syslog(long a1, const char* tag, long zero, long a2, long a5, long a6);

#ifdef __cplusplus
}
#endif
