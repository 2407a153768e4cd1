// What a person typed: read, checked, and where it is wrong compared with what there is.
#pragma once

#include <string>
#include <vector>

#include "tools/command.h"

namespace coupler::tools {

/// The value that an argument is given, checked: of a choice its number. @throws WrongUsage
std::string checked(const Argument& argument, const std::string& text);

/// The full name of the command whose last word is most like `word`, such as "bundle verify"; empty when none is like
/// it.
std::string nearest(const std::vector<Command>& commands, const std::string& word);

}  // namespace coupler::tools
