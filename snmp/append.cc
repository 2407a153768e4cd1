#include "snmp/append.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frame/log.h"
#include "snmp/agent.h"
#include "support/output.h"

namespace coupler::snmp {
namespace {

bool append_all(Descriptor config, std::initializer_list<std::string_view> pieces) {
  const off_t end = ::lseek(config.get(), 0, SEEK_END);
  for (const std::string_view piece : pieces) {
    if (write_all(config.get(), piece.data(), piece.size())) continue;
    const int reason = errno;
    [[maybe_unused]] const int restored = ::ftruncate(config.get(), end);
    errno = reason;
    return false;
  }
  return ::close(config.release()) == 0;
}

}  // namespace

Descriptor open_config_for_appending() { return open_at_once(kConfig, O_WRONLY | O_APPEND | O_CREAT); }

bool append_to_config(const char* operation, Descriptor config, std::initializer_list<std::string_view> pieces) {
  const bool whole = append_all(std::move(config), pieces);
  if (!whole) LOG_LINE(critical, operation, "\n%s not written: %s", kConfig, std::strerror(errno));
  return whole;
}

}  // namespace coupler::snmp
