// Cuts what a descriptor delivers into lines.
#include "support/lines.h"

#include <cstring>

#include "support/handle.h"

namespace coupler {

/// Makes room behind the bytes held and reads there. @return false at the end
bool LineReader::refill() {
  std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  const ssize_t got = read_some(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
  failed_ = got < 0;
  if (got > 0) end_ += static_cast<size_t>(got);
  return got > 0;
}

std::optional<std::string_view> LineReader::next_piece() {
  size_t feed = held().find('\n');
  while (feed == std::string_view::npos && held().size() < limit_ && refill()) feed = held().find('\n');
  if (held().empty() || failed_) return std::nullopt;
  const std::string_view piece = held().substr(0, std::min(feed == std::string_view::npos ? limit_ : feed + 1, limit_));
  begin_ += piece.size();
  in_line_ = !piece.ends_with('\n');
  return piece;
}

std::optional<std::string_view> LineReader::next_line() {
  while (in_line_ && next_piece()) {
  }
  const auto piece = next_piece();
  return piece ? std::optional(up_to(*piece, std::string_view("\0", 1))) : std::nullopt;
}

}  // namespace coupler
