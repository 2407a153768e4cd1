// The agent's system contact and location, and the kill by which a new location reaches the running agent.
#include <signal.h>
#include <unistd.h>

#include <charconv>

#include "brantix/snmp.h"
#include "snmp/config_file.h"
#include "snmp/paths.h"
#include "support/lines.h"

namespace coupler::snmp {
namespace {

constexpr const char* kRemove = "GetAndDeleteSnmpSysConOrLoc";

constexpr LineRemoval kRemoval{
    .operation = kRemove,
    .failure = -1,
    .selects = [](std::string_view line) { return !line.starts_with('#'); },
    .not_opened = {critical, "\nSNMPD_CONF_FILE fopen failed"},
    .new_not_opened = {critical, "\nSNMPD_CONF_FILE.new fopen failed"},
    .not_removed = {critical, "\nFile SNMPD_CONF_FILE remove failed"},
    .not_renamed = {critical, "\n file snmpd.conf.new renamed failed"},
    .nothing_selected = {debug, "\nnot find a match to delete %s"},
    .new_not_removed = {critical, "\nFile SNMPD_CONF_FILE.new remove failed"},
};

bool remove(const char* keyword) {
  return is_given(kRemove, "Keyword", keyword) && remove_lines(ConfigLock(), kRemoval, keyword).status == 0;
}

struct SystemText {
  const char* operation;
  const char* keyword;
  LogMessage<> not_set;
};

constexpr SystemText kContact{"SCI_SetSnmpSysContact", "sysContact", {critical, "\nSysContact set failed"}};
constexpr SystemText kLocation{"SCI_SetSnmpSysLocation", "sysLocation", {critical, "\nsysLocation set failed"}};

// Deletion and addition are one change for whoever else waits for the file.
bool set(const SystemText& row, const char* text) {
  if (!is_given(row.operation, row.keyword, text)) return false;
  const ConfigLock lock;
  if (remove_lines(lock, kRemoval, row.keyword).status != 0) {
    row.not_set.write(row.operation);
    return false;
  }
  return append_to_config(lock, row.operation, {critical, "\n SNMPD_CONF_FILE fopen() Error!!!\n"},
                          {row.keyword, " ", *text == '\0' ? "''" : text, "\n"});
}

/// The process id of the agent; 0 when none runs. Of several the first is taken.
int find_agent() {
  const Pipe found(::popen(kFindAgent.c_str(), "re"));
  LinesOf<9> lines(found ? ::fileno(found.get()) : -1);
  const std::string_view first = lines.next_piece().value_or("");
  unsigned process = 0;
  std::from_chars(first.data(), first.data() + first.size(), process);
  return static_cast<int>(process);
}

/// Its service starts the agent anew.
void kill_snmpd(const char* operation) {
  const int process = find_agent();
  LOG_LINE(critical, operation, "\n%s: SNMPD: sending SIGKILL to pid:%d", operation, process);
  if (process == 0) return;
  ::kill(process, SIGKILL);
  ::sleep(1);
}

bool set_location(const char* text) {
  if (!set(kLocation, text)) return false;
  kill_snmpd(kLocation.operation);
  return true;
}

}  // namespace
}  // namespace coupler::snmp

int32_t GetAndDeleteSnmpSysConOrLoc(const char* keyword) { return coupler::snmp::remove(keyword) ? 0 : -1; }

int32_t SCI_SetSnmpSysContact(const char* text) { return coupler::snmp::set(coupler::snmp::kContact, text) ? 0 : -1; }

int32_t SCI_SetSnmpSysLocation(const char* text) { return coupler::snmp::set_location(text) ? 0 : -1; }
