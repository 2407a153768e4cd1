// What the files of the proc file system say about a process.
#pragma once

#include <optional>
#include <string_view>

#include "brantix/clikrell.hpp"

/// What the files of the proc file system say. A process chooses its name, its arguments and its environment itself,
/// and a file may end anywhere, so any bytes are taken. Entries come in filled with zeros. Of a line, and of a file of
/// strings, so much counts as its reader's limit tells, and nothing behind the first line feed.
namespace coupler::sessions {

bool parse_status(std::string_view file, clikrell::ProcessStatusEntry_t& entry);
bool parse_stat(std::string_view file, clikrell::ProcessStatEntry_t& entry);
bool parse_cmdline(std::string_view file, clikrell::ProcessUserEntry_t& entry);
bool parse_environ(std::string_view file, clikrell::ProcessUserEntry_t& entry);

/// Whether a "stat" file is of a process that is ending or has ended.
bool tells_of_an_end(std::string_view file);

/// The whole seconds that "uptime" begins with.
std::optional<int32_t> parse_uptime(std::string_view file);

/// Whether a command name is one of the two CLI shells'.
bool is_cli_shell(std::string_view name);

}  // namespace coupler::sessions
