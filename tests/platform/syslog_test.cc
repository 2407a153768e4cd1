// What the platform's syslog makes of a message, which may be a text, a number, or no readable memory.
#include "platform/syslog/tolm_syslog.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>

namespace {

long address(const void* text) { return reinterpret_cast<long>(text); }

/// Fills a page with a text, in front of a page that nobody may read. @return the text's last `size` bytes
char* before_forbidden_page(size_t size) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  char* pages = static_cast<char*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  std::memset(pages, 'p', page);
  mprotect(pages + page, page, PROT_NONE);
  return pages + page - size;
}

TEST(PlatformSyslogTest, TextsAndNumbersReachTheLog) {
  const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un place{AF_UNIX, "/dev/log"};
  ASSERT_EQ(bind(log, reinterpret_cast<const sockaddr*>(&place), sizeof place), 0) << std::strerror(errno);
  char* ended = before_forbidden_page(6);
  ended[5] = '\0';
  const long unended = address(before_forbidden_page(6));
  const std::string endless(5000, 'e');
  const std::tuple<long, long, std::string, std::string> rows[] = {
      {LOG_ERR, address("link down"), "<11>", "link down"},
      {LOG_LOCAL7 | LOG_DEBUG, address("100%n%s"), "<191>", "100%n%s"},
      {-1, address("two\nlines"), "<14>", "two lines"},
      {1 << 20, 0, "<14>", "0"},
      {LOG_INFO, -5, "<14>", "-5"},
      {LOG_INFO, address(ended), "<14>", "ppppp"},
      {LOG_INFO, unended, "<14>", std::to_string(unended)},
      {LOG_INFO, address(endless.c_str()), "<14>", std::string(1024, 'e')},
  };
  for (const auto& [priority, message, head, text] : rows) {
    EXPECT_EQ(tolm_syslog(priority, "VTRC", 0, message, 0, 0), 0);
    char line[4096] = "";
    ASSERT_GT(recv(log, line, sizeof line - 1, MSG_DONTWAIT), 0);
    EXPECT_THAT(line, testing::AllOf(testing::StartsWith(head), testing::EndsWith("VTRC: " + text)));
  }
  close(log);
}

}  // namespace
