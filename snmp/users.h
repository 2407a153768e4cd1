// The list of SNMPv3 users, as destinations look into it.
#pragma once

#include <cstdint>
#include <string_view>

namespace coupler::snmp {

struct snmpv3_user_entry {
  char username[256];
  char auth_pass[81];
  char priv_pass[81];
  int32_t auth_type;
  int32_t sec_level;  ///< SCI_SNMP_AUTH_NO_PRIV or SCI_SNMP_AUTH_PRIV
  snmpv3_user_entry* next;
};

/// The SNMPv3 users that the library has set, in memory only.
extern snmpv3_user_entry* node;

/// @return null when there is none of that name
const snmpv3_user_entry* find_user(std::string_view username);

const char* auth_protocol(int32_t auth_type);

}  // namespace coupler::snmp
