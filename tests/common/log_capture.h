#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "brantix/frame.h"

namespace coupler::test {

/// Is the host for as long as it lives: takes the library's log lines at every level as "LEVEL OPERATION|TEXT", such as
/// "info getFileSize|ERROR: ...". One at a time. It needs no memory; of a great many lines it keeps the last.
class LogCapture {
 public:
  LogCapture() {
    end_ = 0;
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

  /// The lines since the last call.
  std::vector<std::string> take_lines() {
    const std::lock_guard one_at_a_time(mutex_);
    std::vector<std::string> lines;
    for (size_t at = 0; at < end_; at += lines.back().size() + 1) lines.emplace_back(taken_ + at);
    end_ = 0;
    return lines;
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

 private:
  __attribute__((format(printf, 4, 5))) static void take(const char* operation, int32_t*, int32_t level,
                                                         const char* format, ...) {
    const char* name = level == debug ? "debug" : level == info ? "info" : level == critical ? "critical" : "?";
    const std::lock_guard one_at_a_time(mutex_);
    if (end_ > sizeof(taken_) / 2) end_ = 0;
    const int head = std::snprintf(taken_ + end_, sizeof(taken_) - end_, "%s %s|", name, operation);
    end_ += static_cast<size_t>(head);
    va_list arguments;
    va_start(arguments, format);
    const int text = std::vsnprintf(taken_ + end_, sizeof(taken_) - end_, format, arguments);
    va_end(arguments);
    end_ = std::min(end_ + static_cast<size_t>(text) + 1, sizeof(taken_));
  }

  static inline std::mutex mutex_;
  static inline char taken_[1 << 21];  // the lines, each with its NUL
  static inline size_t end_ = 0;
  int32_t threshold_;
};

}  // namespace coupler::test
