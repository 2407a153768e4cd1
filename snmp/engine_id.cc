#include "snmp/engine_id.h"

#include <cstdlib>
#include <cstring>

#include "frame/log.h"
#include "snmp/agent.h"
#include "support/handle.h"

namespace coupler::snmp {

size_t findEngineId(char (&buffer)[kEngineIdCapacity]) {
  std::memset(buffer, 0, kEngineIdCapacity);
  if (std::system(kExtractEngineId) == 0) {
    const File file(std::fopen(kEngineIdFile, "a+e"));
    if (!file) return 0;
    const size_t length = std::fread(buffer, 1, kEngineIdCapacity - 1, file.get());
    if (length > 0) buffer[length - 1] = '\0';  // the line end that cut wrote
  }
  if (buffer[0] == '\0') {
    LOG_LINE(critical, "findEngineId", "EngineId not found. Please check file /var/lib/net-snmp/snmpd.conf\r\n");
  }
  return std::strlen(buffer);
}

}  // namespace coupler::snmp
