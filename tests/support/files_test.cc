#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "support/copy.h"
#include "support/file_name.h"
#include "support/output.h"
#include "support/text.h"
#include "tests/common/files.h"

namespace coupler {
namespace {

using test::names_in;
using test::read_file;
using test::ScratchDirectory;
using test::write_file;

TEST(TextTest, CutsAndTerminates) {
  char field[4] = "???";
  Text(field).copy("abcdef");
  EXPECT_STREQ(field, "abc");
  EXPECT_FALSE(Text(field).format("%d", 12345));
  EXPECT_STREQ(field, "123");
  Text(field).clear();
  EXPECT_STREQ(field, "");
  Text(nullptr, 10).copy("nowhere");
  Text(field, 0).copy("nothing");
  EXPECT_STREQ(field, "");
}

TEST(FileNameTest, StaysInItsDirectory) {
  char path[16];
  for (const char* name : {"", ".", "..", "a/b", "../x", "/etc/passwd", "x/"}) EXPECT_FALSE(FileName::from("", name));
  EXPECT_FALSE(FileName::from("ssd-", "/../x"));
  FileName::from("ssd-", "..")->path_in("/a", path);
  EXPECT_STREQ(path, "/a/ssd-..");
  FileName::from("", "...")->path_in("/long/directory/name", path);
  EXPECT_STREQ(path, "/long/directory");
}

class OutputFileTest : public testing::Test {
 protected:
  static bool write(const std::string& path, const std::string& content, uint64_t size) {
    OutputFile file(path.c_str());
    return file && file.claim(size) && file.write(content.data(), content.size()) && file.set_size(size) &&
           file.commit();
  }
  static mode_t mode_of(const std::string& path) {
    struct stat status = {};
    ::lstat(path.c_str(), &status);
    return status.st_mode & 07777;
  }

  const test::ScratchDirectory directory_;
  const std::string path_ = directory_ / "out";
  const std::string left_over_ = directory_ / ".out.unfinished";
};

TEST_F(OutputFileTest, AppearsWhenCommittedInPlaceOfAnOlderOne) {
  const mode_t mask = ::umask(027);
  for (const mode_t mode : {0640U, 0604U}) {  // that of a new file, then the older one's
    OutputFile file(path_.c_str());
    ASSERT_TRUE(file.write("abc", 3));
    EXPECT_EQ(names_in(directory_.path()), mode == 0640 ? "" : ".out.unfinished out");
    ASSERT_TRUE(file.set_size(5) && file.commit());
    EXPECT_EQ(names_in(directory_.path()), "out");
    EXPECT_EQ(read_file(path_), std::string("abc\0\0", 5));
    EXPECT_EQ(mode_of(path_), mode);
    write_file(path_, "older");
    ::chmod(path_.c_str(), 0604);
    write_file(left_over_, "of a process that was killed");
  }
  ::umask(mask);
  { OutputFile(path_.c_str()).write("abc", 3); }
  EXPECT_EQ(read_file(path_), "older");
  EXPECT_FALSE(OutputFile(directory_.path().c_str()));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_FALSE(OutputFile("/no/such/file"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(OutputFile(("/tmp" + std::string(5000, '/')).c_str()));
  EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(OutputFileTest, WritesThroughWhatIsNoPlainFile) {
  ::symlink("target", path_.c_str());
  EXPECT_TRUE(write(path_, "abc", 4));
  EXPECT_EQ(names_in(directory_.path()), "out target");
  EXPECT_EQ(read_file(directory_ / "target"), std::string("abc\0", 4));
  { OutputFile(path_.c_str()).write("x", 1); }
  EXPECT_EQ(names_in(directory_.path()), "out target");

  const std::string pipe = directory_ / "pipe";
  ::mkfifo(pipe.c_str(), 0600);
  EXPECT_FALSE(OutputFile(pipe.c_str())) << "no one reads";
  const Descriptor reader = open_at_once(pipe.c_str(), O_RDONLY);
  EXPECT_TRUE(write(pipe, "abc", 6000));
  char got[7000];
  EXPECT_EQ(::read(reader.get(), got, sizeof(got)), 6000);
  EXPECT_EQ(std::string(got, 6000), "abc" + std::string(5997, '\0'));
  EXPECT_TRUE(write("/dev/null", "abc", 6));
  EXPECT_FALSE(write("/dev/full", "abc", 3));
  EXPECT_EQ(errno, ENOSPC);
}

// A limit, as a full disk, is told before anything is written.
TEST_F(OutputFileTest, KeepsTheReasonOfAFailure) {
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small{4, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  bool (*const ways[])(OutputFile&) = {[](OutputFile& file) { return file.write("0123456789", 10); },
                                       [](OutputFile& file) { return file.claim(10); },
                                       [](OutputFile& file) { return file.set_size(10); }};
  std::vector<int> reasons;
  for (const auto& way : ways) {
    OutputFile file(path_.c_str());
    EXPECT_FALSE(way(file));
    reasons.push_back(errno);
  }
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(reasons, std::vector<int>(3, EFBIG));
  EXPECT_EQ(names_in(directory_.path()), "");
}

// Windows begin at page boundaries, payloads do not; what is not a file on disk goes through the buffer.
TEST(CopyTest, CopiesEveryRange) {
  const ScratchDirectory directory;
  const std::string source_path = directory / "source", target = directory / "target";
  std::string content(5 << 20, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / 4099);
  write_file(source_path, content);
  const File on_disk(std::fopen(source_path.c_str(), "rb"));
  const File in_memory(fmemopen(content.data(), content.size(), "rb"));
  for (std::FILE* source : {on_disk.get(), in_memory.get()}) {
    for (const auto& [offset, length] : {std::pair<size_t, size_t>{0, 0},
                                         {16, 1},
                                         {4095, 2},
                                         {4112, 4 << 20},
                                         {(2 << 20) - 16, (2 << 20) + 32},
                                         {content.size() - 5, 100},
                                         {content.size() + 5, 100}}) {
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
  EXPECT_FALSE(copy_to_file({on_disk.get(), 16, 5}, source_path.c_str()));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(read_file(source_path), content) << "a file that is copied onto itself would be lost";
}

}  // namespace
}  // namespace coupler
