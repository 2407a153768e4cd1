#include "support/lines.h"

#include <cstdlib>

namespace coupler {

LineReader::~LineReader() { std::free(line_); }

std::optional<std::string_view> LineReader::next() {
  if (file_ == nullptr || ::getline(&line_, &capacity_, file_) < 0) return std::nullopt;
  return line_;
}

// Not fgets: a NUL in the line would hide how much was read.
std::string_view PieceReader::next() {
  size_t length = 0;
  for (int c = 0; c != '\n' && length < sizeof(piece_) - 1; piece_[length++] = static_cast<char>(c)) {
    c = ::getc_unlocked(stream_);
    if (c == EOF) break;
  }
  piece_[length] = '\0';
  return {piece_, length};
}

}  // namespace coupler
