// The lines that stand in tables: formats whose arguments the compiler knows although the call does not show them.
#pragma once

#include <string_view>

#include "frame/log.h"

namespace coupler {

/// A log line as a row of a table holds it: its level and its format, which takes the first of `Arguments`, as many as
/// it has conversions. The compiler refuses a format that they do not fit.
template <typename... Arguments>
class LogMessage {
 public:
  /// No line at all.
  consteval LogMessage() = default;
  consteval LogMessage(const int32_t& level, const char* format) : level_(&level), format_(format) {
    if (!fits(format)) throw "the format does not fit the arguments of its table";
  }

  void write(const char* operation, Arguments... arguments) const {
    if (level_ == nullptr) return;
    const LogGate gate(*level_);
    if (!gate.passes()) return;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    gate.write(operation, gate.threshold, gate.level, format_, arguments...);
#pragma GCC diagnostic pop
  }

 private:
  static consteval char conversion_of(const char*) { return 's'; }
  static consteval char conversion_of(int) { return 'd'; }
  static consteval char conversion_of(unsigned) { return 'u'; }

  static consteval bool fits(std::string_view format) {
    constexpr char kConversions[] = {conversion_of(Arguments{})..., '\0'};
    size_t next = 0;
    for (size_t i = format.find('%'); i != format.npos; i = format.find('%', i + 2), ++next) {
      if (next >= sizeof...(Arguments) || i + 1 == format.size() || format[i + 1] != kConversions[next]) return false;
    }
    return true;
  }

  const int32_t* level_ = nullptr;
  const char* format_ = nullptr;
};

}  // namespace coupler
