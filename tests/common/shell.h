// What a real shell makes of a command line, in encodings that take some quotations apart.
#pragma once

#include "tests/common/files.h"

namespace coupler::test {

inline std::string output_of(const std::string& command) {
  const int status = std::system(("(" + command + ") >/tmp/output").c_str());
  return status == -1 ? "" : read_file("/tmp/output");
}

/// In GBK, Shift-JIS and Big5 a backslash is the second byte of characters.
constexpr const char* kEncodings[] = {"C", "GBK", "SHIFT_JIS", "BIG5"};

/// Makes locales of these encodings, which LC_ALL then selects by name. @return whether this machine can
inline bool make_encodings() {
  std::filesystem::create_directories("/tmp/locales");
  setenv("LOCPATH", "/tmp/locales", 1);
  for (const std::string name : kEncodings) {
    output_of("localedef -c --no-warnings=ascii --no-archive -i C -f " + name + " /tmp/locales/" + name + " 2>&1");
  }
  return std::filesystem::exists("/tmp/locales/BIG5");
}

}  // namespace coupler::test
