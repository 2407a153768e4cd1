#pragma once

#include <cstdio>
#include <string_view>

namespace coupler {

/// Reads a stream line by line, in bounded memory: a line of more than 511 characters, its line end counted, comes in
/// pieces.
class LineReader {
 public:
  explicit LineReader(std::FILE* stream) : stream_(stream) {}

  /// @return the next line or piece, its line end included, with a NUL behind it, valid until the next call; empty at
  ///         the stream's end or after an error (ferror tells)
  std::string_view next();

 private:
  std::FILE* stream_;
  char piece_[512];
};

}  // namespace coupler
