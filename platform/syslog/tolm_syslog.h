/* The platform syslog library, libtolmsyslog.so. */
#pragma once

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes one syslog message.
 *
 * The meaning of the numbers and of the result is the platform's. The stand-in reads them so: a1 is the priority as
 * syslog(3) takes it, or informational when it is none; a2 is the address of the message's text, of which the first
 * 1024 bytes are written, or, when no readable text lies there, a number that is itself the message; the others are not
 * read.
 * @return 0
 */
int tolm_syslog(long a1, const char* tag, long zero, long a2, long a5, long a6);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop
