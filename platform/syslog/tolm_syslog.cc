// The platform syslog library: hands a message, which may be anything, to syslog(3).
#include "platform/syslog/tolm_syslog.h"

#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

using Text = std::array<char, 1025>;

/// Copies the text at an address that may be none. The kernel looks, page by page, so that a number costs EFAULT and no
/// crash.
bool copy_text(long address, Text& text) {
  static const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  auto from = static_cast<uintptr_t>(address);
  text.fill('\0');
  for (size_t used = 0; used < text.size() - 1 && std::memchr(text.data(), '\0', used) == nullptr;) {
    const size_t left_in_page = page - from % page;
    const size_t size = left_in_page < text.size() - 1 - used ? left_in_page : text.size() - 1 - used;
    const iovec local{text.data() + used, size};
    const iovec remote{reinterpret_cast<void*>(from), size};
    if (process_vm_readv(getpid(), &local, 1, &remote, 1, 0) != static_cast<ssize_t>(size)) return false;
    used += size;
    from += size;
  }
  return true;
}

void print_message(long message, Text& text) {
  if (!copy_text(message, text)) std::snprintf(text.data(), text.size(), "%ld", message);
  for (char& c : text) {
    const bool control = static_cast<unsigned char>(c) < ' ' && c != '\0';
    if (control) c = ' ';
  }
}

}  // namespace

int tolm_syslog(long a1, const char* tag, long, long a2, long, long) {
  const bool valid = (a1 & ~static_cast<long>(LOG_PRIMASK | LOG_FACMASK)) == 0;
  Text message;
  print_message(a2, message);
  syslog(valid ? static_cast<int>(a1) : LOG_INFO, "%s: %s", tag == nullptr ? "" : tag, message.data());
  return 0;
}
