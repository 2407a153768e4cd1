#include <sys/stat.h>
#include <utmp.h>

#include <cstring>
#include <optional>

#include "brantix/clikrell.hpp"
#include "support/text.h"

namespace clikrell {
namespace {

using coupler::Text;

/// The text of a record's field, which need not be terminated.
template <size_t N>
std::string_view field(const char (&text)[N]) {
  return {text, ::strnlen(text, N)};
}

std::optional<int32_t> device_number(const char* path) {
  struct stat status;
  if (::stat(path, &status) != 0) return std::nullopt;
  return static_cast<int32_t>(status.st_rdev);
}

void fill_terminal(SessionIterator& snapshot, const utmp& record) {
  char line[sizeof(record.ut_line) + 1] = "";
  char path[32];
  Text(line).copy(field(record.ut_line));
  const int32_t device = SessionIterator::ttyToDevNum(line, path, sizeof(path));
  if (device == -1) return;
  const auto found = snapshot.terms.find(device);
  if (found == snapshot.terms.end()) return;
  TermInfo& term = found->second;
  Text(term.user).copy(field(record.ut_user));
  Text(term.host).copy(field(record.ut_host));
  Text(term.tty).copy(path);
  term.curProcess = term.processes.begin();
}

}  // namespace

int32_t SessionIterator::ttyToDevNum(const char* line, char* path, unsigned size) {
  if (line == nullptr) return -1;
  const Text target(path, size);
  if (line[0] == '/') {
    if (const auto device = device_number(line)) {
      target.copy(line);
      return *device;
    }
  }
  for (const char* directory : {"/dev/", "/dev/tty", "/dev/pts/"}) {
    // A path that was cut is not the path of this line.
    if (!target.format("%s%s", directory, line)) continue;
    if (const auto device = device_number(path)) return *device;
  }
  return -1;
}

int32_t SessionIterator::parseUtmpTbl() {
  utmp record = {};
  utmp* next = nullptr;
  ::setutent();
  while (::getutent_r(&record, &next) == 0) {
    if (next->ut_type == USER_PROCESS) fill_terminal(*this, *next);
  }
  ::endutent();
  return 0;
}

}  // namespace clikrell
