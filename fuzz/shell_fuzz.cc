// Values in command lines: real shells, in several encodings, give back the very arguments; of a line that was cut the
// beginning of one.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "support/handle.h"
#include "support/shell.h"
#include "tests/common/files.h"

namespace {

using coupler::QuotedValue;
using coupler::ShellArgument;
using coupler::fuzz::require;

constexpr const char* kEncodings[] = {"C", "GBK", "SHIFT_JIS", "BIG5"};
constexpr const char* kShells[] = {"bash", "dash", "bash --posix"};

std::string output_of(const std::string& command) {
  const coupler::Pipe pipe(popen(command.c_str(), "re"));
  std::string text;
  char some[4096];
  ssize_t got;  // the fuzzer's own timer interrupts reads
  while ((got = coupler::read_some(fileno(pipe.get()), some, sizeof(some))) > 0)
    text.append(some, static_cast<size_t>(got));
  return text;
}

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c != '\0') {
      parts.back() += c;
    } else {
      parts.emplace_back();
    }
  }
  return parts;
}

/// The value as an argument of its own, between quotes of ours, and as much of it as fits.
std::string words_of(const std::string& value) {
  coupler::CommandLine<1024> line;
  coupler::CommandLine<12> cut;
  line.add(" ").add(ShellArgument(value)).add(" \"").add(QuotedValue(value)).add("\" ");
  require(!line.is_cut());
  return line.c_str() + std::string("x") + cut.add(ShellArgument(value)).c_str();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::filesystem::create_directories("/tmp/locales");
  setenv("LOCPATH", "/tmp/locales", 1);
  for (const std::string encoding : kEncodings) {
    output_of("localedef -c --no-warnings=ascii --no-archive -i C -f " + encoding + " /tmp/locales/" + encoding +
              " 2>&1");
  }
  return 0;
}

/// Which shell and encoding, then the values.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string shell = kShells[data[0] % 3], encoding = kEncodings[data[0] / 3 % 4];
  std::vector<std::string> values = split({reinterpret_cast<const char*>(data) + 1, size - 1});
  std::string script = "printf '%s\\0'";
  for (std::string& value : values) {
    value.resize(std::min<size_t>(value.size(), 64));
    script += words_of(value);
  }
  coupler::test::write_file("/tmp/script", script);
  const std::vector<std::string> given = split(output_of("LC_ALL=" + encoding + " exec " + shell + " /tmp/script"));
  require(given.size() == 3 * values.size() + 1);
  for (size_t i = 0; i < values.size(); ++i) {
    require(given[3 * i] == values[i] && given[3 * i + 1] == values[i]);
    require(("x" + values[i]).starts_with(given[3 * i + 2]));
  }
  return 0;
}
