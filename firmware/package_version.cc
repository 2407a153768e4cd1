// Composes the version of the firmware package from those of its components.
#include "firmware/package_version.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>

#include "firmware/boards.h"
#include "support/number.h"

namespace coupler::firmware {
namespace {

constexpr size_t kFieldSize = 64;

void copy_without_dots(const char* version, char (&copy)[kFieldSize]) {
  const char* end = version + strnlen(version, kFieldSize - 1);
  *std::remove_copy(version, end, copy, '.') = '\0';
}

/// Reads the numbers between the dots of `text`, at most four. @return how many there are
size_t read_numbers(const char* text, int (&numbers)[4]) {
  size_t count = 0;
  while (text != nullptr) {
    if (count < std::size(numbers)) {
      numbers[count] = static_cast<int>(std::clamp<int64_t>(leading_number(text), INT_MIN, INT_MAX));
    }
    ++count;
    text = std::strchr(text, '.');
    if (text != nullptr) ++text;
  }
  return count;
}

bool compose_code(int board, const char* components, Text code) {
  int n[4];
  const size_t count = read_numbers(components, n);
  if (has_npu(board)) return count == 4 && code.format("%02d%02d.%02d%02d", n[0], n[1], n[2], n[3]);
  if (has_ssd(board) && count >= 2) code.format("%02d%02d", n[0], n[1]);
  return true;
}

}  // namespace

bool compose_package_version(int board, const char* rommon, const char* fpga, const char* pseq, Text package) {
  const size_t length = strnlen(fpga, kFieldSize - 1);
  package.clear();
  if (length <= 2) return true;
  char boot[kFieldSize];
  char components[kFieldSize];
  char code[kFieldSize] = "";
  copy_without_dots(rommon, boot);
  Text(components).format("%.*s%s", static_cast<int>(length - 2), fpga, has_npu(board) ? pseq : "");
  const bool valid = compose_code(board, components, code);
  package.format("%s.%s", boot, code);
  return valid;
}

}  // namespace coupler::firmware
