#pragma once

#include <gmock/gmock.h>

#include <string>
#include <string_view>

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
    for (std::string names = hosts(); !names.empty(); names = hosts()) {
      write_file(kConfig, "trapsink " + names + "\n");
      SCI_DeleteSnmpHostV3(names.substr(0, names.find(' ')).c_str());
    }
    for (std::string names = users(); !names.empty(); names = users()) {
      SCI_DeleteSnmpUser(names.substr(0, names.find(' ')).c_str(), nullptr);
    }
    forced_status.reset();
    take_commands();
  }

  /// What an operation has done since the last call: its status, its log lines, and the commands that it ran.
  std::string did(int status) { return std::to_string(status) + "\n" + log_.take_text() + take_commands(); }
  static std::string hosts() {
    SCI_snmp_host_s found[16];
    unsigned count = 99;
    EXPECT_EQ(SCI_GetSnmpHostsV3(found, &count, 0), 0);
    return joined(found, count, &SCI_snmp_host_s::server_addr);
  }
  static std::string users() {
    SCI_snmp_user_s found[16];
    unsigned count = 99;
    EXPECT_EQ(SCI_GetSnmpUsers(found, &count), 0);
    return joined(found, count, &SCI_snmp_user_s::username);
  }

  /// Fields that are too small for their text are filled without its end.
  static SCI_snmp_user_s user(std::string_view name, std::string_view password, std::string_view priv_pass,
                              int auth_type, int priv_type) {
    SCI_snmp_user_s made{{}, {}, {}, auth_type, priv_type};
    name.copy(made.username, sizeof(made.username));
    password.copy(made.password, sizeof(made.password));
    priv_pass.copy(made.priv_pass, sizeof(made.priv_pass));
    return made;
  }
  static SCI_snmp_host_s host(std::string_view address, std::string_view community, int port, int version,
                              int level = 0, int notify = SCI_SNMP_TRAP) {
    SCI_snmp_host_s made{{}, {}, port, version, level, notify};
    address.copy(made.server_addr, sizeof(made.server_addr));
    community.copy(made.community, sizeof(made.community));
    return made;
  }

  char error_[25] = "old";
  int set_user(const SCI_snmp_user_s& made) { return SCI_SetSnmpUser(&made, error_); }
  int delete_user(const std::string& name) { return SCI_DeleteSnmpUser(name.c_str(), error_); }
  static int set_host(const SCI_snmp_host_s& made) { return SCI_SetSnmpHostV3(&made); }

  LogCapture log_;

 private:
  template <typename Record, size_t N>
  static std::string joined(const Record* records, unsigned count, char (Record::*field)[N]) {
    std::string text;
    for (unsigned i = 0; i < count; ++i) text += std::string(i > 0, ' ') + records[i].*field;
    return text;
  }
};

}  // namespace coupler::test
