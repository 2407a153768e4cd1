#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

/// What a subcommand of couplerctl is: a row with its arguments and one function. A family is a file cmd_*.cc, declared
/// here and listed once in couplerctl.cc.
namespace coupler::tool {

/// The options that every subcommand has.
struct Context {
  bool json = false;
  std::string log;  ///< lowest level of the library's lines to show; empty: none
};

/// The operation failed: ends the program with exit code 1. The text says what went wrong and what to do.
struct Failure : std::runtime_error {
  using runtime_error::runtime_error;
};

struct Arguments : std::map<std::string, std::string> {
  std::vector<std::string> rest;  ///< the words of the argument that repeats
};

struct Argument {
  std::string name;  ///< FILE: positional and required; --file: an option
  std::string about;
  bool number = false;
  bool flag = false;                      ///< an option without a value
  bool repeats = false;                   ///< the last one: positional, any number of words
  std::vector<std::string> choices = {};  ///< the values that it may have; empty: any
};

struct Command {
  std::string name;
  std::string about;
  std::vector<Argument> arguments = {};
  void (*run)(const Context&, const Arguments&) = nullptr;  ///< null for a family
  std::vector<Command> commands = {};
};

Command image_family();
Command container_family();
Command bundle_family();
Command snmp_family();
Command command_command();
Command versions_command();
Command boot_names_command();
Command firmware_family();
Command ssd_family();
Command sessions_command();
Command role_command();
Command notify_command();
Command syslog_family();

}  // namespace coupler::tool
