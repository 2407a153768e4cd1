// A program that loads the coupler library and initialises it; compiled with LOAD_NOTHING, one that loads only the
// libraries that the coupler library needs.
#ifdef LOAD_NOTHING
int main(void) { return 0; }
#else
#include "brantix/coupler.h"

int main(void) {
  const SCI_lib_init_s init = {0, 1, 2, 3, 0};
  return SCI_Initialize_lib(0, 0, 0, &init) == 1000 ? 0 : 2;
}
#endif
