// What changed from one bundle or container to another.
#include <nlohmann/json.hpp>

#include "tools/diff.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

using Json = nlohmann::ordered_json;

/// As diff has it: what cannot be compared is told apart from what differs.
std::vector<Difference> compared(const Arguments& arguments, bool parts_only) {
  try {
    return differences(arguments.at("OLD"), arguments.at("NEW"), parts_only);
  } catch (const WrongUsage&) {
    throw;
  } catch (const Failure& failure) {
    throw WrongUsage(failure.what(), failure.place);
  }
}

void show(const Context& context, const Arguments& arguments, bool parts_only) {
  const std::vector<Difference> found = compared(arguments, parts_only);
  Json rows = Json::array();
  Table table({{"CHANGE"}, {"PART"}, {"OLD"}, {"NEW"}});
  for (const auto& [change, part, before, after] : found) {
    rows.push_back({{"change", change}, {"part", part}, {"old", before}, {"new", after}});
    const bool digest = change == "content";
    table.row({change, part, before.substr(0, digest ? 12 : before.npos), after.substr(0, digest ? 12 : after.npos)});
  }
  if (context.json || !found.empty()) print_table(context, {{"differences", rows}}, table);
  if (!found.empty()) throw Failure("differences: " + std::to_string(found.size()));
}

}  // namespace

Command diff_command(bool parts_only) {
  const auto parts = [](const Context& context, const Arguments& arguments) { show(context, arguments, true); };
  const auto objects = [](const Context& context, const Arguments& arguments) { show(context, arguments, false); };
  Command command{.name = "diff",
                  .about = parts_only ? "Compare the parts of two bundles" : "Compare the objects of two containers",
                  .arguments = {{"OLD", "the first"}, {"NEW", "the second; ends with 0 when it is the same, else 1"}},
                  .run = objects};
  if (parts_only) command.run = parts;
  return command;
}

}  // namespace coupler::tools
