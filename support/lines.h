#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>

namespace coupler {

/// Reads a text file line by line.
class LineReader {
 public:
  /// `file` may be null: a file without lines.
  explicit LineReader(std::FILE* file) : file_(file) {}
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  /// Takes the next line, its line end included where it has one; like every text it ends at its first NUL. Valid until
  /// the next call. @return nothing when none is left or can be read
  std::optional<std::string_view> next();

 private:
  std::FILE* file_;
  char* line_ = nullptr;
  size_t capacity_ = 0;
};

/// Reads a stream line by line in bounded memory: a line of more than 511 characters, its line end counted, comes in
/// pieces.
class PieceReader {
 public:
  explicit PieceReader(std::FILE* stream) : stream_(stream) {}

  /// @return the next line or piece, its line end included, with a NUL behind it, valid until the next call; empty at
  ///         the stream's end or after an error (ferror tells)
  std::string_view next();

 private:
  std::FILE* stream_;
  char piece_[512];
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
