// Every operation, with each call that it makes failing in turn.
#include <gtest/gtest.h>

#include <iostream>

#include "tests/common/log_capture.h"
#include "tests/common/silent_host.h"
#include "tests/flow/fail_nth.h"
#include "tests/flow/operations.h"

namespace {

using namespace coupler::test;

/// A kind of call that fails, and one of which every call fails.
std::vector<std::pair<std::string_view, std::string_view>> kinds() {
  std::vector<std::pair<std::string_view, std::string_view>> all{{"read", "map"}, {"seek", "map"}};
  for (const Kind& kind : kKinds) all.emplace_back(kind.name, "");
  return all;
}

auto open_descriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

class EveryFaultTest : public testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
    set_stage();
  }

  bool run(const Fault& fault) {
    given = {};
    GetParam().prepare();
    restore(before_);
    const Failing failing(fault);
    success_ = GetParam().run() == 0;
    return failing.happened();
  }
  std::string result() const { return success_ ? GetParam().result() : ""; }

  const SilentHost host_;
  Files before_;
  bool success_ = false;
};

TEST_P(EveryFaultTest, FailsCleanlyOrSucceeds) {
  const Files& before = before_ = files();
  run({"none", 0});
  ASSERT_TRUE(success_);
  const std::string expected = result();
  const Files after = files();
  restore(before);
  std::vector<Files> states{before, after};
  if (GetParam().halfway != nullptr && GetParam().halfway() == 0) states.push_back(files());
  restore(before);
  const auto descriptors = open_descriptors();
  int faults = 0;
  for (const auto& [kind, always] : kinds()) {
    if (GetParam().only != nullptr && kind != GetParam().only) continue;
    for (const bool lasting : {false, true}) {
      if (lasting && kind == "interruption") continue;  // is waited out for ever
      for (int nth = 1; run({kind, nth, lasting, always}); ++nth, ++faults) {
        SCOPED_TRACE(testing::Message() << kind << " " << nth << (lasting ? " and later " : " ") << always);
        Files now = files();
        if (kind == "removal") {  // what cannot be removed stays
          std::erase_if(now, [&](auto& file) { return !before.contains(file.first) && !after.contains(file.first); });
        }
        if (kind == "rename" && !now.contains(kConfig)) {  // where none works, the new file is left whole
          now[kConfig] = std::exchange(now[kNewConfig], {});
          now.erase(kNewConfig);
        }
        EXPECT_TRUE(success_ || kind != "interruption") << "an interrupted call is not resumed";
        if (success_) {
          const bool lenient = GetParam().lenient && kind != "interruption";
          EXPECT_TRUE(result() == expected || lenient) << "success, but not with the right result";
          EXPECT_TRUE(now == after || lenient) << "success, but not with the right files";
        }
        expect_each_as_in(states, now);
        EXPECT_EQ(open_descriptors(), descriptors);
        restore(before);
      }
      restore(before);
      if (success_) result();
    }
  }
  std::cout << GetParam().name << ": " << faults << " faults\n";
  EXPECT_GE(faults, 2) << "the calls that should fail are not seen";
}

INSTANTIATE_TEST_SUITE_P(Flow, EveryFaultTest, testing::ValuesIn(kOperations));

/// Has `run` take lines that hold KEY or sysContact out of the agent's configuration, with a fault. @return its result,
/// whether the configuration is the old or the new one, whether the new file is there, and the last line
std::string removal(int (*run)(), const Fault& fault, bool with_match) {
  const std::string rest = "nothing\n", before = (with_match ? "trapsink KEY sysContact\n" : "") + rest;
  write_file(kConfig, before);
  std::filesystem::remove(kNewConfig);
  LogCapture log;
  const int status = [&] {
    const Failing failing(fault);
    return run();
  }();
  const std::string after = read_file(kConfig), lines = log.take_text();
  std::string text = std::to_string(status);
  text += after == before ? " old" : after == rest ? " new" : " none";
  text += std::filesystem::exists(kNewConfig) ? " and .new: " : ": ";
  return text + (lines.empty() ? "none\n" : lines.substr(lines.rfind('\n', lines.size() - 2) + 1));
}

