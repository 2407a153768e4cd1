// Values in command lines: real shells, in several encodings, give back the very arguments; of a line that was cut the
// beginning of one.
#include "support/shell.h"

#include <vector>

#include "fuzz/fuzz.h"
#include "tests/common/shell.h"

namespace coupler::fuzz {
namespace {

constexpr const char* kShells[] = {"bash", "dash", "bash --posix"};

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, '\0');) parts.push_back(part);
  return parts;
}

/// The value as an argument of its own, between quotes of ours, and as much of it as fits.
std::string words_of(const std::string& value) {
  CommandLine<1024> line;
  CommandLine<12> cut;
  line.add(" ").add(ShellArgument(value)).add(" \"").add(QuotedValue(value)).add("\" ");
  require(!line.is_cut());
  return line.c_str() + std::string("x") + cut.add(ShellArgument(value)).c_str();
}

}  // namespace

/// Which shell and encoding, then the values.
void try_input(const std::string& bytes) {
  std::vector<std::string> values = split(bytes.substr(std::min<size_t>(bytes.size(), 1)));
  if (values.empty()) return;
  const auto choice = static_cast<uint8_t>(bytes[0]);
  std::string script = "printf '%s\\0'";
  for (std::string& value : values) {
    value.resize(std::min<size_t>(value.size(), 64));
    script += words_of(value);
  }
  write_file("/tmp/script", script);
  const std::string encoding = kEncodings[choice / 3 % 4], shell = kShells[choice % 3];
  const std::vector<std::string> given = split(output_of("LC_ALL=" + encoding + " exec " + shell + " /tmp/script"));
  require(given.size() == 3 * values.size());
  for (size_t i = 0; i < values.size(); ++i) {
    require(given[3 * i] == values[i] && given[3 * i + 1] == values[i]);
    require(("x" + values[i]).starts_with(given[3 * i + 2]));
  }
}

}  // namespace coupler::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  coupler::fuzz::make_encodings();
  return 0;
}
