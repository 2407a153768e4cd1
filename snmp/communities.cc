// The agent's read-only communities: added to its configuration file, listed and deleted there.
#include "brantix/snmp.h"
#include "snmp/config_file.h"
#include "support/lines.h"
#include "support/text.h"

namespace coupler::snmp {
namespace {

constexpr const char* kAdd = "SCI_ConfigureSnmp";
constexpr const char* kList = "SCI_GetSnmpCommunity";
constexpr const char* kDelete = "SCI_DeleteSnmpCommunity";
constexpr LogMessage<> kNotOpened{critical, "\nSNMPD_CONF_FILE fopen() Error!!!"};

constexpr LineRemoval kRemoval{
    .operation = kDelete,
    .failure = -1,
    .selects = [](std::string_view) { return true; },
    .not_opened = {critical, "\nSNMPD_CONF_FILE fopen() Error!!!"},
    .new_not_opened = {critical, "\n/etc/snmp/snmpd.conf.new fopen failed"},
    .not_removed = {critical, "\nFile SNMPD_CONF_FILE remove failed"},
    .renamed = {debug, "\n file snmpd.conf.new renamed to snmpd.conf"},
    .not_renamed = {critical, "\n file snmpd.conf.new renamed failed"},
    .new_removed = {debug, "\nFile SNMPD_CONF_FILE.new  deleted"},
    .new_not_removed = {critical, "\nFile SNMPD_CONF_FILE.new remove failed"},
};

bool add(const char* community) {
  return is_given(kAdd, "Community", community) &&
         append_to_config(ConfigLock(), kAdd, kNotOpened,
                          {"rocommunity  ", community, "\n", "rocommunity6  ", community, "\n"});
}

bool remove(const char* community) {
  return is_given(kDelete, "Community", community) && remove_lines(ConfigLock(), kRemoval, community).status == 0;
}

/// The second of the words that blanks separate; tabs and the line's end belong to a word.
std::string_view second_word(std::string_view line) {
  take_word(line, " ");
  return take_word(line, " ");
}

// Without a community the count stays as it was.
bool list(SCI_snmp_community_s* communities, unsigned int* count) {
  const Descriptor config = open_at_once(kConfig, O_RDONLY);
  if (!config) {
    kNotOpened.write(kList);
    return false;
  }
  unsigned int found = 0;
  LinesOf<511> lines(config.get());
  while (const auto line = lines.next_piece()) {
    if (line->find("rocommunity") == line->npos) continue;
    if (communities != nullptr) Text(communities[found].community).copy(second_word(*line));
    ++found;
  }
  if (found > 0 && count != nullptr) *count = found;
  return true;
}

}  // namespace
}  // namespace coupler::snmp

int32_t SCI_ConfigureSnmp(const char* community) { return coupler::snmp::add(community) ? 0 : -1; }

int32_t SCI_GetSnmpCommunity(SCI_snmp_community_s* communities, unsigned int* count) {
  return coupler::snmp::list(communities, count) ? 0 : -1;
}

int32_t SCI_DeleteSnmpCommunity(const char* community) { return coupler::snmp::remove(community) ? 0 : -1; }
