// What a person typed: read, checked, and where it is wrong compared with what there is.
#include "tools/usage.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <numeric>
#include <sstream>

namespace coupler::tools {
namespace {

bool same(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

bool means(const Choice& choice, const std::string& text) {
  if (same(choice.name, text)) return true;
  std::istringstream names(choice.also);
  for (std::string name; names >> name;) {
    if (same(name, text)) return true;
  }
  return false;
}

std::string list(std::span<const Choice> choices) {
  std::string text;
  for (const Choice& choice : choices) text.append(text.empty() ? "" : ", ").append(choice.name);
  return text;
}

/// How many letters must be put in, taken out or replaced to make one word the other.
size_t distance(const std::string& from, const std::string& to) {
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t replaced = diagonal + (from[i] != to[j]);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

struct Guess {
  std::string name;
  size_t distance;
};

void look(const std::vector<Command>& commands, const std::string& above, const std::string& word, Guess& best) {
  for (const Command& command : commands) {
    const std::string name = above + command.name;
    const size_t away = distance(word, command.name);
    if (away < best.distance) best = {name, away};
    look(command.commands, name + ' ', word, best);
  }
}

}  // namespace

std::string checked(const Argument& argument, const std::string& text) {
  if (!argument.choices.empty()) {
    for (const Choice& choice : argument.choices) {
      if (means(choice, text)) return std::to_string(choice.number);
    }
    throw WrongUsage(argument.name + ": " + text + " is none of " + list(argument.choices), argument.name);
  }
  if (argument.most < 0) return text;
  int64_t number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size() && number >= 0 && number <= argument.most) return text;
  throw WrongUsage(argument.name + ": " + text + " is no number from 0 to " + std::to_string(argument.most),
                   argument.name);
}

std::string nearest(const std::vector<Command>& commands, const std::string& word) {
  Guess best{"", 1 + std::max<size_t>(1, word.size() / 3)};
  look(commands, "", word, best);
  return best.name;
}

}  // namespace coupler::tools
