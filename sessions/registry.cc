#include <cstdio>
#include <memory>
#include <utility>

#include "brantix/clikrell.hpp"
#include "support/text.h"

namespace clikrell {

SessionIterator* SessionIterator::iterators[1] = {};

std::mutex& SessionIterator::init() {
  static constinit std::mutex lMutex;
  return lMutex;
}

namespace {

using coupler::Text;

constexpr unsigned kId = 0;

/// @return null when the scan failed
SessionIterator* take_snapshot() {
  std::unique_ptr<SessionIterator> snapshot(new (std::nothrow) SessionIterator);
  if (snapshot == nullptr || snapshot->parseProcTbl() != 0) return nullptr;
  snapshot->parseUtmpTbl();
  snapshot->curTerm = snapshot->terms.begin();
  return snapshot.release();
}

/// Uses the registered snapshot under the lock, if `handle` is its address. Messages are printed outside the lock,
/// since a host may hold standard output while it calls.
template <typename Use>
int32_t with_snapshot(const char* operation, const void* handle, Use use) {
  if (handle == nullptr) {
    std::printf("%s: Internal error: Invalid null iterator pointer for id: %u", operation, kId);
    return 0;
  }
  {
    const std::lock_guard lock(SessionIterator::init());
    if (handle == SessionIterator::iterators[kId]) return use(SessionIterator::iterators[kId]);
  }
  std::printf("%s: Internal error: Invalid iterator pointer for id: %u", operation, kId);
  return 0;
}

/// Moves past terminals whose processes are used up.
bool is_at_session(SessionIterator& snapshot) {
  auto& term = snapshot.curTerm;
  while (term != snapshot.terms.end() && term->second.curProcess == term->second.processes.end()) ++term;
  return term != snapshot.terms.end();
}

int32_t next_session(SessionIterator& snapshot, _SCI_cli_session_s* session) {
  if (session == nullptr || !is_at_session(snapshot)) return 0;
  TermInfo& term = snapshot.curTerm->second;
  Text(session->user).copy(term.user);
  Text(session->host).copy(term.host);
  Text(session->tty).copy(term.tty);
  const TermProcessInfo& process = (term.curProcess++)->second;
  session->pid = process.pid;
  session->loginTime = process.loginTime;
  if (process.user[0] != '\0') Text(session->user).copy(process.user);
  return 1;
}

}  // namespace

_SCI_cli_session_iterator_s* getSessions() {
  std::unique_ptr<SessionIterator> older;
  SessionIterator* snapshot;
  {
    const std::lock_guard lock(SessionIterator::init());
    snapshot = take_snapshot();
    older.reset(std::exchange(SessionIterator::iterators[kId], snapshot));
  }
  if (older != nullptr) {
    std::printf("Warning: Internal error: getIterator() called for non-null iterator pointer for id: %u", kId);
  }
  if (snapshot == nullptr) std::printf("%s: Internal error in retrieving sessions", "getSessions");
  return reinterpret_cast<_SCI_cli_session_iterator_s*>(snapshot);
}

int32_t hasNextSession(_SCI_cli_session_iterator_s* iterator) {
  return with_snapshot("hasNextSession", iterator,
                       [](SessionIterator* snapshot) { return is_at_session(*snapshot) ? 1 : 0; });
}

int32_t getNextSession(_SCI_cli_session_iterator_s* iterator, _SCI_cli_session_s* session) {
  return with_snapshot("getNextSession", iterator,
                       [session](SessionIterator* snapshot) { return next_session(*snapshot, session); });
}

void freeSessionIterator(_SCI_cli_session_iterator_s* iterator) {
  with_snapshot("freeSessionIterator", iterator, [](SessionIterator* snapshot) {
    SessionIterator::iterators[kId] = nullptr;
    delete snapshot;
    return 0;
  });
}

}  // namespace clikrell
