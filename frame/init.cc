// Takes over what the host initialises the library with.
#include "frame/log.h"
#include "platform/firmware/melskfw.h"

int32_t SCI_Initialize_lib(const void*, const void*, const void*, const SCI_lib_init_s* init) {
  constexpr int32_t kInitialized = 1000;  // what hosts expect, and no status
  if (init == nullptr) return kInitialized;
  debug = init->debugLevel;
  info = init->infoLevel;
  critical = init->criticalLevel;
  gLogPelkFn = init->logFn;
  gLogPelkModuleOffset = init->logModuleOffset;
  melskfw_initBrantixDebug(init->debugLevel, init->infoLevel, init->criticalLevel, init->logFn, init->logModuleOffset);
  LOG_LINE(info, "SCI_Initialize_lib", "Successfully initialized pelk_coupler lib");
  return kInitialized;
}

int32_t get_interface_version(void) { return 0; }
