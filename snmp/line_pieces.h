#pragma once

#include <cstdio>
#include <string_view>

namespace coupler::snmp {

/// Reads the agent's configuration file line by line, as the agent's operations judge it: a line of more than 511
/// characters, its line end counted, comes in pieces.
class LinePieces {
 public:
  explicit LinePieces(std::FILE* file) : file_(file) {}

  /// @return the next line or piece, its line end included, with a NUL behind it, valid until the next call; empty at
  ///         the file's end or after an error (ferror tells)
  std::string_view next();

 private:
  std::FILE* file_;
  char piece_[512];
};

}  // namespace coupler::snmp
