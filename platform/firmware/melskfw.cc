// Stand-in of the platform firmware library: answers from the settings, and keeps what was staged.
#include "platform/firmware/melskfw.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/settings.h"

namespace {

using platform::setting;

/// What the host handed over.
struct Host {
  int debug = 0;
  int info = 0;
  int critical = 0;
  melskfw_log_fn* log = nullptr;
  int* threshold = nullptr;

  bool hears(int level) const {
    return log != nullptr && threshold != nullptr &&
           std::atomic_ref<int>(*threshold).load(std::memory_order_relaxed) <= level;
  }
};

std::mutex mutex;
Host registered;

Host host() {
  const std::lock_guard lock(mutex);
  return registered;
}

/// The answer of a query that must not throw into C.
template <typename Query>
auto answer(Query query, decltype(query()) otherwise) noexcept {
  try {
    return query();
  } catch (...) {
    return otherwise;
  }
}

/// A text that stays where it is; it is written only when its setting has changed.
class VersionText {
 public:
  const char* refresh(const char* key, const char* otherwise) noexcept {
    return answer(
        [&] {
          const std::string version = setting(key, std::string_view(otherwise));
          const std::lock_guard lock(mutex);
          if (version.compare(0, sizeof text_ - 1, text_) != 0) {
            std::snprintf(text_, sizeof text_, "%s", version.c_str());
          }
          return static_cast<const char*>(text_);
        },
        text_);
  }

 private:
  char text_[64] = "";
};

int refuse(const char* path, int reason) {
  const Host to = host();
  if (to.hears(to.critical)) {
    to.log("melskfw_upgradeStart", to.threshold, to.critical, "cannot stage %s: %s\n", path, std::strerror(reason));
  }
  return -reason;
}

int stage(const char* path) {
  if (const int result = setting("upgrade_result", 0); result != 0) return result;
  if (path == nullptr) return refuse("(null)", EINVAL);
  // A line end would start a setting of its own.
  if (*path == '\0' || std::strpbrk(path, "\r\n") != nullptr) return refuse(path, EINVAL);
  if (access(path, R_OK) != 0) return refuse(path, errno);
  const platform::Changes staged{{"staged", path},
                                 {"upgrade_state_0", "1"},
                                 {"upgrade_state_1", "1"},
                                 {"upgrade_state_2", "1"},
                                 {"upgrade_state_3", "1"}};
  if (!platform::change_settings(staged)) return refuse(path, errno);
  return 0;
}

}  // namespace

int melskfw_initBrantixDebug(int debug, int info, int critical, melskfw_log_fn* log, int* threshold) {
  {
    const std::lock_guard lock(mutex);
    registered = {debug, info, critical, log, threshold};
  }
  return answer(
      [] {
        platform::tell_unknown_keys();
        return 0;
      },
      -ENOMEM);
}

int melskfw_upgradeStart(const char* path) {
  return answer([&] { return stage(path); }, -ENOMEM);
}

// The defaults compose a package version on every type of board.
const char* melskfw_readVersionRommon() {
  static VersionText text;
  return text.refresh("rommon_version", "1.2.3");
}

const char* melskfw_readVersionFpga() {
  static VersionText text;
  return text.refresh("fpga_version", "1.08.00");
}

const char* melskfw_readVersionPseq() {
  static VersionText text;
  return text.refresh("pseq_version", "2.5");
}

int melskfw_bootStatus() {
  return answer([] { return setting("boot_status", 0); }, -ENOMEM);
}

int melskfw_getUpgState(int component) {
  return answer([&] { return setting("upgrade_state_" + std::to_string(component), 0); }, -ENOMEM);
}
