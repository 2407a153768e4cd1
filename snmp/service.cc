#include "snmp/service.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "brantix/snmp.h"
#include "frame/message.h"
#include "snmp/agent.h"
#include "support/handle.h"
#include "support/number.h"
#include "support/shell.h"

namespace coupler::snmp {
namespace {

struct ServiceSwitch {
  const char* operation;
  LogMessage<> starting;
  Fixed edit;
  LogMessage<> edited;
  LogMessage<> finished;
};

constexpr ServiceSwitch kEnable{"SCI_EnableSnmp",
                                {info, "SNMPD: start snmpd"},
                                "sed -e '/enabled = False/ s/False/True/' -i ",
                                {info, "SNMPD:  File updated for enable"},
                                {info, "SNMPD: snmpd process started"}};
constexpr ServiceSwitch kDisable{"SCI_DisableSnmp",
                                 {info, "SNMPD: shutdown snmpd"},
                                 "sed -e '/enabled = True/ s/True/False/' -i ",
                                 {info, "SNMPD:  File updated for disable"},
                                 {info, "SNMPD: snmpd process stopped"}};

// The interface has no failure here, so nothing is made of the commands' statuses.
void run(const char* command) { [[maybe_unused]] const int status = std::system(command); }

int32_t turn(const ServiceSwitch& service) {
  service.starting.write(service.operation);
  CommandLine<256> edit;
  run(edit.add(service.edit).add(kServiceFile).c_str());
  service.edited.write(service.operation);
  run(kRescan);
  service.finished.write(service.operation);
  return 0;
}

/// The process id of the agent; 0 when none runs.
int find_agent() {
  const Pipe found(::popen(kFindAgent, "re"));
  char first[10];
  if (!found || std::fgets(first, sizeof(first), found.get()) == nullptr) return 0;
  return static_cast<int>(std::max<int64_t>(0, leading_number(first)));
}

}  // namespace

void kill_snmpd(const char* operation) {
  const int process = find_agent();
  LOG_LINE(critical, operation, "\n%s: SNMPD: sending SIGKILL to pid:%d", operation, process);
  if (process == 0) return;
  ::kill(process, SIGKILL);
  ::sleep(1);
}

}  // namespace coupler::snmp

int32_t SCI_EnableSnmp(void) { return coupler::snmp::turn(coupler::snmp::kEnable); }

int32_t SCI_DisableSnmp(void) { return coupler::snmp::turn(coupler::snmp::kDisable); }
