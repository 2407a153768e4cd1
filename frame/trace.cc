// The trace printer, behind its flags.
#include <cstdio>

#include "brantix/frame.h"

void T_log(int level, const char* message) {
  const bool verbose = level >= -3 && level <= 0 && cs_debug_verbose != 0;
  const bool error = level >= 1 && level <= 2 && cs_debug_errors != 0;
  if ((verbose || error) && message != nullptr) std::fputs(message, stdout);
}
