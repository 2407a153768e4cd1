// Parses files of the proc file system.
#include "sessions/proc_text.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "support/number.h"
#include "support/text.h"

namespace coupler::sessions {
namespace {

constexpr size_t kLine = 255;
constexpr size_t kEnvironment = 1023;

/// Takes the next line off `text`: what `fgets` would read into a buffer of `limit + 1` bytes, the line feed included.
std::string_view take_line(std::string_view& text, size_t limit) {
  const size_t feed = text.find('\n');
  const std::string_view line = text.substr(0, std::min(feed == text.npos ? text.size() : feed + 1, limit));
  text.remove_prefix(line.size());
  return line;
}

/// A terminated copy of a line; a NUL within ends it.
struct Line {
  explicit Line(std::string_view line) { Text(text).copy(line); }
  std::string_view view() const { return text; }
  char text[kLine + 1];
};

/// Takes the next string off a sequence of strings that each end in NUL, the last one perhaps in the end of the file.
/// Empty at the end.
std::string_view take_string(std::string_view& strings) {
  const std::string_view next = strings.substr(0, strings.find('\0'));
  strings.remove_prefix(std::min(next.size() + 1, strings.size()));
  return next;
}

}  // namespace

bool parse_status(std::string_view file, clikrell::ProcessStatusEntry_t& entry) {
  constexpr std::string_view kName = "Tgid:";
  while (!file.empty()) {
    const Line line(take_line(file, kLine));
    if (!line.view().starts_with(kName) || line.view().size() < kName.size() + 3) continue;
    entry.tgid = static_cast<int32_t>(leading_number(line.text + kName.size() + 1));
    return true;
  }
  return false;
}

bool parse_stat(std::string_view file, clikrell::ProcessStatEntry_t& entry) {
  const Line line(take_line(file, kLine));
  const std::string_view text = line.view();
  // The name may hold parentheses of its own; it is followed by nothing that could.
  const size_t open = text.find('(');
  const size_t close = text.rfind(')');
  if (open == text.npos || close == text.npos || close < open || text.size() - close <= 3) return false;
  Text(entry.comm).copy(text.substr(open + 1, close - open - 1));

  unsigned long long start = 0;
  const int converted = std::sscanf(line.text + close + 2,
                                    "%*c %*d %*d %*d %d %*d %*u %*u %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %llu",
                                    &entry.ttyNr, &start);
  entry.startTime = start;
  return converted == 2;
}

bool tells_of_an_end(std::string_view file) {
  constexpr unsigned long kExiting = 4;  // PF_EXITING of the kernel: before the memory goes, and in what is left
  const Line line(take_line(file, kLine));
  const size_t name_end = line.view().rfind(')');
  unsigned long flags = 0;
  return name_end == std::string_view::npos ||
         std::sscanf(line.text + name_end + 1, " %*c %*d %*d %*d %*d %*d %lu", &flags) != 1 || (flags & kExiting) != 0;
}

bool parse_cmdline(std::string_view file, clikrell::ProcessUserEntry_t& entry) {
  std::string_view arguments = take_line(file, kLine);
  for (std::string_view next; !(next = take_string(arguments)).empty();) {
    if (next != "-p") continue;
    Text(entry.user).copy(take_string(arguments));
    break;
  }
  return true;
}

bool parse_environ(std::string_view file, clikrell::ProcessUserEntry_t& entry) {
  constexpr std::string_view kName = "USER=";
  std::string_view variables = take_line(file, kEnvironment);
  for (std::string_view next; !(next = take_string(variables)).empty();) {
    if (!next.starts_with(kName) || next.size() == kName.size()) continue;
    Text(entry.user).copy(next.substr(kName.size()));
    break;
  }
  return true;
}

std::optional<int32_t> parse_uptime(std::string_view file) {
  const Line line(take_line(file, kLine));
  double seconds = 0;
  if (std::sscanf(line.text, "%lf", &seconds) != 1) return std::nullopt;
  if (!(seconds > std::numeric_limits<int32_t>::min() && seconds < std::numeric_limits<int32_t>::max())) {
    return std::nullopt;
  }
  return static_cast<int32_t>(seconds);
}

bool is_cli_shell(std::string_view name) { return name == "vsh" || name == "wytsh"; }

}  // namespace coupler::sessions
