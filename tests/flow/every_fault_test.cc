// Every operation, with each call that it makes failing in turn.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>

#include "brantix/clikrell.hpp"
#include "tests/common/log_capture.h"
#include "tests/flow/fail_nth.h"
#include "tests/flow/operations.h"

namespace {

using namespace coupler::test;

/// A kind of call that fails, and one of which every call fails.
std::vector<std::pair<std::string_view, std::string_view>> kinds() {
  std::vector<std::pair<std::string_view, std::string_view>> all{{"read", "map"}, {"write", "map"}, {"seek", "map"}};
  for (const Kind& kind : kKinds) all.emplace_back(kind.name, "");
  return all;
}

auto open_descriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

class EveryFaultTest : public testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
    set_stage();
    cs_debug_verbose = 1;
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

  const LogCapture host_;
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
        const bool harmless = std::ranges::find(kHarmless, kind) != std::end(kHarmless);
        EXPECT_TRUE(success_ || !harmless);
        if (success_) {
          const bool lenient = GetParam().lenient && !harmless;
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

// Each line: the fault, what an operation that takes lines out returns, and the last that it says. What all of them say
// alike, one says. The last are about what is put in.
TEST(AgentTest, EveryStepThatFailsHasItsLine) {
  if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
  int (*const kRemovals[])() = {[] { return SCI_DeleteSnmpCommunity("KEY"); },
                                [] { return SCI_DeleteSnmpHostV3("KEY"); },
                                [] { return GetAndDeleteSnmpSysConOrLoc("sysContact"); }};
  std::ostringstream text;
  std::string said;
  const auto tell = [&](int (*run)(), const Fault& fault, const char* config) {
    set_stage();
    write_file(kConfig, config);
    forget_host();
    SCI_DeleteSnmpUser("admin", error);
    LogCapture log;
    const int result = [&] {
      const Failing failing(fault);
      return run();
    }();
    said = log.take_text();
    text << fault.kind << ' ' << fault.nth << ": " << result << ' '
         << said.substr(said.rfind('\n', said.size() - 2) + 1);
  };
  const char* const match = "trapsink KEY sysContact\nrest";
  for (const Fault& fault : {Fault{"open", 2}, {"open", 3}, {"rename", 1, false, "removal"}, {"rename", 1, true}}) {
    for (const auto& run : kRemovals) tell(run, fault, match);
  }
  for (const Fault& fault : {Fault{"sync", 1}, {"removal", 2}}) {
    for (const auto& run : kRemovals) tell(run, fault, "none");
  }
  for (const char* kind : {"lock", "write", "rights", "sync", "rename"}) tell(kRemovals[0], {kind, 1}, match);
  tell([] { return SCI_SetSnmpSysContact("you"); }, {"open", 4}, "none");
  for (const auto run : {set_host<1>, set_user}) tell(run, {"memory", 1, true}, "none");
  EXPECT_NE(said.find("\ncritical add_snmpv3_user_to_list|no memory for user admin\\n\n"), said.npos);
  EXPECT_EQ(text.str(), R"(open 2: -1 critical SCI_DeleteSnmpCommunity|\nSNMPD_CONF_FILE fopen() Error!!!
open 2: 1 debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf fopen() Error!!!\n
open 2: -1 critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE fopen failed
open 3: -1 critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf.new fopen failed
open 3: 1 debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:/etc/snmp/snmpd.conf.new fopen failed
open 3: -1 critical GetAndDeleteSnmpSysConOrLoc|\nSNMPD_CONF_FILE.new fopen failed
rename 1: -1 critical SCI_DeleteSnmpCommunity|\nFile SNMPD_CONF_FILE remove failed
rename 1: 1 debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf remove failed\n
rename 1: -1 critical GetAndDeleteSnmpSysConOrLoc|\nFile SNMPD_CONF_FILE remove failed
rename 1: -1 critical SCI_DeleteSnmpCommunity|\n file snmpd.conf.new renamed failed
rename 1: 1 debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:file snmpd.conf.new renamed failed\n
rename 1: -1 critical GetAndDeleteSnmpSysConOrLoc|\n file snmpd.conf.new renamed failed
sync 1: 0 debug SCI_DeleteSnmpCommunity|\nFile SNMPD_CONF_FILE.new  deleted
sync 1: 0 debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3:File /etc/snmp/snmpd.conf.new  deleted\n
sync 1: 0 debug GetAndDeleteSnmpSysConOrLoc|\nnot find a match to delete sysContact
removal 2: 0 critical SCI_DeleteSnmpCommunity|\nFile SNMPD_CONF_FILE.new remove failed
removal 2: 0 debug SCI_DeleteSnmpHostV3|SCI_DeleteSnmpHostV3: /etc/snmp/snmpd.conf.new remove failed\n
removal 2: 0 critical GetAndDeleteSnmpSysConOrLoc|\nFile SNMPD_CONF_FILE.new remove failed
lock 1: -1 critical SCI_DeleteSnmpCommunity|\n/etc/snmp not locked: No locks available
write 1: -1 critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: No space left on device
rights 1: -1 critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: Operation not permitted
sync 1: -1 critical SCI_DeleteSnmpCommunity|\n/etc/snmp/snmpd.conf not copied to /etc/snmp/snmpd.conf.new: Input/output error
rename 1: 0 debug SCI_DeleteSnmpCommunity|\n file snmpd.conf.new renamed to snmpd.conf
open 4: -1 critical SCI_SetSnmpSysContact|\n SNMPD_CONF_FILE fopen() Error!!!\n
memory 1: 1 critical add_snmpv3_host_to_list|no memory for host 10.0.0.9\n
memory 1: 1 critical SCI_SetSnmpUser|error setting snmp users, error
)");
}

/// Whether it can come to that when a call of the kind fails. @param is_so is told what the operation said
bool can_be(const char* kind, void (*run)(), const std::function<bool(const std::string& said)>& is_so) {
  bool happened = true;
  for (int nth = 1; happened; ++nth) {
    LogCapture log;
    {
      const Failing failing({kind, nth});
      run();
      happened = failing.happened();
    }
    if (is_so(log.take_text())) return true;
  }
  return false;
}

TEST(ReadingTest, WhatCannotBeReadIsTold) {
  if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
  set_stage();
  const auto extract = [] { extract_header_info(kImage, &given.header, sizeof(ImageHeader), &given.header_length); };
  const auto open = [] { SCI_imageClose(SCI_imageOpen(kHeaderFile)); };
  const auto read = [] { SCI_readFirmwareImageVersion(kBundle, &given.versions); };
  const std::tuple<const char*, void (*)(), std::string> rows[] = {
      {"position", extract, "extract_header_info|ERROR: extract_header_info: failed to get zelta orvix descriptor\\n"},
      {"seek", open,
       "SCI_imageOpen|ERROR: SCI_imageOpen: hdr failed to seek file /tmp/flow/fw.img__hdr, Input/output error\\n"},
      {"read", open, "SCI_imageOpen|ERROR: SCI_imageOpen: hdr size mismatched expect 576 but got 0\\n"},
      {"read", read, "extract_fw_info|extract_fw_info: orvix_object_imageheader ERROR failed to get header\\n"},
  };
  for (const auto& [kind, run, line] : rows) {
    const auto tells = [told = "info " + line](const std::string& said) { return said.find(told) != said.npos; };
    EXPECT_TRUE(can_be(kind, run, tells)) << line;
  }
  prctl(PR_SET_NAME, "vsh");
  const auto learn = [] {
    clikrell::TermProcessInfo::bootTime = -1;
    walk_sessions();
  };
  EXPECT_TRUE(can_be("open", learn, [](auto&) { return clikrell::TermProcessInfo::upTime == -1; }));
  static clikrell::SessionIterator snapshot;
  static int32_t scanned = 0;
  const auto scan = [] { scanned = snapshot.parseProcTbl(); };
  EXPECT_TRUE(can_be("memory", scan, [](auto&) { return scanned == -1; }));
  scan();
  static const auto login = [] { return snapshot.terms.begin()->second.processes.begin()->second.loginTime; };
  static const int64_t start = login();
  for (const char* kind : {"open", "read"}) {
    EXPECT_FALSE(can_be(kind, scan, [](auto&) { return !snapshot.terms.empty() && login() != start; })) << kind;
  }
}

}  // namespace
