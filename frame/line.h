#pragma once

#include <string_view>

#include "frame/log.h"

namespace coupler {

/// A log line that stands in a table: its level and its format, which takes nothing or one text. The compiler refuses
/// any other format.
class LogLine {
 public:
  /// No line at all.
  consteval LogLine() = default;
  consteval LogLine(const int32_t& level, const char* format)
      : level_(&level), format_(format), takes_text_(conversions(format) != 0) {}

  void write(const char* operation, const char* text = nullptr) const {
    if (level_ == nullptr) return;
    const LogGate gate(*level_);
    if (!gate.passes()) return;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    if (takes_text_) {
      gate.write(operation, gate.threshold, gate.level, format_, text);
    } else {
      gate.write(operation, gate.threshold, gate.level, format_);
    }
#pragma GCC diagnostic pop
  }

 private:
  static consteval int conversions(std::string_view format) {
    int count = 0;
    for (size_t i = 0; i < format.size(); ++i) {
      if (format[i] != '%') continue;
      if (++count > 1 || format.substr(i, 2) != "%s") throw "a line of a table takes one text at most";
    }
    return count;
  }

  const int32_t* level_ = nullptr;
  const char* format_ = nullptr;
  bool takes_text_ = false;
};

}  // namespace coupler
