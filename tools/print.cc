// Results for people and for programs.
#include "tools/print.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace coupler::tools {
namespace {

Json document = nullptr;

uint8_t byte(char c) { return static_cast<uint8_t>(c); }

bool continues(char c) { return (byte(c) & 0xc0) == 0x80; }

/// First and last of the characters that control, turn the direction of what is shown, or end a line: what follows
/// would not be what it seems.
constexpr std::string_view kHidden[][2] = {
    {"\xc2\x80", "\xc2\x9f"}, {"\u061c", "\u061c"}, {"\u200e", "\u200f"}, {"\u2028", "\u202e"}, {"\u2066", "\u2069"}};

/// Length of the printable character at the start of the text; 0 when it is none.
size_t printable(std::string_view text) {
  const uint8_t first = byte(text[0]);
  if (first < 0x80) return first >= 0x20 && first != 0x7f;
  const size_t length = first >= 0xf0 && first < 0xf5 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first >= 0xf5 || text.size() < length) return 0;
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<ptrdiff_t>(length), continues)) return 0;
  const std::string_view character = text.substr(0, length);
  const auto holds = [&](const auto& range) { return character >= range[0] && character <= range[1]; };
  return std::ranges::any_of(kHidden, holds) ? 0 : length;
}

size_t width(std::string_view text) {
  return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), continues));
}

/// "package version" of "package_version".
std::string title(std::string key) {
  std::ranges::replace(key, '_', ' ');
  return key;
}

std::string cell(const Column& column, const Json& row) {
  if (column.text) return column.text(row);
  const Json value = row.is_object() ? row.value(column.key, Json("")) : row;
  if (value == "" || value == Json::array()) return column.empty;
  return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

std::FILE* result_stream() {
  static std::FILE* const stream = ::fdopen(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "w");
  return stream;
}

std::string escaped(std::string_view text, std::string_view kept) {
  std::string result;
  while (!text.empty()) {
    const size_t length = kept.find(text[0]) == kept.npos ? printable(text) : 1;
    if (length == 0) result += "\\x" + hexadecimal(byte(text[0]));
    result += text.substr(0, length);
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return result;
}

std::string without_line_end(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string hexadecimal(unsigned char value) {
  char digits[3];
  std::snprintf(digits, sizeof digits, "%02x", value);
  return digits;
}

std::string styled(std::string_view text, Style style, std::FILE* stream) {
  constexpr const char* kCodes[] = {"", "\033[1m", "\033[31m"};
  const char* refused = std::getenv("NO_COLOR");
  const bool plain =
      style == Style::kPlain || (refused != nullptr && *refused != '\0') || ::isatty(fileno(stream)) == 0;
  if (plain) return std::string(text);
  return kCodes[static_cast<size_t>(style)] + std::string(text) + "\033[0m";
}

void print_table(const Context& context, const Json& value, const Columns& columns, const Json& rows,
                 const std::function<bool(const Json& row)>& alarming) {
  if (context.json) return print_json(value);
  std::vector<std::string> lines(1 + rows.size());
  for (const Column& column : columns) {
    std::vector<std::string> cells = {column.title};
    for (const Json& row : rows) cells.push_back(escaped(cell(column, row)));
    const size_t widest = width(std::ranges::max(cells, {}, width));
    for (size_t i = 0; i < lines.size(); ++i) {
      const std::string fill(widest - width(cells[i]), ' ');
      lines[i] += (column.right ? fill + cells[i] : cells[i] + fill) + "  ";
    }
  }
  for (size_t i = 0; i < lines.size(); ++i) {
    lines[i].erase(lines[i].find_last_not_of(' ') + 1);
    const Style style = i == 0 ? Style::kHeading : alarming(rows[i - 1]) ? Style::kAlarm : Style::kPlain;
    if (i > 0 || !lines[i].empty()) print_line(styled(lines[i], style, result_stream()));
  }
}

void print_line(std::string_view text) {
  std::fprintf(result_stream(), "%.*s\n", static_cast<int>(text.size()), text.data());
}

void print_json(const Json& value) { document = value; }

bool print_end() {
  if (!document.is_null()) print_line(document.dump(2, ' ', false, Json::error_handler_t::replace));
  document = nullptr;
  return std::fflush(result_stream()) == 0 && std::ferror(result_stream()) == 0;
}

void print_failure(const Context& context, int status, const Failure& failure) {
  std::fflush(result_stream());
  print_message("error:", failure.what(), Style::kAlarm);
  if (!context.json) return;
  if (!document.is_object()) document = document.is_null() ? Json::object() : Json{{"result", document}};
  document.update({{"status", status}, {"reason", failure.what()}, {"place", failure.place}});
}

void print_report(const Context& context, const Json& report) {
  if (context.json) return print_json(report);
  const Json sources = report.value("sources", Json::object());
  Json rows = Json::array();
  for (const auto& [key, value] : report.items()) {
    if (key == "sources") continue;
    const Json values = value.is_array() && !value.empty() ? value : Json::array({value});
    for (size_t i = 0; i < values.size(); ++i) {
      rows.push_back({{"key", i == 0 ? title(key) : ""}, {"value", values[i]}, {"source", sources.value(key, "")}});
    }
  }
  print_table(context, report, {{"", "key"}, {.title = "", .key = "value", .empty = "-"}, {"", "source"}}, rows);
}

void print_message(std::string_view kind, std::string_view text, Style style) {
  std::fprintf(stderr, "couplerctl: %s %s\n", styled(kind, style, stderr).c_str(), escaped(text, "\n").c_str());
}

}  // namespace coupler::tools
