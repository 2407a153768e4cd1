#pragma once

#include <gmock/gmock.h>

#include <string>

#include "brantix/snmp.h"
#include "tests/common/appliance.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"

namespace coupler::test {

inline const std::string kConfig = "/etc/snmp/snmpd.conf";
inline const std::string kNewConfig = kConfig + ".new";
inline const std::string kState = "/var/lib/net-snmp/snmpd.conf";
inline const std::string kScripts = "/opt/tolm-mgmt-scripts/";
inline const std::string kHostCount = "/opt/quorva/config/platform/snmp_trap_host_count";

/// The agent's files and scripts, fresh for each test; the scripts do nothing.
class AgentFiles : public testing::Test {
 protected:
  AgentFiles() {
    for (const std::string& path : {kConfig, kNewConfig, kHostCount}) std::filesystem::remove_all(path);
    write_file(kConfig, "");
    for (const char* name :
         {"skellan_svc", "tolm_snmp_create_traphost", "tolm_snmp_create_user", "tolm_snmp_delete_user"}) {
      write_script(kScripts + name, "");
    }
  }
  ~AgentFiles() override {
    forced_status = 0;
    std::istringstream hosts_left(hosts()), users_left(users());
    for (std::string name; hosts_left >> name;) {
      write_file(kConfig, "trapsink " + name);
      SCI_DeleteSnmpHostV3(name.c_str());
    }
    for (std::string name; users_left >> name;) SCI_DeleteSnmpUser(name.c_str(), nullptr);
    forced_status.reset();
    take_commands();
  }

  /// What an operation has done since the last call: its status, its log lines, and the commands that it ran.
  std::string did(int status) { return std::to_string(status) + "\n" + log_.take_text() + take_commands(); }
  static std::string hosts() { return listed(SCI_GetSnmpHostsV3, &SCI_snmp_host_s::server_addr); }
  static std::string users() { return listed(SCI_GetSnmpUsers, &SCI_snmp_user_s::username); }
  static std::string communities() { return listed(SCI_GetSnmpCommunity, &SCI_snmp_community_s::community); }

  char error_[25] = "old";
  int set_user(const SCI_snmp_user_s& made) { return SCI_SetSnmpUser(&made, error_); }
  int delete_user(const std::string& name) { return SCI_DeleteSnmpUser(name.c_str(), error_); }
  static int set_host(const SCI_snmp_host_s& made) { return SCI_SetSnmpHostV3(&made); }

  LogCapture log_;

 private:
  /// "none" when the count was not written.
  template <typename List, typename Record, size_t N>
  static std::string listed(List list, char (Record::*field)[N]) {
    Record found[16];
    unsigned count = 99;
    EXPECT_EQ(list(found, &count), 0);
    if (count == 99) return "none";
    std::string text;
    for (unsigned i = 0; i < count; ++i) text += std::string(i > 0, ' ') + found[i].*field;
    return text;
  }
};

}  // namespace coupler::test
