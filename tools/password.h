// Passwords, from a file or from what is typed.
#pragma once

#include <string>

namespace coupler::tools {

/// A password, which never stands in the command line: the first line of the file, or, where no file is named, what is
/// typed at the terminal after "what: ".
std::string read_password(const std::string& what, const std::string& file);

}  // namespace coupler::tools
