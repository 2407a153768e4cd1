// The scan for CLI sessions, for hosts in C++.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "brantix/sessions.h"

/// @file
/// The scan behind sessions.h, for C++ hosts built with the same compiler and C++ library.

/// The scan behind sessions.h. Results are 0 or -1.
namespace clikrell {

/// From "/proc/PID/status".
struct ProcessStatusEntry_t {
  int32_t tgid;  ///< thread group; equal to the process id in the first thread only
};

/// From "/proc/PID/stat".
struct ProcessStatEntry_t {
  char comm[20];       ///< command name, terminated
  int32_t ttyNr;       ///< device number of the controlling terminal, 0 without one
  uint64_t startTime;  ///< clock ticks from boot to the process's start
};

/// From "/proc/PID/cmdline" or "/proc/PID/environ".
struct ProcessUserEntry_t {
  char user[128];  ///< terminated; empty when the file names no user
};

struct TermInfo;

/// One CLI process.
struct TermProcessInfo {
  TermInfo* term = nullptr;  ///< the terminal that holds it
  int32_t pid = 0;           ///< process id
  int64_t loginTime = 0;     ///< start of the process, in seconds since the epoch
  char user[128] = {};       ///< the user that the process names itself, or empty

  // Computed for the first CLI process that is ever found, kept from then on, so that a process's login time is the
  // same in every scan. All are -1 before; `bootTime` below 0 means that they are still to be computed.
  BRANTIX_EXPORT static int64_t clocksPerSec;  ///< clock ticks per second
  BRANTIX_EXPORT static int32_t upTime;        ///< whole seconds since boot; -1 when "/proc/uptime" does not tell
  BRANTIX_EXPORT static int64_t bootTime;      ///< seconds since the epoch at boot: the time then, less `upTime`
};

/// One terminal with at least one CLI process. The texts stay empty when utmp has no record of it.
struct TermInfo {
  TermInfo() = default;
  TermInfo(const TermInfo&) = delete;
  TermInfo& operator=(const TermInfo&) = delete;

  int32_t ttyNr = 0;                                                          ///< device number
  char user[128] = {};                                                        ///< the user who logged in
  char host[256] = {};                                                        ///< the host that the user came from
  char tty[64] = {};                                                          ///< path of the device
  std::map<int32_t, TermProcessInfo> processes;                               ///< by process id
  std::map<int32_t, TermProcessInfo>::iterator curProcess = processes.end();  ///< the next to hand out
};

/// One snapshot of the sessions, and how far it has been walked. The members lock nothing: a host that scans on its own
/// holds `init()` across its scan.
class SessionIterator {
 public:
  SessionIterator() = default;
  SessionIterator(const SessionIterator&) = delete;
  SessionIterator& operator=(const SessionIterator&) = delete;

  /// Scans the process table into `terms`, which it empties first. @return -1 when "/proc" cannot be opened or memory
  /// is short
  BRANTIX_EXPORT int32_t parseProcTbl();

  /// Fills user, host and tty of the terminals from the records of the utmp database, of two records of a terminal from
  /// the later. @return 0
  BRANTIX_EXPORT int32_t parseUtmpTbl();

  /// @name One file of a process
  /// Each fills an entry, zero where the file has nothing for it. -1 when the file cannot be read or is not one of its
  /// kind; that no user was found is not an error.
  /// @{
  BRANTIX_EXPORT static int32_t parseStatusEntry(int pid, ProcessStatusEntry_t& entry);  ///< "/proc/PID/status"
  BRANTIX_EXPORT static int32_t parseStatEntry(int pid, ProcessStatEntry_t& entry);      ///< "/proc/PID/stat"
  BRANTIX_EXPORT static int32_t parseCmdlineEntry(int pid, ProcessUserEntry_t& entry);   ///< the argument after "-p"
  BRANTIX_EXPORT static int32_t parseEnvEntry(int pid, ProcessUserEntry_t& entry);       ///< the value of USER
  /// @}

  /// Finds the device of a terminal line as utmp names it: the line itself when it is the path of a file, else
  /// "/dev/LINE", "/dev/ttyLINE" or "/dev/pts/LINE", the first that is there.
  ///
  /// @param line a terminal line of utmp
  /// @param path receives the device's path
  /// @param size bytes of `path`, to which the path is cut
  /// @return the low 32 bits of the device number; -1 when there is none
  BRANTIX_EXPORT static int32_t ttyToDevNum(const char* line, char* path, unsigned size);

  /// The lock that every call of sessions.h holds.
  BRANTIX_EXPORT static std::mutex& init();

  std::map<int32_t, TermInfo> terms;                            ///< by device number
  std::map<int32_t, TermInfo>::iterator curTerm = terms.end();  ///< the terminal that is walked

  /// The snapshot whose handle is out, or null. There is one, its id is 0.
  BRANTIX_EXPORT static SessionIterator* iterators[1];
};

/// @name The calls of sessions.h, which describes them
/// @{
BRANTIX_EXPORT _SCI_cli_session_iterator_s* getSessions();                     ///< SCI_cli_get_sessions
BRANTIX_EXPORT int32_t hasNextSession(_SCI_cli_session_iterator_s* iterator);  ///< SCI_cli_has_next_session
BRANTIX_EXPORT int32_t getNextSession(_SCI_cli_session_iterator_s* iterator,
                                      _SCI_cli_session_s* session);              ///< SCI_cli_get_next_session
BRANTIX_EXPORT void freeSessionIterator(_SCI_cli_session_iterator_s* iterator);  ///< SCI_cli_free_session_iterator
/// @}

}  // namespace clikrell
