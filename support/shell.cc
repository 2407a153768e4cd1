// Quotes what the shell would read, character by character, and cuts what does not fit.
#include "support/shell.h"

#include <charconv>
#include <cstring>

namespace coupler {
namespace {

constexpr std::string_view kSpecial = " \"'$`;|&<>(){}*?[!\\";
constexpr std::string_view kSpecialAtStart = "#~";
constexpr std::string_view kSpecialInQuotes = "\\\"$`";
constexpr std::string_view kStartsCommand = ";|&<>()$`\n";

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

bool is_special(std::string_view value, size_t i) {
  const char c = value[i];
  return is_control(c) || kSpecial.find(c) != std::string_view::npos ||
         (i == 0 && kSpecialAtStart.find(c) != std::string_view::npos);
}

}  // namespace

std::optional<ArgumentText> ArgumentText::from(std::string_view value) {
  if (value.find_first_of(kStartsCommand) != std::string_view::npos) return std::nullopt;
  return ArgumentText(value);
}

// Once something was cut, nothing follows: what stands is the beginning of the whole line.
void CommandText::add_whole(std::string_view piece) {
  cut_ = cut_ || piece.size() >= capacity_ - length_;
  if (cut_) return;
  std::memcpy(data_ + length_, piece.data(), piece.size());
  length_ += piece.size();
  data_[length_] = '\0';
}

void CommandText::add_as_far_as_it_fits(std::string_view text) {
  const size_t room = capacity_ - 1 - length_;
  add_whole(text.substr(0, room));
  cut_ = cut_ || text.size() > room;
}

CommandText& CommandText::add(Fixed text) {
  add_as_far_as_it_fits(text.text());
  return *this;
}

CommandText& CommandText::add(ShellWord word) {
  for (size_t i = 0; i < word.value.size(); ++i) {
    const char c = word.value[i];
    const char quote = c == '\'' ? '"' : '\'';
    const char quoted[] = {quote, c, quote};
    add_whole(is_special(word.value, i) ? std::string_view(quoted, sizeof(quoted)) : std::string_view(&c, 1));
  }
  return *this;
}

CommandText& CommandText::add(ShellArgument argument) {
  return argument.value.empty() ? add("''") : add(ShellWord(argument.value));
}

CommandText& CommandText::add(QuotedValue value) {
  for (const char c : value.value) {
    const char quoted[] = {'"', '\'', c, '\'', '"'};
    const bool special = kSpecialInQuotes.find(c) != std::string_view::npos;
    add_whole(special ? std::string_view(quoted, sizeof(quoted)) : std::string_view(&c, 1));
  }
  return *this;
}

CommandText& CommandText::add(ArgumentText text) {
  add_as_far_as_it_fits(text.value());
  return *this;
}

CommandText& CommandText::add(long number) {
  char digits[24];
  const char* end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
  add_as_far_as_it_fits({digits, static_cast<size_t>(end - digits)});
  return *this;
}

CommandText& CommandText::add(const CommandText& piece) {
  add_whole({piece.data_, piece.length_});
  cut_ = cut_ || piece.cut_;
  return *this;
}

}  // namespace coupler
