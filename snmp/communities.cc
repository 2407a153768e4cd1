#include "brantix/snmp.h"
#include "snmp/agent.h"
#include "snmp/append.h"
#include "snmp/given.h"
#include "snmp/rewrite.h"
#include "support/lines.h"
#include "support/text.h"

namespace coupler::snmp {
namespace {

constexpr const char* kAdd = "SCI_ConfigureSnmp";
constexpr const char* kList = "SCI_GetSnmpCommunity";
constexpr const char* kDelete = "SCI_DeleteSnmpCommunity";

constexpr LineRemoval kRemoval{
    .operation = kDelete,
    .failure = -1,
    .selects = [](std::string_view line, std::string_view community) { return line.find(community) != line.npos; },
    .not_opened = {critical, "\nSNMPD_CONF_FILE fopen() Error!!!"},
    .new_not_opened = {critical, "\n/etc/snmp/snmpd.conf.new fopen failed"},
    .not_removed = {critical, "\nFile SNMPD_CONF_FILE remove failed"},
    .renamed = {debug, "\n file snmpd.conf.new renamed to snmpd.conf"},
    .not_renamed = {critical, "\n file snmpd.conf.new renamed failed"},
    .new_removed = {debug, "\nFile SNMPD_CONF_FILE.new  deleted"},
    .new_not_removed = {critical, "\nFile SNMPD_CONF_FILE.new remove failed"},
};

/// The second of the words that blanks separate; tabs and the line's end belong to a word.
std::string_view second_word(std::string_view line) {
  take_word(line, " ");
  return take_word(line, " ");
}

}  // namespace
}  // namespace coupler::snmp

using namespace coupler;
using namespace coupler::snmp;

int32_t SCI_ConfigureSnmp(const char* community) {
  if (!is_given(kAdd, "Community", community)) return -1;
  Descriptor config = open_config_for_appending();
  if (!config) {
    LOG_LINE(critical, kAdd, "\nSNMPD_CONF_FILE fopen() Error!!!");
    return -1;
  }
  const bool added =
      append_to_config(kAdd, std::move(config), {"rocommunity  ", community, "\n", "rocommunity6  ", community, "\n"});
  return added ? 0 : -1;
}

int32_t SCI_GetSnmpCommunity(SCI_snmp_community_s* communities, unsigned int* count) {
  const Descriptor config = open_at_once(kConfig, O_RDONLY);
  if (!config) {
    LOG_LINE(critical, kList, "\nSNMPD_CONF_FILE fopen() Error!!!");
    return -1;
  }
  unsigned int found = 0;
  LinesOf<511> lines(config.get());
  while (const auto line = lines.next_piece()) {
    if (line->find("rocommunity") == line->npos) continue;
    if (communities != nullptr) Text(communities[found].community).copy(second_word(*line));
    ++found;
    if (count != nullptr) *count = found;
  }
  return 0;
}

int32_t SCI_DeleteSnmpCommunity(const char* community) {
  return is_given(kDelete, "Community", community) ? remove_lines(kRemoval, community).status : -1;
}
