// couplerctl: finds the command that was meant, runs it, and ends with what came of it.
#include <strings.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <numeric>

#include "support/handle.h"
#include "tools/command.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Chosen {
  const Command* command = nullptr;
  const CLI::App* app = nullptr;
};

std::string list(std::span<const Choice> choices, const char* separator) {
  std::string text;
  for (const Choice& choice : choices) text.append(text.empty() ? "" : separator).append(choice.name());
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

/// The value that an argument is given, checked: of a choice its number. @throws WrongUsage
std::string checked(const Argument& argument, const std::string& text) {
  if (!argument.choices.empty()) {
    for (const Choice& choice : argument.choices) {
      if (choice.means(text)) return std::to_string(choice.number);
    }
    throw WrongUsage(argument.name + ": " + text + " is none of " + list(argument.choices, ", "), argument.name);
  }
  if (argument.most < 0) return text;
  int64_t number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size() && number >= 0 && number <= argument.most) return text;
  throw WrongUsage(argument.name + ": " + text + " is no number from 0 to " + std::to_string(argument.most),
                   argument.name);
}

/// The full name of the command whose last word is most like `word`, such as "bundle verify"; empty when none is like
/// it.
std::string nearest(const std::vector<Command>& commands, const std::string& word) {
  Guess best{"", 1 + std::max<size_t>(1, word.size() / 3)};
  look(commands, "", word, best);
  return best.name;
}

bool is_option(const Argument& argument) { return argument.name.starts_with('-'); }

bool is_input(const Argument& argument) { return argument.name.starts_with("FILE") || argument.name == "MANIFEST"; }

void must_be_readable(const std::string& path) {
  if (path == "-") return;
  if (!open_at_once(path.c_str(), O_RDONLY)) throw Failure("cannot read " + path + ": " + std::strerror(errno), path);
  if (std::filesystem::is_directory(path)) throw Failure("cannot read " + path + ": not a regular file", path);
}

Arguments arguments_of(const Chosen& chosen) {
  Arguments arguments;
  for (const Argument& argument : chosen.command->arguments) {
    const CLI::Option* const option = chosen.app->get_option(argument.name);
    if (argument.repeats) {
      arguments.rest = option->results();
    } else if (option->count() > 0) {
      arguments[argument.name] = checked(argument, option->as<std::string>());
    }
  }
  return arguments;
}

/// Of several files a command says itself which it cannot read.
void look_at_inputs(const std::vector<Argument>& wanted, const Arguments& arguments) {
  if (std::ranges::any_of(wanted, &Argument::repeats)) return;
  for (const Argument& argument : wanted) {
    if (is_input(argument) && arguments.contains(argument.name)) must_be_readable(arguments.at(argument.name));
  }
}

void add_argument(CLI::App& app, const Argument& argument) {
  CLI::Option* const option =
      argument.flag ? app.add_flag(argument.name, argument.about) : app.add_option(argument.name, argument.about);
  option->required(!is_option(argument) && !argument.repeats && !argument.optional);
  if (argument.repeats) option->expected(0, CLI::detail::expected_max_vector_size)->allow_extra_args();
  if (argument.most >= 0) option->type_name("NUMBER");
  if (!argument.choices.empty()) option->type_name("TEXT:{" + list(argument.choices, ",") + "}");
}

void add(CLI::App& app, const Command& command, Chosen& chosen) {
  CLI::App* const added = app.add_subcommand(command.name, command.about);
  added->footer("--json and --log work here too; \"couplerctl --help\" describes them.");
  for (const Argument& argument : command.arguments) add_argument(*added, argument);
  for (const Command& inner : command.commands) add(*added, inner, chosen);
  if (command.run == nullptr) {
    added->require_subcommand(1);
  } else {
    added->callback([&command, &chosen, added] {
      if (added->get_subcommands().empty()) chosen = {&command, added};
    });
  }
}

