#pragma once

#include <initializer_list>
#include <string_view>

#include "support/handle.h"

namespace coupler::snmp {

/// Opens the agent's configuration file for appending; it is created when missing.
Descriptor open_config_for_appending();

/// Appends the pieces and closes the file. When not all of them fit (a full disk), it is as long as before, and a line
/// at critical tells why.
bool append_to_config(const char* operation, Descriptor config, std::initializer_list<std::string_view> pieces);

}  // namespace coupler::snmp
