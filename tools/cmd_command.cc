#include <nlohmann/json.hpp>

#include "brantix/commands.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tool {

namespace {

void show(const Context& context, const Arguments& arguments) {
  const std::string& text = arguments.at("N");
  const unsigned long number = std::stoul(text);
  const char* const command = number < BRANTIX_COMMAND_COUNT ? SC_Get_command(static_cast<unsigned>(number)) : nullptr;
  if (command == nullptr) {
    throw Failure("there is no command " + text + "; numbers go from 0 to " +
                  std::to_string(BRANTIX_COMMAND_COUNT - 1));
  }
  if (context.json) return print_json({{"number", number}, {"template", command}});
  std::puts(command);
}

}  // namespace

Command command_command() {
  return {"command", "Show a template of the switch command language", {{"N", "its number", true}}, show};
}

}  // namespace coupler::tool