TEST(RemovalTest, EveryStepThatFailsHasItsLine) {
  if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
  int (*const kOperations[])() = {[] { return SCI_DeleteSnmpCommunity("KEY"); },
                                  [] { return SCI_DeleteSnmpHostV3("KEY"); },
                                  [] { return GetAndDeleteSnmpSysConOrLoc("sysContact"); }};
  const struct {
    const char* what;
    Fault fault;
    bool with_match = true;
    size_t operations = 3;  // one, where what all of them say is made in one place
  } kFaults[] = {{"not opened", {"open", 2}},
                 {"not locked", {"lock", 1}, true, 1},
                 {"new file not opened", {"open", 3}},
                 {"not written", {"write", 1}, true, 1},
                 {"not owned", {"rights", 1}, true, 1},
                 {"not synced", {"sync", 1}, true, 1},
                 {"not removed", {"rename", 1, false, "removal"}},
                 {"not renamed", {"rename", 1, true}},
                 {"renamed in two steps", {"rename", 1}},
                 {"no match, which needs no sync", {"sync", 1}, false},
                 {"no match, not removed", {"removal", 2}, false}};
  std::string text;
  for (const auto& [what, fault, with_match, operations] : kFaults) {
    for (size_t i = 0; i < operations; ++i) {
      text += what + (": " + removal(kOperations[i], fault, with_match));
    }
  }
  EXPECT_EQ(text, R"(not opened: -1 old: critical SCI_DeleteSnmpCommunity|\nSNMPD_CONF_FILE fopen() Error!!!
not opened: 1 old: debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf fopen() Error!!!\n
not opened: -1 old: critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE fopen failed
not locked: -1 old: critical SCI_DeleteSnmpCommunity|\n/etc/snmp not locked: No locks available
new file not opened: -1 old: critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf.new fopen failed
new file not opened: 1 old: debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf.new fopen failed
new file not opened: -1 old: critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE.new fopen failed
not written: -1 old: critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: No space left on device
not owned: -1 old: critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: Operation not permitted
not synced: -1 old: critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: Input/output error
not removed: -1 old and .new: critical SCI_DeleteSnmpCommunity|\nFile SNMPD_CONF_FILE remove failed
not removed: 1 old and .new: debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf remove failed\n
not removed: -1 old and .new: critical GetAndDeleteSnmpSysConOrLoc|\nFile SNMPD_CONF_FILE remove failed
not renamed: -1 none and .new: critical SCI_DeleteSnmpCommunity|\n file snmpd.conf.new renamed failed
not renamed: 1 none and .new: debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:file snmpd.conf.new renamed failed\n
not renamed: -1 none and .new: critical GetAndDeleteSnmpSysConOrLoc|\n file snmpd.conf.new renamed failed
renamed in two steps: 0 new: debug SCI_DeleteSnmpCommunity|\n file snmpd.conf.new renamed to snmpd.conf
renamed in two steps: 0 new: debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: file snmpd.conf.new renamed to snmpd.conf\n
renamed in two steps: 0 new: none
no match, which needs no sync: 0 old: debug SCI_DeleteSnmpCommunity|\nFile SNMPD_CONF_FILE.new  deleted
no match, which needs no sync: 0 old: debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf.new  deleted\n
no match, which needs no sync: 0 old: debug GetAndDeleteSnmpSysConOrLoc|\nnot find a match to delete sysContact
no match, not removed: 0 old and .new: critical SCI_DeleteSnmpCommunity|\nFile SNMPD_CONF_FILE.new remove failed
no match, not removed: 0 old and .new: debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf.new remove failed\n
no match, not removed: 0 old and .new: critical GetAndDeleteSnmpSysConOrLoc|\nFile SNMPD_CONF_FILE.new remove failed
)");
}

}  // namespace
