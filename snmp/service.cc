// Switches the service that runs the agent on and off.
#include <cstdlib>

#include "brantix/snmp.h"
#include "frame/message.h"
#include "snmp/paths.h"

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
  run(kRescan.c_str());
  service.finished.write(service.operation);
  return 0;
}

}  // namespace
}  // namespace coupler::snmp

int32_t SCI_EnableSnmp(void) { return coupler::snmp::turn(coupler::snmp::kEnable); }

int32_t SCI_DisableSnmp(void) { return coupler::snmp::turn(coupler::snmp::kDisable); }
