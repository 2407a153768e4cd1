#include "support/lines.h"

#include <cstdlib>

namespace coupler {

LineReader::~LineReader() { std::free(line_); }

std::optional<std::string_view> LineReader::next() {
  if (file_ == nullptr || ::getline(&line_, &capacity_, file_) < 0) return std::nullopt;
  return line_;
}

}  // namespace coupler
