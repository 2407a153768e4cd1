// Command lines for the shell: no value from outside becomes anything but the argument that it is.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace coupler {

/// A text of our own, known at compile time: it stands in a command line as it is.
class Fixed {
 public:
  consteval Fixed(const char* text) : text_(text) {}  // NOLINT(google-explicit-constructor): a literal is one
  constexpr std::string_view text() const { return text_; }
  constexpr const char* c_str() const { return text_; }

 private:
  const char* text_;
};

/// A value from outside, as one literal argument of a command. An ordinary value stands as it is; in any other each
/// character that means something to the shell is quoted by itself: no multi-byte encoding takes a quotation apart, as
/// some do an escape (a backslash is a valid second byte). An empty value stays empty. The value must outlive the word.
struct ShellWord {
  explicit ShellWord(std::string_view value_) : value(value_) {}
  std::string_view value;
};

/// As ShellWord, but an empty value is an argument too: ''.
struct ShellArgument {
  explicit ShellArgument(std::string_view value_) : value(value_) {}
  std::string_view value;
};

/// A value from outside between double quotes of ours, which are closed around each character that would mean something
/// between them.
struct QuotedValue {
  explicit QuotedValue(std::string_view value_) : value(value_) {}
  std::string_view value;
};

/// A value from outside that is a command's own argument text: it stands as it is, and may be several arguments.
class ArgumentText {
 public:
  /// @return the text, or nothing when it holds a character with which a command or an expansion could start
  static std::optional<ArgumentText> from(std::string_view value);
  std::string_view value() const { return value_; }

 private:
  explicit ArgumentText(std::string_view value) : value_(value) {}

  std::string_view value_;
};

/// A command line, or a piece of one, in a buffer of fixed size: line.add("kill ").add(ShellWord(name)).add(9). What
/// does not fit is cut, never inside a quotation.
class CommandText {
 public:
  CommandText& add(Fixed text);
  CommandText& add(ShellWord word);
  CommandText& add(ShellArgument argument);
  CommandText& add(QuotedValue value);
  CommandText& add(ArgumentText text);
  CommandText& add(long number);
  CommandText& add(const CommandText& piece);

  const char* c_str() const { return data_; }
  size_t length() const { return length_; }

  /// Whether something did not fit.
  bool is_cut() const { return cut_; }

 protected:
  CommandText(char* data, size_t capacity) : data_(data), capacity_(capacity) {}
  ~CommandText() = default;

 private:
  void add_whole(std::string_view piece);
  void add_as_far_as_it_fits(std::string_view text);

  char* data_;
  size_t capacity_;
  size_t length_ = 0;
  bool cut_ = false;
};

/// A command line of at most `kCapacity` - 1 characters.
template <size_t kCapacity>
class CommandLine : public CommandText {
 public:
  CommandLine() : CommandText(buffer_, kCapacity) {}
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

 private:
  char buffer_[kCapacity] = {};
};

}  // namespace coupler
