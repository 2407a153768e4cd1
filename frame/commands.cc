// The command templates by number, and the check of their table.
#include "brantix/commands.h"

#include <iterator>
#include <string_view>

#include "frame/log.h"

#define COMMAND(number, text) text,
const char* VER_0_CMDS[] = {
#include "frame/commands_v0.inc"
};
#undef COMMAND

const char** grand_daddy_of_all_commands[] = {nullptr};
int32_t CUR_VER = 0;

namespace coupler::frame {
namespace {

constexpr std::string_view kGuard = "Array Guard";

#define COMMAND(number, text) number,
constexpr int kNumbers[] = {
#include "frame/commands_v0.inc"
};
#undef COMMAND

constexpr bool every_row_stands_at_its_number() {
  for (int i = 0; i < static_cast<int>(std::size(kNumbers)); ++i) {
    if (kNumbers[i] != i) return false;
  }
  return std::size(kNumbers) == BRANTIX_COMMAND_COUNT + 1;
}
static_assert(every_row_stands_at_its_number());

// Both names are the host's to read and within its reach to write, so neither is trusted.
const char** selected_table() {
  if (CUR_VER < 0 || CUR_VER >= static_cast<int32_t>(std::size(grand_daddy_of_all_commands))) return nullptr;
  return grand_daddy_of_all_commands[CUR_VER];
}

}  // namespace
}  // namespace coupler::frame

int32_t SC_Initialize_commands(void) {
  CUR_VER = 0;
  LOG_LINE(info, "SC_Initialize_commands", "Number of commands in array = %d and in enums = %d", BRANTIX_COMMAND_COUNT,
           BRANTIX_COMMAND_COUNT);
  const char* guard = VER_0_CMDS[BRANTIX_COMMAND_COUNT];
  if (guard == nullptr || guard != coupler::frame::kGuard) {
    LOG_LINE(info, "SC_Initialize_commands", "Looks like command array for version 0 is corrupted!");
    return -1;
  }
  LOG_LINE(info, "SC_Initialize_commands", "Command array and enum matches!");
  grand_daddy_of_all_commands[0] = VER_0_CMDS;
  return 0;
}

const char* SC_Get_command(unsigned int cmd) {
  if (cmd >= BRANTIX_COMMAND_COUNT) {
    LOG_LINE(info, "SC_Get_command", "Invalid cmd (%d)", static_cast<int>(cmd));
    return nullptr;
  }
  const char** table = coupler::frame::selected_table();
  if (table == nullptr) {
    LOG_LINE(info, "SC_Get_command", "No command table is selected");
    return nullptr;
  }
  return table[cmd];
}