/// The name of the innermost command that was recognised, such as "bundle verify".
std::string recognised(const CLI::App& app) {
  const auto inner = app.get_subcommands();
  if (inner.empty()) return "";
  const std::string rest = recognised(*inner.front());
  return inner.front()->get_name() + (rest.empty() ? "" : " " + rest);
}

WrongUsage usage_error(const CLI::App& app, const std::vector<Command>& families, const std::string& complaint) {
  const std::string command = recognised(app);
  const std::string before = command.empty() ? "" : command + ": ";
  const auto unknown = app.remaining(true);
  if (unknown.empty()) return WrongUsage(before + complaint, command);
  const std::string near = nearest(families, unknown.front());
  return WrongUsage(
      before + unknown.front() + (near.empty() ? " is not known here" : ": did you mean \"" + near + "\"?"), command);
}

/// Runs what `work` does. @return the program's exit code
int guarded(const Context& context, const std::function<void()>& work) {
  int code = 0;
  try {
    work();
  } catch (const WrongUsage& error) {
    print_failure(context, code = kWrongUsage, error);
  } catch (const Failure& failure) {
    print_failure(context, code = kFailed, failure);
  } catch (const std::exception& error) {
    print_failure(context, code = kFailed, Failure(error.what()));
  }
  if (print_end()) return code;
  print_message("error:", "cannot write the result", Style::kAlarm);
  return kFailed;
}

void run(const Chosen& chosen, const Context& context) {
  const Captured captured;
  const Arguments arguments = arguments_of(chosen);
  look_at_inputs(chosen.command->arguments, arguments);
  start_library(context);
  chosen.command->run(context, arguments);
}

/// The words behind the program's name, the last one first; "help bundle" asks for the same as "bundle --help".
std::vector<std::string> words_of(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  const auto first = std::ranges::find_if(words, [](const std::string& word) { return !word.starts_with('-'); });
  if (first != words.end() && *first == "help") {
    words.erase(first);
    words.emplace_back("--help");
  }
  std::ranges::reverse(words);
  return words;
}

int main(int argc, char** argv) {
  if (result_stream() == nullptr) {
    print_message("error:", "there is no standard output", Style::kAlarm);
    return kFailed;
  }
  const std::vector<Command> families = {
      image_family(),     container_family(), bundle_family(),  versions_command(), boot_names_command(),
      firmware_family(),  ssd_family(),       snmp_family(),    notify_command(),   syslog_family(),
      sessions_command(), role_command(),     command_family(), doctor_command(),
  };
  CLI::App app("Works with the appliance's images, firmware bundles and settings through the coupler library.",
               "couplerctl");
  Context context;
  Chosen chosen;
  app.fallthrough();
  app.require_subcommand(1);
  app.footer("Ends with 0 (done), 1 (failed) or 2 (wrong usage). \"couplerctl help COMMAND\" describes a command.");
  app.set_version_flag("-V,--version", COUPLER_VERSION);
  app.add_flag("--json", context.json, "Print results for programs");
  app.add_option("--log", context.log, "Show the library's log lines from this level on, on standard error")
      ->check(CLI::IsMember({"debug", "info", "critical"}));
  for (const Command& family : families) add(app, family, chosen);
  std::vector<std::string> words = words_of(argc, argv);
  const bool for_programs = std::ranges::find(words, "--json") != words.end();
  try {
    app.parse(words);
  } catch (const CLI::ParseError& error) {
    const bool succeeded = error.get_exit_code() == 0 && app.remaining(true).empty();  // help of what is known
    if (succeeded) return app.exit(error);
    context.json = for_programs;
    return guarded(context, [&] { throw usage_error(app, families, error.what()); });
  }
  return guarded(context, [&] { run(chosen, context); });
}

}  // namespace

bool Choice::means(std::string_view text) const {
  for (std::string_view left = names, name = take_word(left, " "); !name.empty(); name = take_word(left, " ")) {
    if (name.size() == text.size() && ::strncasecmp(name.data(), text.data(), name.size()) == 0) return true;
  }
  return false;
}

}  // namespace coupler::tools

int main(int argc, char** argv) { return coupler::tools::main(argc, argv); }
