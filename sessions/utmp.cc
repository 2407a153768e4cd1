// Joins the terminals of a snapshot with the login records of the utmp database.
#include <sys/stat.h>
#include <utmp.h>

#include <optional>

#include "brantix/clikrell.hpp"
#include "support/cancellation.h"
#include "support/handle.h"
#include "support/text.h"

namespace coupler::sessions {
namespace {

using clikrell::SessionIterator;
using clikrell::TermInfo;

std::optional<int32_t> device_number(const char* path) {
  struct stat status;
  if (::stat(path, &status) != 0) return std::nullopt;
  return static_cast<int32_t>(status.st_rdev);
}

int32_t find_device(const char* line, const Text& path_text, const char* path) {
  if (line[0] == '/') {
    if (const auto device = device_number(line)) {
      path_text.copy(line);
      return *device;
    }
  }
  for (const char* directory : {"/dev/", "/dev/tty", "/dev/pts/"}) {
    // A path that was cut is not the path of this line.
    if (!path_text.format("%s%s", directory, line)) continue;
    if (const auto device = device_number(path)) return *device;
  }
  return -1;
}

void fill_terminal(SessionIterator& snapshot, const utmp& record) {
  char line[sizeof(record.ut_line) + 1] = "";
  char path[32];
  Text(line).copy(text_in(record.ut_line));
  const int32_t device = SessionIterator::ttyToDevNum(line, path, sizeof(path));
  if (device == -1) return;
  const auto found = snapshot.terms.find(device);
  if (found == snapshot.terms.end()) return;
  TermInfo& term = found->second;
  Text(term.user).copy(text_in(record.ut_user));
  Text(term.host).copy(text_in(record.ut_host));
  Text(term.tty).copy(path);
  term.curProcess = term.processes.begin();
}

}  // namespace
}  // namespace coupler::sessions

namespace clikrell {

int32_t SessionIterator::ttyToDevNum(const char* line, char* path, unsigned size) {
  return line == nullptr ? -1 : coupler::sessions::find_device(line, coupler::Text(path, size), path);
}

// Not with getutent, which would move the host's own place in the database and set an alarm for its process.
int32_t SessionIterator::parseUtmpTbl() {
  const coupler::CancellationHeldOff held_off;
  const coupler::Descriptor database = coupler::open_at_once(_PATH_UTMP, O_RDONLY);
  utmp record;
  while (coupler::read_some(database.get(), &record, sizeof(record)) == sizeof(record)) {
    if (record.ut_type == USER_PROCESS) coupler::sessions::fill_terminal(*this, record);
  }
  return 0;
}

}  // namespace clikrell
