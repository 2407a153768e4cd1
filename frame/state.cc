// The state that the host reads and writes by name, as it is at load.
#include "brantix/frame.h"

SCI_log_fn* gLogPelkFn = nullptr;
int32_t* gLogPelkModuleOffset = nullptr;
int32_t debug = -1;
int32_t info = -1;
int32_t critical = -1;

int32_t cs_debug_verbose = 0;
int32_t cs_debug_errors = 0;
int32_t cs_debug_revocation = 0;
int32_t cs_debug_key = 0;
int32_t cs_debug_envelope = 0;

uintptr_t cmi_session_id = 0;
uintptr_t cmi_username = 0;
