// What a subcommand of couplerctl is: a row with its arguments and one function.
#pragma once

#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/lines.h"
#include "tools/pack/manifest.h"

/// The commands of a file cmd_*.cc are declared here and listed once in couplerctl.cc.
namespace coupler::tools {

/// The options that every subcommand has.
struct Context {
  bool json = false;
  std::string log;  ///< lowest level of the library's lines to show; empty: none
};

/// The operation failed: ends the program with exit code 1. The text says what went wrong and what to do.
using Failure = pack::Error;
using pack::Input, pack::Lines, pack::Nameless, pack::joined, pack::lines_of, pack::readable;

/// What was asked for cannot be meant: ends the program with exit code 2.
struct WrongUsage : Failure {
  using Failure::Failure;
};

/// What an argument may be: its name and other ways to write it, separated by blanks, and the number it stands for.
struct Choice {
  std::string_view names;
  int32_t number;

  std::string_view name() const { return up_to(names, " "); }
  bool means(std::string_view text) const;
};

/// The number that the whole text is; none when it is no number, or out of the type's range.
template <typename Number>
std::optional<Number> number_in(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

struct Arguments : std::map<std::string, std::string> {
  std::vector<std::string> rest;  ///< the words of the argument that repeats

  std::string text(const std::string& name, const char* otherwise = "") const {
    return contains(name) ? at(name) : otherwise;
  }
  /// A number, or what a choice stands for.
  int32_t number(const std::string& name, int32_t otherwise = 0) const {
    return contains(name) ? static_cast<int32_t>(std::stol(at(name))) : otherwise;
  }
};

struct Argument {
  std::string name;  ///< FILE, N, ...: positional, required; --file: an option
  std::string about;
  int64_t most = -1;                     ///< a number from 0 to this; -1: a text
  bool flag = false;                     ///< an option without a value
  bool repeats = false;                  ///< the last one: positional, any number of words; none where it is optional
  bool optional = false;                 ///< positional, but may be left out
  std::span<const Choice> choices = {};  ///< the values that it may have; empty: any
};

inline const Argument kForce = {.name = "--force", .about = "Go on whatever is wrong with the file", .flag = true};

struct Command {
  std::string name;
  std::string about;
  std::vector<Argument> arguments = {};
  std::function<void(const Context&, const Arguments&)> run = nullptr;  ///< null for a family
  std::vector<Command> commands = {};
};

using Commands = std::vector<Command>;

Commands container_commands();
Commands bundle_commands();
Commands firmware_commands();
Commands snmp_commands();
Commands notify_commands();
Commands syslog_commands();
Commands session_commands();
Commands template_commands();
Commands doctor_commands();

Command diff_command(bool parts_only);

/// Says what is wrong with files, which it calls `name`.
using Check = std::function<void(const Context&, const std::vector<std::string>& paths, const std::string& name)>;

/// The command that builds a file of the kind. @param check null where there is no --check
Command pack_command(pack::Kind kind, const char* about, const char* manifest, const char* out,
                     const Check& check = nullptr);

}  // namespace coupler::tools
