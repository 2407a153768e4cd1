// Names of files that cannot leave their directory.
#pragma once

#include <optional>
#include <string_view>

#include "support/text.h"

namespace coupler {

/// The name of a file in a directory: not empty, not "." or "..", without "/". So it cannot leave its directory.
class FileName {
 public:
  /// @return the name made of `prefix` and `name`, or nothing when it would leave its directory
  static std::optional<FileName> from(std::string_view prefix, std::string_view name) {
    if (name.find('/') != std::string_view::npos) return std::nullopt;
    if (prefix.empty() && (name.empty() || name == "." || name == "..")) return std::nullopt;
    return FileName(prefix, name);
  }

  /// Writes the path of the file in `directory`, cut to the field.
  void path_in(const char* directory, Text path) const {
    path.format("%s/%.*s%.*s", directory, static_cast<int>(prefix_.size()), prefix_.data(),
                static_cast<int>(name_.size()), name_.data());
  }

 private:
  FileName(std::string_view prefix, std::string_view name) : prefix_(prefix), name_(name) {}

  std::string_view prefix_;
  std::string_view name_;
};

}  // namespace coupler
