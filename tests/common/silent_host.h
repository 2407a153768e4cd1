#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "brantix/frame.h"

namespace coupler::test {

/// Is the host for as long as it lives: has every log line written out, the verbose ones included, and forgets it. It
/// needs no memory.
class SilentHost {
 public:
  SilentHost() {
    debug = info = critical = cs_debug_verbose = 1;
    gLogPelkFn = take;
    gLogPelkModuleOffset = &threshold_;
  }
  ~SilentHost() {
    gLogPelkFn = nullptr;
    gLogPelkModuleOffset = nullptr;
  }
  SilentHost(const SilentHost&) = delete;
  SilentHost& operator=(const SilentHost&) = delete;

 private:
  __attribute__((format(printf, 4, 5))) static void take(const char*, int32_t*, int32_t, const char* format, ...) {
    char line[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
  }

  int32_t threshold_ = 0;
};

}  // namespace coupler::test
