#include "brantix/noop.h"

#define NOOP_ZERO(operation) \
  long operation(...) { return 0; }
#define NOOP_NOTHING(operation) \
  void operation(...) {}
#define NOOP_OWN(operation)
#define NOOP(operation, result) NOOP_##result(operation)
#include "brantix/noop.def"
#undef NOOP

namespace {

#define NOOP(operation, result) +1
constexpr int kOperations = 0
#include "brantix/noop.def"
    ;
#undef NOOP
static_assert(kOperations == 79);

}  // namespace
