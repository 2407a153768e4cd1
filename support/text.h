// Texts in fields of fixed size.
#pragma once

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace coupler {

/// A text field of fixed size: where it lies and how many bytes it holds, its terminator included. A field without room
/// takes nothing.
class Text {
 public:
  Text() : Text(nullptr, 0) {}
  template <size_t N>
  Text(char (&array)[N]) : data_(array), capacity_(N) {}  // NOLINT(google-explicit-constructor): an array is a field
  Text(char* data, size_t capacity) : data_(data), capacity_(data == nullptr ? 0 : capacity) {}

  /// Copies `text`, cut to the field.
  void copy(std::string_view text) const {
    if (capacity_ == 0) return;
    data_[text.copy(data_, capacity_ - 1)] = '\0';
  }

  /// As `copy`, and makes every byte behind the text zero.
  void fill(std::string_view text) const {
    if (capacity_ > 0) std::memset(data_, 0, capacity_);
    copy(text);
  }

  /// Makes the text empty; what lies behind its first byte stays.
  void clear() const { copy({}); }

  /// Ends the text in its field, whatever a caller left there.
  void terminate() const {
    if (capacity_ > 0) data_[capacity_ - 1] = '\0';
  }

  /// Formats into the field, cut to it. @return false when it was cut
  __attribute__((format(printf, 2, 3))) bool format(const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(data_, capacity_, format, arguments);
    va_end(arguments);
    return length >= 0 && static_cast<size_t>(length) < capacity_;
  }

 private:
  char* data_;
  size_t capacity_;
};

/// The text in a field of fixed size, which may lack its end.
template <size_t N>
std::string_view text_in(const char (&field)[N]) {
  return {field, ::strnlen(field, N)};
}

template <size_t N>
std::string_view text_in(const std::array<char, N>& field) {
  return {field.data(), ::strnlen(field.data(), N)};
}

/// A copy of a caller's record whose texts in `fields` end inside their fields, whatever the caller left there.
template <typename Record, size_t... N>
Record terminated(Record record, char (Record::*... fields)[N]) {
  (Text(record.*fields).terminate(), ...);
  return record;
}

/// What a log line shows for a text that may be missing.
inline const char* or_null(const char* text) { return text == nullptr ? "(null)" : text; }

}  // namespace coupler
