// Every operation that keeps its files whole, killed at each of its calls, with and without a power cut.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>

#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"
#include "tests/flow/fail_nth.h"
#include "tests/flow/operations.h"

namespace {

using namespace coupler::test;

constexpr int kNotKilled = 3;

/// What a killed process may leave under names of its own, and the next one clears away.
bool is_left_over(const std::string& path) {
  return path == kNewConfig || (path.ends_with(".unfinished") && path.find("/.") != path.npos);
}

class EveryCrashTest : public testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    if (!is_machine_of_its_own()) GTEST_SKIP() << "needs the appliance in bubblewrap";
    set_stage();
    cs_debug_verbose = 1;
    for (const char* place : {kOut, "/mnt/boot/ssd_firmwares", "/mnt/boot/equipped_ssd_firmware"}) {
      for (const auto& file : std::filesystem::directory_iterator(place)) std::filesystem::remove(file);
    }
    GetParam().prepare();
  }

  static Files files_after(int (*run)()) {
    EXPECT_EQ(run(), 0);
    return files();
  }

  /// @return whether a process that runs the operation got as far as its n-th call, where it ended
  static bool is_killed(int nth, Outcome outcome) {
    const pid_t process = fork();
    if (process == 0) {
      const Failing failing({kAnyOnFiles, nth, false, {}, outcome});
      GetParam().run();
      if (outcome == Outcome::kPowerCut) Failing::lose_unsynced();
      _exit(kNotKilled);
    }
    int status = 0;
    waitpid(process, &status, 0);
    EXPECT_TRUE(status == 0 || status == W_EXITCODE(kNotKilled, 0)) << status;
    return status == 0;
  }

  /// @return how often it was killed
  static int kill_at_each_call() {
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
        const bool lost = GetParam().promise == Promise::kOnDisk && !killed && now != after;
        EXPECT_FALSE(lost) << "reported done, and gone";
        const Files next = files_after(GetParam().run);
        EXPECT_TRUE(next == after || (now == after && next == after_another)) << "the next operation is in trouble";
      }
    }
    restore(before);
    return kills;
  }

  const LogCapture host_;
};

TEST_P(EveryCrashTest, LeavesOldOrNewFilesAndNoObstacle) {
  int kills = kill_at_each_call();
  EXPECT_GE(kills, 6) << "the calls at which it should end are not seen";
  if (!GetParam().older.empty()) {
    for (const auto& [path, content] : GetParam().older) write_file(path, content);
    kills += kill_at_each_call();
  }
  std::cout << GetParam().name << ": " << kills << " kills\n";
}

std::vector<Operation> promising() {
  std::vector<Operation> rows;
  std::ranges::copy_if(kOperations, std::back_inserter(rows), [](auto& row) { return row.promise != Promise::kNone; });
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Flow, EveryCrashTest, testing::ValuesIn(promising()));

}  // namespace
