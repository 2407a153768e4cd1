// The scan for CLI sessions beside the least that any scan does, and beside pgrep.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "bench/table.h"
#include "brantix/sessions.h"
#include "support/handle.h"

namespace coupler::bench {
namespace {

/// Other processes, and one shell, for as long as this lives.
class Crowd {
 public:
  explicit Crowd(int count) {
    for (int i = 0; i < count; ++i) members_.push_back(start(i == count / 2 ? "vsh" : "worker"));
  }
  ~Crowd() {
    for (const pid_t member : members_) kill(member, SIGKILL);
    for (const pid_t member : members_) waitpid(member, nullptr, 0);
  }
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

 private:
  static pid_t start(const char* name) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, name);
    for (;;) pause();
  }

  std::vector<pid_t> members_;
};

void scan() {
  _SCI_cli_session_iterator_s* const sessions = SCI_cli_get_sessions();
  const bool found = SCI_cli_has_next_session(sessions) == 1;
  SCI_cli_free_session_iterator(sessions);
  if (!found) throw std::runtime_error("the shell is not found");
}

/// Opens, reads and closes "comm" of every process.
void read_every_name() {
  const Directory proc(opendir("/proc"));
  char text[1024];
  while (const dirent* const entry = readdir(proc.get())) {
    if (entry->d_name[0] < '1' || entry->d_name[0] > '9') continue;
    const std::string path = std::string(entry->d_name) + "/comm";
    const Descriptor file(openat(dirfd(proc.get()), path.c_str(), O_RDONLY | O_CLOEXEC));
    if (read(file.get(), text, sizeof(text)) < 0) throw std::runtime_error(path + " cannot be read");
  }
}

}  // namespace

std::vector<Row> scan_rows() {
  const auto crowd = std::make_shared<Crowd>(2000);
  return {{"a scan among 2,000 processes", "a loop that opens, reads and closes the name of each", 1.15,
           [crowd] { return processor_time(scan); }, [crowd] { return processor_time(read_every_name); }},
          {"the same", "pgrep -x vsh", 0.15, [crowd] { return processor_time(scan); },
           [crowd] {
             return processor_time_of({"pgrep", "-x", "vsh"});
           }}};
}

}  // namespace coupler::bench
