// couplerctl: finds the command that was meant, runs it, and ends with what came of it.
#include <strings.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <numeric>

#include "tools/command.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

/// A command and what the parser knows of it.
struct Known {
  std::string name;  ///< in full, such as "bundle verify"; of couplerctl itself empty
  const Command* command;
  const CLI::App* app;
};

std::string list(std::span<const Choice> choices, const char* separator) {
  return CLI::detail::join(choices, std::mem_fn(&Choice::name), separator);
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

/// The full name of the command whose last word is most like `word`; empty when none is like it.
std::string nearest(const std::vector<Known>& known, const std::string& word) {
  const auto away = [&](const Known& each) { return distance(word, each.command->name); };
  const Known& best = *std::ranges::min_element(known, {}, away);
  return away(best) <= std::max<size_t>(1, word.size() / 3) ? best.name : "";
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
  const int64_t number = number_in<int64_t>(text).value_or(-1);
  if (number >= 0 && number <= argument.most) return text;
  throw WrongUsage(argument.name + ": " + text + " is no number from 0 to " + std::to_string(argument.most),
                   argument.name);
}

Arguments arguments_of(const Known& known) {
  Arguments arguments;
  for (const Argument& argument : known.command->arguments) {
    const CLI::Option* const option = known.app->get_option(argument.name);
    if (argument.repeats) {
      arguments.rest = option->results();
    } else if (option->count() > 0) {
      arguments[argument.name] = checked(argument, option->as<std::string>());
    }
  }
  return arguments;
}

void add_argument(CLI::App& app, const Argument& argument) {
  CLI::Option* const option =
      argument.flag ? app.add_flag(argument.name, argument.about) : app.add_option(argument.name, argument.about);
  option->required(!argument.name.starts_with('-') && !argument.optional);
  if (argument.repeats)
    option->expected(argument.optional ? 0 : 1, CLI::detail::expected_max_vector_size)->allow_extra_args();
  if (argument.most >= 0) option->type_name("NUMBER");
  if (!argument.choices.empty()) option->type_name("TEXT:{" + list(argument.choices, ",") + "}");
}

/// Tells the parser what the command and all below it take. Those that hold a command become known before it.
void add(CLI::App& app, const std::string& name, const Command& command, std::vector<Known>& known) {
  known.push_back({name, &command, &app});
  app.require_subcommand(command.run == nullptr ? 1 : 0);
  for (const Argument& argument : command.arguments) add_argument(app, argument);
  for (const Command& inner : command.commands) {
    CLI::App* const added = app.add_subcommand(inner.name, inner.about);
    added->footer("--json and --log work here too; \"couplerctl --help\" describes them.");
    add(*added, name.empty() ? inner.name : name + ' ' + inner.name, inner, known);
  }
}

/// The innermost command that was recognised.
const Known& recognised(const std::vector<Known>& known) {
  return *std::find_if(known.rbegin(), known.rend(), [](const Known& each) { return each.app->parsed(); });
}

WrongUsage usage_error(const CLI::App& app, const std::vector<Known>& known, const std::string& complaint) {
  const std::string& command = recognised(known).name;
  const std::string before = command.empty() ? "" : command + ": ";
  const auto unknown = app.remaining(true);
  if (unknown.empty()) return WrongUsage(before + complaint, command);
  const std::string near = nearest(known, unknown.front());
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

void run(const Known& known, const Context& context) {
  const Captured captured;
  const Arguments arguments = arguments_of(known);
  start_library(context);
  known.command->run(context, arguments);
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
  Command couplerctl = {
      .name = "couplerctl",
      .about = "Works with the appliance's images, firmware bundles and settings through the coupler library."};
  for (const auto& commands :
       {container_commands(), bundle_commands(), firmware_commands(), snmp_commands(), notify_commands(),
        syslog_commands(), session_commands(), template_commands(), doctor_commands()}) {
    std::ranges::copy(commands, std::back_inserter(couplerctl.commands));
  }
  CLI::App app(couplerctl.about, couplerctl.name);
  Context context;
  std::vector<Known> known;
  app.fallthrough();
  app.footer("Ends with 0 (done), 1 (failed) or 2 (wrong usage). \"couplerctl help COMMAND\" describes a command.");
  app.set_version_flag("-V,--version", COUPLER_VERSION);
  app.add_flag("--json", context.json, "Print results for programs");
  app.add_option("--log", context.log, "Show the library's log lines from this level on, on standard error")
      ->check(CLI::IsMember({"debug", "info", "critical"}));
  add(app, "", couplerctl, known);
  std::vector<std::string> words = words_of(argc, argv);
  const bool for_programs = std::ranges::find(words, "--json") != words.end();
  try {
    app.parse(words);
  } catch (const CLI::ParseError& error) {
    const bool succeeded = error.get_exit_code() == 0 && app.remaining(true).empty();  // help of what is known
    if (succeeded) return app.exit(error);
    context.json = for_programs;
    return guarded(context, [&] { throw usage_error(app, known, error.what()); });
  }
  return guarded(context, [&] { run(recognised(known), context); });
}

}  // namespace

bool Choice::means(std::string_view text) const {
  constexpr bool kIgnoreCase = true;
  return CLI::detail::find_member(std::string(text), CLI::detail::split(std::string(names), ' '), kIgnoreCase) >= 0;
}

}  // namespace coupler::tools

int main(int argc, char** argv) { return coupler::tools::main(argc, argv); }
