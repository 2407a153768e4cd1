// Files written whole or not at all, copies of pieces of files; lines; values in command lines.
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdarg>

#include "support/copy.h"
#include "support/lines.h"
#include "support/output.h"
#include "support/shell.h"
#include "tests/common/files.h"
#include "tests/common/shell.h"

// Plays a file system that shares blocks of 4096 bytes, and the last one of a file; negative: one that shares none.
static int shared = -1;

int ioctl(int target, unsigned long request, ...) noexcept {
  std::va_list list;
  va_start(list, request);
  const auto* const range = va_arg(list, const file_clone_range*);
  va_end(list);
  errno = EOPNOTSUPP;
  if (request != FICLONERANGE || shared < 0) return -1;
  const uint64_t length = range->src_length;
  std::string bytes(length + 1, '\0');  // one more, which only the end of the file lacks
  const auto begin = static_cast<off_t>(range->src_offset);
  const ssize_t got = pread(static_cast<int>(range->src_fd), bytes.data(), bytes.size(), begin);
  errno = EINVAL;
  const uint64_t beyond = static_cast<uint64_t>(got) - length, last = beyond == 0 ? 0 : length;
  if (beyond > 1 || (range->src_offset | range->dest_offset | last) % 4096 != 0) return -1;
  ++shared;
  return pwrite(target, bytes.data(), length, static_cast<off_t>(range->dest_offset)) < 0 ? -1 : 0;
}

// Why a file cannot be synced; 0: it can.
static int sync_failure = 0;

int fsync(int) {
  errno = sync_failure;
  return sync_failure == 0 ? 0 : -1;
}

namespace coupler {
namespace {

namespace fs = std::filesystem;
using test::names_in;
using test::read_file;
using test::ScratchDirectory;
using test::write_file;

class OutputFileTest : public testing::Test {
 protected:
  static bool write(const std::string& path, size_t size) {
    OutputFile file(path.c_str());
    return file && file.claim(size) && file.write("a", 1) && file.write("bc", 2) && file.set_size(size) &&
           file.commit();
  }

