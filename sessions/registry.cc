// Hands out one snapshot of the sessions at a time, and walks it.
#include <cstdio>
#include <memory>
#include <utility>

#include "brantix/clikrell.hpp"
#include "support/cancellation.h"
#include "support/text.h"

namespace coupler::sessions {
namespace {

using clikrell::SessionIterator;
using clikrell::TermInfo;
using clikrell::TermProcessInfo;
using Snapshot = std::unique_ptr<SessionIterator>;

constexpr unsigned kId = 0;

SessionIterator*& registered() { return SessionIterator::iterators[kId]; }

// Messages are printed outside the lock: a host may hold standard output in one thread while it calls.

/// Frees snapshots until none is registered: another thread may register its own during a message.
void release_registered(std::unique_lock<std::mutex>& lock) {
  while (const Snapshot older{std::exchange(registered(), nullptr)}) {
    lock.unlock();
    std::printf("Warning: Internal error: getIterator() called for non-null iterator pointer for id: %u", kId);
    lock.lock();
  }
}

/// Registers a new snapshot and fills it under the lock, so that nobody walks it before. @return null when it failed
SessionIterator* take_snapshot() {
  // Made before the older one is freed, so that the two differ in their handles.
  Snapshot snapshot(new (std::nothrow) SessionIterator);
  std::unique_lock lock(SessionIterator::init());
  release_registered(lock);
  registered() = snapshot.get();
  if (snapshot == nullptr || snapshot->parseProcTbl() != 0) {
    registered() = nullptr;
    return nullptr;
  }
  snapshot->parseUtmpTbl();
  snapshot->curTerm = snapshot->terms.begin();
  return snapshot.release();
}

/// Uses the registered snapshot under the lock, if `handle` is its address.
template <typename Use>
int32_t with_snapshot(const char* operation, const void* handle, Use use) {
  const CancellationHeldOff held_off;
  if (handle == nullptr) {
    std::printf("%s: Internal error: Invalid null iterator pointer for id: %u", operation, kId);
    return 0;
  }
  {
    const std::lock_guard lock(SessionIterator::init());
    if (handle == registered()) return use(*registered());
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

bool next_session(SessionIterator& snapshot, _SCI_cli_session_s* session) {
  if (session == nullptr || !is_at_session(snapshot)) return false;
  TermInfo& term = snapshot.curTerm->second;
  const TermProcessInfo& process = (term.curProcess++)->second;
  Text(session->user).copy(process.user[0] != '\0' ? process.user : term.user);
  Text(session->host).copy(term.host);
  Text(session->tty).copy(term.tty);
  session->pid = process.pid;
  session->loginTime = process.loginTime;
  return true;
}

int32_t release(SessionIterator& snapshot) {
  registered() = nullptr;
  delete &snapshot;
  return 0;
}

}  // namespace
}  // namespace coupler::sessions

namespace clikrell {

namespace sessions = coupler::sessions;

SessionIterator* SessionIterator::iterators[1] = {};

std::mutex& SessionIterator::init() {
  static constinit std::mutex lMutex;
  return lMutex;
}

_SCI_cli_session_iterator_s* getSessions() {
  const coupler::CancellationHeldOff held_off;
  SessionIterator* const snapshot = sessions::take_snapshot();
  if (snapshot == nullptr) std::printf("%s: Internal error in retrieving sessions", "getSessions");
  return reinterpret_cast<_SCI_cli_session_iterator_s*>(snapshot);
}

int32_t hasNextSession(_SCI_cli_session_iterator_s* iterator) {
  return sessions::with_snapshot("hasNextSession", iterator, sessions::is_at_session);
}

int32_t getNextSession(_SCI_cli_session_iterator_s* iterator, _SCI_cli_session_s* session) {
  return sessions::with_snapshot("getNextSession", iterator, [session](SessionIterator& snapshot) {
    return sessions::next_session(snapshot, session);
  });
}

void freeSessionIterator(_SCI_cli_session_iterator_s* iterator) {
  sessions::with_snapshot("freeSessionIterator", iterator, sessions::release);
}

}  // namespace clikrell
