// Passwords, from a file or from what is typed.
#include "tools/password.h"

#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/handle.h"
#include "support/lines.h"
#include "tools/command.h"

namespace coupler::tools {
namespace {

std::string first_line(const std::string& path) {
  const Descriptor file = open_at_once(path.c_str(), O_RDONLY);
  if (!file) throw Failure("cannot read " + path + ": " + std::strerror(errno), path);
  LinesOf<1024> lines(file.get());
  const auto line = lines.next_line();
  if (!line) throw Failure(path + " holds no password", path);
  return std::string(up_to(*line, "\n"));
}

/// What is typed at the terminal is not shown while this lives.
class NoEcho {
 public:
  NoEcho() {
    tcgetattr(STDIN_FILENO, &old_);
    termios hidden = old_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~NoEcho() { tcsetattr(STDIN_FILENO, TCSAFLUSH, &old_); }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  termios old_;
};

std::string ask(const std::string& what) {
  if (isatty(STDIN_FILENO) == 0) {
    throw Failure("there is no terminal to ask for the " + what + " at; name a file that holds it");
  }
  const NoEcho hidden;
  std::fputs((what + ": ").c_str(), stderr);
  std::string line;
  for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) line += static_cast<char>(c);
  std::fputc('\n', stderr);
  return line;
}

}  // namespace

std::string read_password(const std::string& what, const std::string& file) {
  return file.empty() ? ask(what) : first_line(file);
}

}  // namespace coupler::tools
