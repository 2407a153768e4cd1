// What the coupler calls of the platform board query.
#pragma once

/* The platform board query, libquorvaosc.so.1. */

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

/** @return the board type: 1 has an NPU and a power sequencer, 2 and 3 have an SSD at /dev/sda */
int get_platform_board_type(void);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop
