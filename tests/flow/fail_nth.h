// Makes the n-th call of a kind fail, or the process end at it.
#pragma once

#include <cerrno>
#include <string_view>

namespace coupler::test {

/// A kind of call; fail_nth.cc says which calls are of which kind.
struct Kind {
  std::string_view name;
  int reason;     // for which it fails
  bool on_files;  // leaves something on the disk
};
inline constexpr Kind kKinds[] = {{"open", EMFILE, true},       {"read", EIO, false},
                                  {"seek", EIO, false},         {"map", ENODEV, false},
                                  {"write", ENOSPC, true},      {"resize", ENOSPC, true},
                                  {"sync", EIO, true},          {"name", EIO, true},
                                  {"rename", EIO, true},        {"removal", EIO, true},
                                  {"lock", ENOLCK, false},      {"rights", EPERM, true},
                                  {"process", EAGAIN, false},   {"close", EIO, true},
                                  {"memory", ENOMEM, false},    {"nameless", EOPNOTSUPP, false},
                                  {"privilege", ENOENT, false}, {"interruption", EINTR, false},
                                  {"short", 0, false},          {"position", ESPIPE, false}};

/// Those that no result shows: there is another way.
inline constexpr std::string_view kHarmless[] = {"nameless", "privilege", "interruption", "short"};

/// Each of those that leave something on the disk.
inline constexpr std::string_view kAnyOnFiles = "any on files";

enum class Outcome {
  kError,
  kKilled,    // the process ends before the call
  kPowerCut,  // and what was written and not synced by then is gone
};

struct Fault {
  std::string_view kind;
  int nth;                       // from 1 on; 0: none
  bool lasting = false;          // the later ones fail too
  std::string_view always = {};  // the kind of which every call fails
  Outcome outcome = Outcome::kError;
};

/// For as long as it lives, the n-th call of a kind that this thread makes fails. One at a time.
class Failing {
 public:
  explicit Failing(const Fault& fault);
  ~Failing();
  Failing(const Failing&) = delete;
  Failing& operator=(const Failing&) = delete;

  /// Whether there was an n-th call.
  bool happened() const;

  /// What was written and not synced is gone, and so are names whose directory was not synced.
  static void lose_unsynced();

 private:
  const Fault fault_;
};

}  // namespace coupler::test
