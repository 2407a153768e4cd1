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

/// Whether the character turns the direction of what is shown, or ends a line: what follows would not be what it seems.
bool misleads(std::string_view character) {
  if (character == "\u061c") return true;
  return (character >= "\u200e" && character <= "\u200f") || (character >= "\u2028" && character <= "\u202e") ||
         (character >= "\u2066" && character <= "\u2069");
}

/// Length of the printable character at the start of the text; 0 when it is none.
size_t printable(std::string_view text) {
  const uint8_t first = byte(text[0]);
  if (first < 0x80) return first >= 0x20 && first != 0x7f;
  const size_t length = first >= 0xf0 && first < 0xf5 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first >= 0xf5 || text.size() < length) return 0;
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<ptrdiff_t>(length), continues)) return 0;
  const bool control = first == 0xc2 && byte(text[1]) < 0xa0;  // 0x80 to 0x9f are control characters too
  return control || misleads(text.substr(0, length)) ? 0 : length;
}

size_t width(std::string_view text) {
  return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), continues));
}

bool has_colour(std::FILE* stream) {
  const char* refused = std::getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && isatty(fileno(stream)) != 0;
}

std::string value_text(const Json& value) {
  if (!value.is_string()) return value.dump();
  const auto& text = value.get_ref<const std::string&>();
  return text.empty() ? "-" : text;
}

std::string cell(const Table::Column& column, const Json& row) {
  if (column.text) return column.text(row);
  const Json value = row.is_object() ? row.value(column.key, Json("")) : row;
  return value.is_string() ? value.get<std::string>() : value.dump();
}

void add_rows(Table& table, const std::string& key, const Json& value) {
  if (!value.is_array()) return table.row({title(key), value_text(value)});
  if (value.empty()) return table.row({title(key), "-"});
  for (size_t i = 0; i < value.size(); ++i) table.row({i == 0 ? title(key) : "", value_text(value[i])});
}

}  // namespace

std::FILE* result_stream() {
  static std::FILE* const stream = ::fdopen(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "w");
  return stream;
}

std::string escaped(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const size_t length = printable(text);
    if (length == 0) result += "\\x" + hexadecimal(byte(text[0]));
    result += text.substr(0, length);
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return result;
}

std::string escaped_lines(std::string_view text) {
  const size_t end = text.find('\n');
  if (end == text.npos) return escaped(text);
  return escaped(text.substr(0, end)) + '\n' + escaped_lines(text.substr(end + 1));
}

std::string title(std::string key) {
  std::replace(key.begin(), key.end(), '_', ' ');
  return key;
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
  if (style == Style::kPlain || !has_colour(stream)) return std::string(text);
  return kCodes[static_cast<size_t>(style)] + std::string(text) + "\033[0m";
}

Table::Table(std::vector<Column> columns, const Json& rows, const Test& alarming) : columns_(std::move(columns)) {
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  const bool titled = std::any_of(titles.begin(), titles.end(), [](const auto& text) { return !text.empty(); });
  if (titled) row(std::move(titles), Style::kHeading);
  for (const Json& values : rows) {
    std::vector<std::string> cells;
    for (const Column& column : columns_) cells.push_back(cell(column, values));
    row(std::move(cells), alarming && alarming(values) ? Style::kAlarm : Style::kPlain);
  }
}

void Table::row(std::vector<std::string> cells, Style style) {
  for (std::string& cell : cells) cell = escaped(cell);
  rows_.push_back({std::move(cells), style});
}

void Table::print() const {
  std::vector<size_t> widths(columns_.size());
  for (const Row& row : rows_) {
    for (size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], width(row.cells[i]));
  }
  for (const Row& row : rows_) print(row, widths);
}

void Table::print(const Row& row, const std::vector<size_t>& widths) const {
  std::string line;
  for (size_t i = 0; i < widths.size(); ++i) {
    const std::string fill(widths[i] - width(row.cells[i]), ' ');
    line += columns_[i].align == Align::kRight ? fill + row.cells[i] : row.cells[i] + fill;
    line += "  ";
  }
  line.erase(line.find_last_not_of(' ') + 1);
  print_line(styled(line, row.style, result_stream()));
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

void print_table(const Context& context, const Json& value, const Table& table) {
  context.json ? print_json(value) : table.print();
}

void print_report(const Context& context, const Json& report) {
  if (context.json) return print_json(report);
  Table table({{""}, {""}});
  for (const auto& [key, value] : report.items()) add_rows(table, key, value);
  table.print();
}

void print_message(std::string_view kind, std::string_view text, Style style) {
  std::fprintf(stderr, "couplerctl: %s %s\n", styled(kind, style, stderr).c_str(), escaped_lines(text).c_str());
}

}  // namespace coupler::tools
