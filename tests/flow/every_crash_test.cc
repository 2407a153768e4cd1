// Every operation that writes files, killed at each of its calls, with and without a power cut.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "brantix/coupler.h"
#include "tests/common/appliance.h"
#include "tests/common/silent_host.h"
#include "tests/flow/fail_nth.h"
#include "tests/flow/stage.h"

namespace {

using namespace coupler::test;

FirmwareInfo record;

constexpr int kNotKilled = 3;

struct Operation {
  const char* name;
  int32_t (*run)();
  Files older = {};                 // what is there before it, beside the stage
  int32_t (*halfway)() = nullptr;   // leaves what may also be there after a kill: the operation has two steps
  bool outlasts_power_cut = false;  // what it reported done is on the disk
};

int32_t extract() { return SCI_extractFirmwareImagePayload(kBundle, &record, kOut); }

const Operation kOperations[] = {
    {"SCI_extractFirmwareImagePayload into an empty directory", extract, {}, nullptr, true},
    {"SCI_extractFirmwareImagePayload over older parts",
     extract,
     {{"/tmp/flow/out/rommon-1.0", "older"}, {"/tmp/flow/out/last", "older"}, {"/tmp/flow/out/hdr", "older"}},
     nullptr,
     true},
    {"SCI_readFirmwareImageVersion", [] { return SCI_readFirmwareImageVersion(kBundle, &record); }, {}, nullptr, true},
    {"SCI_readFirmwareImageVersion over older SSD firmware",
     [] { return SCI_readFirmwareImageVersion(kBundle, &record); },
     {{"/mnt/boot/ssd_firmwares/ssd-S1", "older"}},
     nullptr,
     true},
    {"SCI_extractSsdfirmwareBinary", [] { return SCI_extractSsdfirmwareBinary(kDrive, &record); }, {}, nullptr, true},
    {"SCI_extractSsdfirmwareBinary over an older one",
     [] { return SCI_extractSsdfirmwareBinary(kDrive, &record); },
     {{"/mnt/boot/equipped_ssd_firmware/ssd-HXT7405Q", "older"}},
     nullptr,
     true},
    {"SCI_ConfigureSnmp", [] { return SCI_ConfigureSnmp("public"); }},
    {"SCI_DeleteSnmpCommunity", [] { return SCI_DeleteSnmpCommunity("secret"); }, {}, nullptr, true},
    {"SCI_SetSnmpSysContact",
     [] { return SCI_SetSnmpSysContact("you"); },
     {},
     [] { return GetAndDeleteSnmpSysConOrLoc("sysContact"); }},
    {"GetAndDeleteSnmpSysConOrLoc", [] { return GetAndDeleteSnmpSysConOrLoc("sysContact"); }, {}, nullptr, true},
    {"SCI_DeleteSnmpHostV3", [] { return SCI_DeleteSnmpHostV3("10.0.0.9"); }, {}, nullptr, true},
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

/// What a killed process may leave under names of its own, and the next one clears away.
bool is_left_over(const std::string& path) {
  return path == kNewConfig || (path.ends_with(".unfinished") && path.find("/.") != path.npos);
}

class EveryCrashTest : public testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    if (!is_machine_of_its_own()) GTEST_SKIP() << "needs the appliance in bubblewrap";
    set_stage();
    for (const char* place : {kOut, "/mnt/boot/ssd_firmwares", "/mnt/boot/equipped_ssd_firmware"}) {
      for (const auto& file : std::filesystem::directory_iterator(place)) std::filesystem::remove(file);
    }
    for (const auto& [path, content] : GetParam().older) write_file(path, content);
  }

  static Files files_after(int32_t (*run)()) {
    EXPECT_EQ(run(), 0);
    return files();
  }

  /// @return whether a process that runs the operation got as far as its n-th call, where it ended
  static bool is_killed(int nth, Outcome outcome) {
    const pid_t process = fork();
    if (process == 0) {
      const Failing failing({Call::kAnyOnFiles, nth, false, {}, outcome});
      GetParam().run();
      if (!failing.happened() && outcome == Outcome::kPowerCut) Failing::lose_unsynced();
      _exit(failing.happened() ? 0 : kNotKilled);
    }
    int status = 0;
    waitpid(process, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == kNotKilled)) << status;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  const SilentHost host_;
};

TEST_P(EveryCrashTest, LeavesOldOrNewFilesAndNoObstacle) {
  const Files before = files();
  const Files after = files_after(GetParam().run);
  const Files after_another = files_after(GetParam().run);
  std::vector<Files> states{before, after};
  restore(before);
  if (GetParam().halfway != nullptr) states.push_back(files_after(GetParam().halfway));
  int kills = 0;
  for (const Outcome outcome : {Outcome::kKilled, Outcome::kPowerCut}) {
    bool killed = true;
    for (int nth = 1; killed; ++nth) {
      SCOPED_TRACE((outcome == Outcome::kKilled ? "killed at call " : "power cut at call ") + std::to_string(nth));
      restore(before);
      killed = is_killed(nth, outcome);
      kills += killed ? 1 : 0;
      Files now = files();
      std::erase_if(now, [](const auto& file) { return is_left_over(file.first); });
      expect_each_as_in(states, now);
      EXPECT_TRUE(killed || !GetParam().outlasts_power_cut || now == after) << "reported done, and gone";
      const Files next = files_after(GetParam().run);
      EXPECT_TRUE(next == after || (now == after && next == after_another)) << "the next operation is in trouble";
    }
  }
  restore(before);
  std::cout << GetParam().name << ": " << kills << " kills\n";
  EXPECT_GE(kills, 6) << "the calls at which it should end are not seen";
}

INSTANTIATE_TEST_SUITE_P(Flow, EveryCrashTest, testing::ValuesIn(kOperations));

}  // namespace
