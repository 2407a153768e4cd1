// Text line by line, in bounded memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace coupler {

/// Reads lines from a descriptor, which stays its caller's; -1 is a file without lines. Interrupted reads are resumed.
class LineReader {
 public:
  /// The next line, its line end included where it has one; of a line longer than the limit the next piece. Valid until
  /// the next call. @return nothing when none is left or can be read
  std::optional<std::string_view> next_piece();

  /// The next line as a text: cut to the limit, and at its first NUL.
  std::optional<std::string_view> next_line();

 protected:
  LineReader(int descriptor, size_t limit, std::span<char> buffer)
      : descriptor_(descriptor), limit_(limit), buffer_(buffer) {}
  ~LineReader() = default;

 private:
  std::string_view held() const { return {buffer_.data() + begin_, end_ - begin_}; }
  bool refill();

  int descriptor_;
  size_t limit_;
  std::span<char> buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  bool in_line_ = false;  // the last piece did not end its line
  bool failed_ = false;
};

/// Reads lines of at most `kLimit` characters, the line end counted.
template <size_t kLimit>
class LinesOf : public LineReader {
 public:
  explicit LinesOf(int descriptor) : LineReader(descriptor, kLimit, bytes_) {}
  LinesOf(const LinesOf&) = delete;
  LinesOf& operator=(const LinesOf&) = delete;

 private:
  char bytes_[std::max<size_t>(kLimit, 16384)];
};

/// The beginning of `text` up to the first of the characters `ends`; all of it when it holds none.
inline std::string_view up_to(std::string_view text, std::string_view ends) {
  return text.substr(0, text.find_first_of(ends));
}

/// Takes the next word off `text`. A run of separators counts as one, those in front are skipped. @return the word;
/// empty when none is left
inline std::string_view take_word(std::string_view& text, std::string_view separators) {
  text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
  const std::string_view word = up_to(text, separators);
  text.remove_prefix(word.size());
  return word;
}

}  // namespace coupler
