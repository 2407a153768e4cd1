#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string_view>

#include "tests/common/files.h"

namespace coupler::test {

/// Of programs with commands.cc: the command lines that system(3) was given since the last call, byte for byte, one to
/// a line; and the status of the next ones in place of their own, nothing: they run.
std::string take_commands();
extern std::optional<int> forced_status;

/// Whether network and process table are the appliance's own, not this machine's.
inline bool is_machine_of_its_own() {
  const char* const kind = std::getenv("APPLIANCE_KIND");
  return kind != nullptr && std::string_view(kind) == "bubblewrap";
}

constexpr const char* kSettings = "/tmp/platform.conf";

/// A test that writes to the appliance's own paths, with platform settings of its own.
class ApplianceTest : public testing::Test {
 protected:
  void SetUp() override {
    if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "runs in platform/appliance only";
    write_file(kSettings, read_file("/etc/platform.conf"));
    setenv("COUPLER_PLATFORM", kSettings, 1);
  }

  static void set(const std::string& key, const std::string& value) {
    std::ofstream(kSettings, std::ios::app) << key << " = " << value << '\n';
  }
};

}  // namespace coupler::test