  const ScratchDirectory directory_;
  const std::string path_ = directory_ / "out";
};

TEST_F(OutputFileTest, AppearsWhenCommittedInPlaceOfAnOlderOne) {
  const mode_t mask = ::umask(027);
  for (const auto mode : {fs::perms(0640), fs::perms(0604)}) {  // that of a new file, then the older one's
    const std::string before = names_in(directory_.path());
    OutputFile file(path_.c_str());
    ASSERT_TRUE(file.write("abc", 3));
    EXPECT_EQ(names_in(directory_.path()), before);
    ASSERT_TRUE(file.set_size(5) && file.commit());
    EXPECT_EQ(names_in(directory_.path()), "out");
    EXPECT_EQ(read_file(path_), std::string("abc\0\0", 5));
    EXPECT_EQ(fs::status(path_).permissions(), mode);
    write_file(path_, "older");
    fs::permissions(path_, fs::perms(0604));
    write_file(directory_ / ".out.unfinished", "of a process that was killed");
  }
  ::umask(mask);
  { OutputFile(path_.c_str()).write("abc", 3); }
  EXPECT_EQ(read_file(path_), "older");
  EXPECT_EQ(names_in(directory_.path()), ".out.unfinished out") << "what others write stays";
  for (const auto& [path, reason] : {std::pair{directory_.path(), EISDIR},
                                     {"/no/such/file", ENOENT},
                                     {"/tmp" + std::string(3880, '/') + std::string(200, 'n'), ENAMETOOLONG}}) {
    EXPECT_FALSE(OutputFile(path.c_str()));
    EXPECT_EQ(errno, reason);
  }
}

TEST_F(OutputFileTest, WritesThroughWhatIsNoPlainFile) {
  ::symlink("target", path_.c_str());
  EXPECT_TRUE(write(path_, 4));
  EXPECT_EQ(names_in(directory_.path()), "out target");
  EXPECT_EQ(read_file(directory_ / "target"), std::string("abc\0", 4));
  { OutputFile(path_.c_str()).write("x", 1); }
  EXPECT_EQ(names_in(directory_.path()), "out target");

  const std::string pipe = directory_ / "pipe";
  ::mkfifo(pipe.c_str(), 0600);
  EXPECT_FALSE(OutputFile(pipe.c_str())) << "no one reads";
  const Descriptor reader = open_at_once(pipe.c_str(), O_RDONLY);
  EXPECT_TRUE(write(pipe, 6000));
  char got[7000];
  EXPECT_EQ(::read(reader.get(), got, sizeof(got)), 6000);
  EXPECT_EQ(std::string(got, 6000), "abc" + std::string(5997, '\0'));
  EXPECT_TRUE(write("/dev/null", 6));
  EXPECT_FALSE(write("/dev/full", 3) || OutputFile("/dev/full").set_size(3));
  EXPECT_EQ(errno, ENOSPC);
}

[[gnu::noinline]] void fill_stack() {
  volatile char old[4096];
  for (volatile char& byte : old) byte = -1;
}

TEST_F(OutputFileTest, HoldsItsOwnSignalsAlone) {
  sigset_t held;
  fill_stack();
  const SignalFreeWrites writes;
  ::pthread_sigmask(SIG_BLOCK, nullptr, &held);
  for (int signal = 1; signal < SIGRTMAX; ++signal) {
    EXPECT_EQ(sigismember(&held, signal), signal == SIGPIPE || signal == SIGXFSZ) << signal;
  }
}

// A limit, as a full disk, is told before anything is written.
TEST_F(OutputFileTest, KeepsTheReasonOfAFailure) {
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small{4, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  bool told = true;
  for (const int way : {0, 1, 2}) {
    OutputFile file(path_.c_str());
    told = told && !(way == 0 ? file.write("0123456789", 10) : way == 1 ? file.claim(10) : file.set_size(10));
    told = told && errno == EFBIG;
  }
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_TRUE(told);
  sync_failure = EIO;
  EXPECT_FALSE(write(path_, 3));
  EXPECT_EQ(errno, std::exchange(sync_failure, 0));
  EXPECT_EQ(names_in(directory_.path()), "");
  OutputFile file(path_.c_str());
  fs::create_directory(path_);
  EXPECT_FALSE(file.commit());
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(names_in(directory_.path()), "out");
}

// Windows begin at page boundaries, payloads do not; what is not a file on disk goes through the buffer. Blocks are
// shared where a piece begins at one.
TEST(CopyTest, CopiesEveryRange) {
  const ScratchDirectory directory;
  const std::string source_path = directory / "source", target = directory / "target";
  std::string content((5 << 20) + 100, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / 4099);
  write_file(source_path, content);
  const File on_disk(std::fopen(source_path.c_str(), "rb"));
  const File in_memory(fmemopen(content.data(), content.size(), "rb"));
  std::fputc('x', in_memory.get());  // an older failure, which is not the copy's
  for (const auto& [source, shares] :
       {std::pair{on_disk.get(), -1}, std::pair{in_memory.get(), 0}, std::pair{on_disk.get(), 0}}) {
    shared = shares;
    using Range = std::pair<size_t, size_t>;
    for (const auto& [offset, length] :
         {Range{0, 0}, Range{16, 1}, Range{4095, 2}, Range{2048, 5000}, Range{4112, 4 << 20},
          Range{(2 << 20) - 16, (2 << 20) + 32}, Range{content.size() - 5, 100}, Range{content.size() + 5, 100},
          Range{4096, 8192}, Range{8192, 4097}, Range{(5 << 20) - 4096, 5000}}) {
      ASSERT_TRUE(copy_to_file({source, offset, length}, target.c_str()));
      std::string expected = content.substr(std::min(offset, content.size()), length);
      expected.resize(length);
      EXPECT_EQ(read_file(target), expected) << offset;
      EXPECT_TRUE(is_copy({source, offset, length}, target.c_str()));
      EXPECT_FALSE(is_copy({source, offset, length + 1}, target.c_str())) << "another size";
      if (length == 0) continue;
      ++expected.back();
      write_file(target, expected);
      EXPECT_FALSE(is_copy({source, offset, length}, target.c_str())) << "another last byte";
    }
  }
  EXPECT_EQ(std::exchange(shared, -1), 3);
  EXPECT_FALSE(is_copy({on_disk.get(), 0, 0}, "/dev/null"));
  const File unreadable(std::fopen("/tmp", "rb"));
  write_file(target, {'\0'});
  EXPECT_FALSE(is_copy({unreadable.get(), 0, 1}, target.c_str()));
  EXPECT_FALSE(copy_to_file({on_disk.get(), 16, 5}, source_path.c_str()));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(read_file(source_path), content) << "a file that is copied onto itself would be lost";
}

// Lines across the ends of the buffer, as long as the limit and longer; the last one comes in bits, with a NUL, and has
// no end.
TEST(LinesTest, AreWholeWhereverTheyLie) {
  std::string content, pieces, cut;
  for (int i = 0; i < 8000; ++i) {
    const std::string line = std::to_string(i * i) + '\n';
    content += line;
    cut += line.substr(0, 7) + '|';
    pieces += line.substr(0, 7) + (line.size() > 7 ? '|' + line.substr(7) : "") + '|';
  }
  write_file("/tmp/lines", content);
  const auto read = [](std::optional<std::string_view> (LineReader::*next)()) {
    const Pipe pipe(::popen("cat /tmp/lines; sleep 0.1; printf a; sleep 0.1; printf 'b\\0c'", "r"));
    LinesOf<7> lines(::fileno(pipe.get()));
    std::string text;
    while (const auto part = (lines.*next)()) text.append(*part) += '|';
    return text;
  };
  EXPECT_TRUE(read(&LineReader::next_piece) == pieces + std::string("ab\0c|", 5));
  EXPECT_TRUE(read(&LineReader::next_line) == cut + "ab|");
  int half[2];
  ASSERT_EQ(::pipe2(half, O_NONBLOCK), 0);
  EXPECT_EQ(::write(half[1], "half", 4), 4);
  EXPECT_FALSE(LinesOf<7>(half[0]).next_line()) << "more might come, but cannot be read";
  for (const int end : half) ::close(end);
}

/// The value as a word of its own, and between quotes of ours.
std::string words_of(const std::string& value) {
  CommandLine<128> line;
  line.add(ShellWord(value)).add(" \"").add(QuotedValue(value)).add(" \"");
  EXPECT_FALSE(line.is_cut());
  return line.c_str();
}

TEST(ShellTest, OrdinaryValuesStandAsTheyAre) {
  for (const std::string value : {"10.0.0.5", "fe80::1", "a-b_c+d=e,f/g%h@i:j", "", "]^~#", "\x81\xfe"}) {
    EXPECT_EQ(words_of(value), value + " \"" + value + " \"");
  }
  EXPECT_EQ(words_of("a b*'"), "a' 'b'*'\"'\" \"a b*' \"");
  EXPECT_EQ(words_of("$#~"), "'$'#~ \"\"'$'\"#~ \"");
  CommandLine<128> line;
  line.add("run ").add(-42).add(" ").add(ShellArgument("")).add(" ").add(ShellArgument("a;"));
  EXPECT_STREQ(line.c_str(), "run -42 '' a';'");
}

// Each value reaches the program as the one argument that it is, byte for byte, in whatever encoding the shell reads.
TEST(ShellTest, NoByteBeforeASpecialCharacterMakesACommand) {
  if (!test::make_encodings()) GTEST_SKIP() << "needs Debian's locales";
  for (const std::string encoding : test::kEncodings) {
    for (const char special : std::string(" \"'$`;|&<>(){}*?[]!\\#~\n\r\t\x01\x7f")) {
      std::string command = "export LC_ALL=" + encoding + "; printf '%s\\0'", expected;
      for (int lead = 0x80; lead <= 0xff; ++lead) {
        // The first byte stands for none: there the character leads the value.
        const std::string value =
            std::string(lead > 0x80, static_cast<char>(lead)) + special + "touch /tmp/x" + special;
        command += " " + words_of(value);
        expected += value + '\0' + value + " " + '\0';
      }
      EXPECT_TRUE(test::output_of(command) == expected) << encoding << " '" << special << "'";
    }
  }
}

TEST(ShellTest, CutsNotInAQuotation) {
  for (const auto& [value, seven] :
       {std::pair{"1234", "run 123"}, {"1;", "run 1"}, {";3", "run ';'"}, {"'2", "run \"'\""}}) {
    CommandLine<8> text;
    text.add("run ").add(ShellWord(value));
    EXPECT_STREQ(text.c_str(), seven);
    text.add("x").add(ShellWord("y"));
    EXPECT_STREQ(text.c_str(), seven) << "something follows what was cut";
  }
  CommandLine<8> full, fixed, piece, quoted;
  CommandLine<16> roomy;
  EXPECT_FALSE(full.add("0123456").is_cut());
  fixed.add("0123456789");
  piece.add("0").add(fixed);
  quoted.add("12").add(QuotedValue("$")).add("3");
  EXPECT_EQ(fixed.c_str() + std::string("|") + piece.c_str() + "|" + quoted.c_str(), "0123456|0|12\"'$'\"");
  EXPECT_TRUE(fixed.is_cut() && piece.is_cut() && quoted.is_cut() && roomy.add(fixed).is_cut());
}

}  // namespace
}  // namespace coupler
