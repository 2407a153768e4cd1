// Holds off the cancellation of the calling thread, whose unwinding would end at code that throws nothing.
#pragma once

#include <pthread.h>

namespace coupler {

/// While it lives, pthread_cancel takes no effect in the calling thread; it takes effect at the thread's next
/// cancellation point after that.
class CancellationHeldOff {
 public:
  CancellationHeldOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  ~CancellationHeldOff() { pthread_setcancelstate(before_, nullptr); }
  CancellationHeldOff(const CancellationHeldOff&) = delete;
  CancellationHeldOff& operator=(const CancellationHeldOff&) = delete;

 private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace coupler
