#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "brantix/snmp.h"
#include "tests/common/appliance.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"
#include "tests/snmp/commands.h"

namespace coupler::test {

inline const std::string kConfig = "/etc/snmp/snmpd.conf";
inline const std::string kNewConfig = kConfig + ".new";
inline const std::string kScripts = "/opt/tolm-mgmt-scripts/";
inline const std::string kHostCount = "/opt/quorva/config/platform/snmp_trap_host_count";

/// The agent's files and scripts, fresh for each test; the scripts write down their names and arguments.
class AgentFiles : public testing::Test {
 protected:
  AgentFiles() {
    for (const std::string& path : {kConfig, kNewConfig, kHostCount}) std::filesystem::remove_all(path);
    std::filesystem::remove("/tmp/ran");
    write_file(kConfig, "");
    for (const char* name : {"tolm_snmp_create_traphost", "tolm_snmp_create_user", "tolm_snmp_delete_user"}) {
      write_file(kScripts + name, "#!/bin/sh\n{ printf %s \"${0##*/}\"; printf ' [%s]' \"$@\"; echo; } >>/tmp/ran\n");
      std::filesystem::permissions(kScripts + name, std::filesystem::perms::all);
    }
  }
  ~AgentFiles() override {
    forced_status = 0;
    for (const std::string& name : hosts()) {
      write_file(kConfig, "trapsink " + name + "\n");
      SCI_DeleteSnmpHostV3(name.c_str());
    }
    for (const std::string& name : users()) SCI_DeleteSnmpUser(name.c_str(), nullptr);
    forced_status.reset();
    failing.clear();
    take_commands();
  }

  /// What the scripts were given since the last call.
  static std::string ran() {
    const std::string text = read_file("/tmp/ran");
    std::filesystem::remove("/tmp/ran");
    return text;
  }

  static std::vector<std::string> hosts() {
    SCI_snmp_host_s found[16];
    unsigned count = 99;
    EXPECT_EQ(SCI_GetSnmpHostsV3(found, &count, 0), 0);
    std::vector<std::string> names;
    for (unsigned i = 0; i < count; ++i) names.emplace_back(found[i].server_addr);
    return names;
  }

  static std::vector<std::string> users() {
    SCI_snmp_user_s found[16];
    unsigned count = 99;
    EXPECT_EQ(SCI_GetSnmpUsers(found, &count), 0);
    std::vector<std::string> names;
    for (unsigned i = 0; i < count; ++i) names.emplace_back(found[i].username);
    return names;
  }

  static SCI_snmp_user_s user(const std::string& name, const std::string& password, const std::string& priv_pass,
                              int auth_type, int priv_type) {
    SCI_snmp_user_s made{};
    name.copy(made.username, sizeof(made.username));
    password.copy(made.password, sizeof(made.password));
    priv_pass.copy(made.priv_pass, sizeof(made.priv_pass));
    made.auth_type = auth_type;
    made.priv_type = priv_type;
    return made;
  }

  static int set_user(const SCI_snmp_user_s& made) {
    char error[25];
    return SCI_SetSnmpUser(&made, error);
  }

  static SCI_snmp_host_s host(const std::string& address, const std::string& community, int port, int version,
                              int level = 0, int notify = SCI_SNMP_TRAP) {
    SCI_snmp_host_s made{{}, {}, port, version, level, notify};
    address.copy(made.server_addr, sizeof(made.server_addr));
    community.copy(made.community, sizeof(made.community));
    return made;
  }

  static int set_host(const SCI_snmp_host_s& made) { return SCI_SetSnmpHostV3(&made); }
};

}  // namespace coupler::test
