#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "brantix/frame.h"

namespace coupler::test {

/// Is the host for as long as it lives: takes the library's log lines at every level as "LEVEL OPERATION|TEXT", such as
/// "info getFileSize|ERROR: ...". One at a time.
class LogCapture {
 public:
  LogCapture() {
    lines().clear();
    threshold_ = 0;
    debug = 1;
    info = 2;
    critical = 3;
    gLogPelkFn = take;
    gLogPelkModuleOffset = &threshold_;
  }
  ~LogCapture() {
    gLogPelkFn = nullptr;
    gLogPelkModuleOffset = nullptr;
    debug = info = critical = -1;
    cs_debug_verbose = cs_debug_errors = 0;
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  void set_threshold(int32_t threshold) { threshold_ = threshold; }

  /// The lines since the last call.
  std::vector<std::string> take_lines() {
    const std::lock_guard one_at_a_time(mutex);
    return std::exchange(lines(), {});
  }

  /// The same as one text. Line ends inside lines are shown as \n.
  std::string take_text() {
    std::string text;
    for (const std::string& line : take_lines()) {
      for (const char c : line) text += c == '\n' ? "\\n" : std::string(1, c);
      text += '\n';
    }
    return text;
  }

  std::string take_last_line() {
    const std::string text = take_text();
    return text.substr(text.rfind('\n', text.size() - 2) + 1);
  }

 private:
  static inline std::mutex mutex;

  static std::vector<std::string>& lines() {
    static std::vector<std::string> taken;
    return taken;
  }

  __attribute__((format(printf, 4, 5))) static void take(const char* operation, int32_t*, int32_t level,
                                                         const char* format, ...) {
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(std::vsnprintf(nullptr, 0, format, arguments)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    const char* name = level == debug ? "debug " : level == info ? "info " : level == critical ? "critical " : "? ";
    const std::lock_guard one_at_a_time(mutex);
    lines().push_back(name + std::string(operation) + '|' + text);
  }

  int32_t threshold_;
};

}  // namespace coupler::test
