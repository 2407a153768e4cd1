#include "support/lines.h"

namespace coupler {

// Not fgets: a NUL in the line would hide how much was read.
std::string_view LineReader::next() {
  size_t length = 0;
  for (int c = 0; c != '\n' && length < sizeof(piece_) - 1; piece_[length++] = static_cast<char>(c)) {
    c = ::getc_unlocked(stream_);
    if (c == EOF) break;
  }
  piece_[length] = '\0';
  return {piece_, length};
}

}  // namespace coupler
