#include "brantix/snmp.h"
#include "snmp/append.h"
#include "snmp/given.h"
#include "snmp/rewrite.h"
#include "snmp/service.h"

namespace coupler::snmp {
namespace {

constexpr const char* kRemove = "GetAndDeleteSnmpSysConOrLoc";

constexpr LineRemoval kRemoval{
    .operation = kRemove,
    .failure = -1,
    .selects = [](std::string_view line,
                  std::string_view keyword) { return !line.starts_with('#') && line.find(keyword) != line.npos; },
    .not_opened = {critical, "\nSNMPD_CONF_FILE fopen failed"},
    .new_not_opened = {critical, "\nSNMPD_CONF_FILE.new fopen failed"},
    .not_removed = {critical, "\nFile SNMPD_CONF_FILE remove failed"},
    .not_renamed = {critical, "\n file snmpd.conf.new renamed failed"},
    .nothing_selected = {debug, "\nnot find a match to delete %s"},
    .new_not_removed = {critical, "\nFile SNMPD_CONF_FILE.new remove failed"},
};

struct SystemText {
  const char* operation;
  const char* keyword;
  LogMessage<> not_set;
};

constexpr SystemText kContact{"SCI_SetSnmpSysContact", "sysContact", {critical, "\nSysContact set failed"}};
constexpr SystemText kLocation{"SCI_SetSnmpSysLocation", "sysLocation", {critical, "\nsysLocation set failed"}};

int32_t set(const SystemText& row, const char* text) {
  if (!is_given(row.operation, row.keyword, text)) return -1;
  if (GetAndDeleteSnmpSysConOrLoc(row.keyword) == -1) {
    row.not_set.write(row.operation);
    return -1;
  }
  Descriptor config = open_config_for_appending();
  if (!config) {
    LOG_LINE(critical, row.operation, "\n SNMPD_CONF_FILE fopen() Error!!!\n");
    return -1;
  }
  const std::string_view shown = *text == '\0' ? "''" : text;
  return append_to_config(row.operation, std::move(config), {row.keyword, " ", shown, "\n"}) ? 0 : -1;
}

}  // namespace
}  // namespace coupler::snmp

using namespace coupler::snmp;

int32_t GetAndDeleteSnmpSysConOrLoc(const char* keyword) {
  return is_given(kRemove, "Keyword", keyword) ? remove_lines(kRemoval, keyword).status : -1;
}

int32_t SCI_SetSnmpSysContact(const char* text) { return set(kContact, text); }

int32_t SCI_SetSnmpSysLocation(const char* text) {
  const int32_t status = set(kLocation, text);
  if (status == 0) kill_snmpd(kLocation.operation);
  return status;
}
