// The templates of the switch command language.
#include "brantix/commands.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

void show(const Context& context, const Arguments& arguments) {
  if (!arguments.contains("N")) throw WrongUsage("N or list is required", "command");
  const auto number = static_cast<unsigned>(arguments.number("N"));
  const char* const text = SC_Get_command(number);
  if (text == nullptr) throw Failure("there is no command " + std::to_string(number));
  if (context.json) return print_json({{"number", number}, {"template", text}});
  print_line(text);
}

void list(const Context& context, const Arguments& arguments) {
  const std::string wanted = arguments.text("TEXT");
  Json found = Json::array();
  for (unsigned number = 0; number < BRANTIX_COMMAND_COUNT; ++number) {
    const char* const text = SC_Get_command(number);
    if (text == nullptr || std::string_view(text).find(wanted) == std::string_view::npos) continue;
    found.push_back({{"number", number}, {"template", text}});
  }
  print_table(context, {{"commands", found}}, {{"", "number", true}, {"", "template"}}, found);
  if (found.empty()) throw Failure("no template holds \"" + wanted + '"');
}

}  // namespace

Commands template_commands() {
  return {{.name = "command",
           .about = "Show a template of the switch command language",
           .arguments = {{.name = "N", .about = "its number", .most = BRANTIX_COMMAND_COUNT - 1, .optional = true}},
           .run = show,
           .commands = {{"list",
                         "Show the templates that hold a text, or all",
                         {{.name = "TEXT", .about = "what they hold", .optional = true}},
                         list}}}};
}

}  // namespace coupler::tools
