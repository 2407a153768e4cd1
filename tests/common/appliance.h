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

/// A test that writes to the appliance's own paths. What it changes of the platform's settings is undone.
class ApplianceTest : public testing::Test {
 protected:
  void SetUp() override {
    if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "runs in platform/appliance only";
    settings_ = read_file(settings_file());
  }
  void TearDown() override {
    if (std::getenv("APPLIANCE_KIND") != nullptr) write_file(settings_file(), settings_);
  }

  static void set(const std::string& key, const std::string& value) {
    std::ofstream(settings_file(), std::ios::app) << key << " = " << value << '\n';
  }

 private:
  static const char* settings_file() { return std::getenv("COUPLER_PLATFORM"); }

  std::string settings_;
};

}  // namespace coupler::test
