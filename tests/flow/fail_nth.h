// Makes the n-th call of a kind fail, or the process end at it.
#pragma once

#include <vector>

namespace coupler::test {

/// Kinds of call that can be made to fail; fail_nth.cc says which calls are of which kind.
enum class Call {
  kOpen,
  kRead,
  kSeek,
  kMap,
  kWrite,
  kResize,
  kSync,
  kName,
  kRename,
  kRemoval,
  kLock,
  kRights,
  kProcess,
  kClose,
  kMemory,
  kInterruption,
  kAnyOnFiles,  // of those that leave something on the disk
};

enum class Outcome {
  kError,
  kKilled,    // the process ends before the call
  kPowerCut,  // and what was written and not synced by then is gone
};

/// For as long as it lives, the n-th call of a kind that this thread makes fails. One at a time.
class Failing {
 public:
  struct Fault {
    Call call;
    int nth;                        // from 1 on; 0: none
    bool lasting = false;           // the later ones fail too
    std::vector<Call> always = {};  // kinds of which every call fails
    Outcome outcome = Outcome::kError;
  };

  explicit Failing(const Fault& fault);
  ~Failing();
  Failing(const Failing&) = delete;
  Failing& operator=(const Failing&) = delete;

  /// Whether there was an n-th call.
  bool happened() const;

  /// What was written and not synced is gone.
  static void lose_unsynced();
};

}  // namespace coupler::test
