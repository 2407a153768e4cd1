#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <string>

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

TEST(OutputFileTest, IsThereOnlyWhenCommitted) {
  const ScratchDirectory directory;
  const std::string path = directory / "out";
  {
    OutputFile file(path.c_str());
    ASSERT_TRUE(file && file.write("abc", 3));
  }
  EXPECT_EQ(names_in(directory.path()), "");
  OutputFile file(path.c_str());
  ASSERT_TRUE(file.write("abc", 3) && file.set_size(5) && file.commit());
  EXPECT_EQ(read_file(path), std::string("abc\0\0", 5));
  EXPECT_FALSE(OutputFile(directory.path().c_str()));
  EXPECT_EQ(errno, EISDIR);
}

TEST(OutputFileTest, KeepsTheReasonOfAFailedWrite) {
  const ScratchDirectory directory;
  const std::string path = directory / "out";
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small{4, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  {
    OutputFile file(path.c_str());
    EXPECT_FALSE(file.write("0123456789", 10));
  }
  const int reason = errno;
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(reason, EFBIG);
  EXPECT_EQ(names_in(directory.path()), "");
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
      ASSERT_TRUE(copy_to_file(source, offset, length, target.c_str()));
      std::string expected = content.substr(std::min(offset, content.size()), length);
      expected.resize(length);
      EXPECT_EQ(read_file(target), expected) << offset;
    }
  }
  EXPECT_FALSE(copy_to_file(on_disk.get(), 16, 5, source_path.c_str()));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(read_file(source_path), content) << "a file that is copied onto itself would be lost";
}

}  // namespace
}  // namespace coupler
