// The operations that do nothing, from the one list of them.
#include "brantix/noop.h"

#include <iterator>

#define NOOP_ZERO(operation) \
  long operation(...) { return 0; }
#define NOOP_NOTHING(operation) \
  void operation(...) {}
#define NOOP_OWN(operation)
#define NOOP(operation, result) NOOP_##result(operation)
#include "brantix/noop.def"
#undef NOOP

namespace coupler::access {
namespace {

#define NOOP(operation, result) #operation,
constexpr const char* kOperations[] = {
#include "brantix/noop.def"
};
#undef NOOP
static_assert(std::size(kOperations) == 79);

}  // namespace
}  // namespace coupler::access
