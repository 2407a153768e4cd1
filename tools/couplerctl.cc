#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>

#include "tools/command.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tool {

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Choice {
  const Command* command = nullptr;
  Arguments arguments;
};

Choice choice_of(const Command& command, const CLI::App& app) {
  Choice choice{&command, {}};
  for (const Argument& argument : command.arguments) {
    const CLI::Option* const option = app.get_option(argument.name);
    if (option->count() == 0) continue;
    if (argument.repeats) {
      choice.arguments.rest = option->as<std::vector<std::string>>();
    } else {
      choice.arguments[argument.name] = option->as<std::string>();
    }
  }
  return choice;
}

void add(CLI::App& app, const Command& command, Choice& choice) {
  CLI::App* const added = app.add_subcommand(command.name, command.about);
  added->footer("--json and --log work here too; \"couplerctl --help\" describes them.");
  for (const Argument& argument : command.arguments) {
    CLI::Option* const option = argument.flag ? added->add_flag(argument.name, argument.about)
                                              : added->add_option(argument.name, argument.about);
    option->required(!argument.name.starts_with('-') && !argument.repeats);
    if (argument.repeats) option->expected(0, CLI::detail::expected_max_vector_size)->allow_extra_args();
    if (argument.number) option->check(CLI::TypeValidator<uint32_t>("NUMBER"));
    if (!argument.choices.empty()) option->check(CLI::IsMember(argument.choices));
  }
  for (const Command& inner : command.commands) add(*added, inner, choice);
  if (command.run == nullptr) return void(added->require_subcommand(1));
  added->callback([&command, &choice, added] { choice = choice_of(command, *added); });
}

int run(const Choice& choice, const Context& context) {
  try {
    start_library(context);
    choice.command->run(context, choice.arguments);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
    print_message("error:", "cannot write the result", Style::kAlarm);
  } catch (const std::exception& error) {
    std::fflush(stdout);
    print_message("error:", error.what(), Style::kAlarm);
  }
  return kFailed;
}

int main(int argc, char** argv) {
  const Command families[] = {
      image_family(),     container_family(), bundle_family(),   versions_command(), boot_names_command(),
      firmware_family(),  ssd_family(),       snmp_family(),     notify_command(),   syslog_family(),
      sessions_command(), role_command(),     command_command(),
  };

  CLI::App app("Works with the appliance's images, firmware bundles and settings through the coupler library.",
               "couplerctl");
  Context context;
  Choice choice;
  app.fallthrough();
  app.require_subcommand(1);
  app.footer("Ends with 0 (done), 1 (failed) or 2 (wrong usage). Each subcommand has a --help of its own.");
  app.set_version_flag("--version", COUPLER_VERSION);
  app.add_flag("--json", context.json, "Print results for programs");
  app.add_option("--log", context.log, "Show the library's log lines from this level on, on standard error")
      ->check(CLI::IsMember({"debug", "info", "critical"}));
  for (const Command& family : families) add(app, family, choice);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream complaint;
    for (const std::string& word : app.remaining(true)) complaint << word << " is not known here\n";
    const int code = app.exit(error, std::cout, complaint);
    std::fputs(escaped_lines(complaint.str()).c_str(), stderr);
    return code == 0 ? 0 : kWrongUsage;
  }
  return run(choice, context);
}

}  // namespace

}  // namespace coupler::tool

int main(int argc, char** argv) { return coupler::tool::main(argc, argv); }
