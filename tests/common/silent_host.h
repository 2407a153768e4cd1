#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

#include "brantix/frame.h"

namespace coupler::test {

/// Is the host for as long as it lives: has every log line written out, the verbose ones included, and keeps the last
/// ones. It needs no memory.
class SilentHost {
 public:
  SilentHost() {
    debug = info = cs_debug_verbose = 1;
    critical = 2;
    end_ = 0;
    gLogPelkFn = take;
    gLogPelkModuleOffset = &threshold_;
  }
  ~SilentHost() {
    gLogPelkFn = nullptr;
    gLogPelkModuleOffset = nullptr;
  }
  SilentHost(const SilentHost&) = delete;
  SilentHost& operator=(const SilentHost&) = delete;

  /// The last lines, such as "2 no memory" at critical.
  std::string said() const { return {said_, end_}; }

 private:
  __attribute__((format(printf, 4, 5))) static void take(const char*, int32_t*, int32_t level, const char* format,
                                                         ...) {
    char line[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    if (end_ > sizeof(said_) / 2) end_ = 0;
    end_ += static_cast<size_t>(std::snprintf(said_ + end_, sizeof(said_) / 2, "%d %s", level, line));
  }

  static inline char said_[16384];
  static inline size_t end_ = 0;
  int32_t threshold_ = 0;
};

}  // namespace coupler::test
