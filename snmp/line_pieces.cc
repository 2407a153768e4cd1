#include "snmp/line_pieces.h"

namespace coupler::snmp {

// Not fgets: a NUL in the line would hide how much was read.
std::string_view LinePieces::next() {
  size_t length = 0;
  for (int c = 0; c != '\n' && length < sizeof(piece_) - 1; piece_[length++] = static_cast<char>(c)) {
    c = ::getc_unlocked(file_);
    if (c == EOF) break;
  }
  piece_[length] = '\0';
  return {piece_, length};
}

}  // namespace coupler::snmp
