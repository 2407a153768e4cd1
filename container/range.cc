// The cursor over a container in memory.
#include "brantix/container.h"

void set_range(orvix_range* r, uint64_t start, uint64_t length) { *r = {start, start + length, start}; }

int is_in_range(const orvix_range* r) { return r->start <= r->cur && r->cur <= r->end; }

int range_advance(orvix_range* r, uint64_t n) {
  r->cur += n;
  return is_in_range(r);
}

uint64_t range_get(orvix_range* r, uint64_t n) {
  const uint64_t address = r->cur;
  return range_advance(r, n) ? address : 0;
}
