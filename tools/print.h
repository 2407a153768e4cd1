// Results for people and for programs.
#pragma once

#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/command.h"

namespace coupler::tools {

using Json = nlohmann::ordered_json;

/// Where results go: standard output as it was when this was first asked for; null when there was none.
std::FILE* result_stream();

/// The text with control characters, those that turn its direction, and broken UTF-8 as \xNN, so that a terminal shows
/// it and does not obey it. The characters `kept` stay.
std::string escaped(std::string_view text, std::string_view kept = "");

std::string without_line_end(std::string text);

/// Two digits.
std::string hexadecimal(unsigned char value);

enum class Style { kPlain, kHeading, kAlarm };

/// The text in the style, where `stream` is a terminal and the user did not ask for none (NO_COLOR).
std::string styled(std::string_view text, Style style, std::FILE* stream);

/// Of a table. It is as wide as its widest cell; cells are escaped.
struct Column {
  std::string title;
  std::string key = title;  ///< of the value in a row that is an object; a row that is none is the value
  bool right = false;       ///< aligned there
  std::function<std::string(const Json& row)> text = nullptr;  ///< instead of the value as it is
  std::string empty = "";                                      ///< instead of an empty text or list
};
using Columns = std::vector<Column>;

/// A line of the result.
void print_line(std::string_view text);

/// Keeps the one document of --json, which `print_end` prints.
void print_json(const Json& value);

/// Prints what was kept, with the status, the reason and the place of a failure in it, and sees that the result
/// arrived.
///
/// @return whether it did
bool print_end();
void print_failure(const Context& context, int status, const Failure& failure);

/// Prints the document with --json, else a table: the titles, where a column has one, and the rows.
///
/// @param rows     a list
/// @param alarming says which of them stand out
void print_table(
    const Context& context, const Json& document, const Columns& columns, const Json& rows,
    const std::function<bool(const Json& row)>& alarming = [](const Json&) { return false; });

/// Prints an object: as it is with --json, else a line for each key, "package_version" as "package version", with each
/// value of a list, and what the object "sources" among them says of the key.
void print_report(const Context& context, const Json& report);

/// "couplerctl: error: text" on standard error.
void print_message(std::string_view kind, std::string_view text, Style style);

}  // namespace coupler::tools
