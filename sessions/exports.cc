// The calls of the C interface, handed to those of C++.
#include "brantix/clikrell.hpp"

_SCI_cli_session_iterator_s* SCI_cli_get_sessions(void) { return clikrell::getSessions(); }

int32_t SCI_cli_has_next_session(_SCI_cli_session_iterator_s* iterator) { return clikrell::hasNextSession(iterator); }

int32_t SCI_cli_get_next_session(_SCI_cli_session_iterator_s* iterator, _SCI_cli_session_s* session) {
  return clikrell::getNextSession(iterator, session);
}

void SCI_cli_free_session_iterator(_SCI_cli_session_iterator_s* iterator) { clikrell::freeSessionIterator(iterator); }
