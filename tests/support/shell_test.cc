#include "support/shell.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <string>

#include "support/handle.h"
#include "tests/common/files.h"

namespace coupler {
namespace {

std::string output_of(const std::string& command) {
  const Pipe pipe(popen(command.c_str(), "r"));
  std::string text;
  for (int c = std::fgetc(pipe.get()); c != EOF; c = std::fgetc(pipe.get())) text += static_cast<char>(c);
  return text;
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

// Each value reaches the program as the one argument that it is, byte for byte, in whatever encoding the shell reads:
// in GBK and Shift-JIS a backslash is the second byte of characters.
TEST(ShellTest, NoByteBeforeASpecialCharacterMakesACommand) {
  const test::ScratchDirectory locales;
  setenv("LOCPATH", locales.path().c_str(), 1);
  for (const std::string encoding : {"C", "GBK", "SHIFT_JIS", "BIG5"}) {
    const std::string make = "localedef -c --no-warnings=ascii --no-archive -i C -f " + encoding + " ";
    if (encoding != "C") output_of(make + (locales / encoding) + " 2>&1");
    if (encoding != "C" && !std::filesystem::exists(locales / encoding)) GTEST_SKIP() << "needs Debian's locales";
    setenv("LC_ALL", encoding.c_str(), 1);
    for (const char special : std::string(" \"'$`;|&<>(){}*?[]!\\#~\n\r\t\x01\x7f"
                                          "a")) {
      std::string command = "printf '%s\\0'", expected;
      for (int lead = 0x80; lead <= 0xff; ++lead) {
        // The first byte stands for none: there the character leads the value.
        const std::string value =
            std::string(lead > 0x80, static_cast<char>(lead)) + special + "touch /tmp/x" + special;
        command += " " + words_of(value);
        expected += value + '\0' + value + " " + '\0';
      }
      EXPECT_TRUE(output_of(command) == expected) << encoding << " '" << special << "'";
    }
  }
  unsetenv("LC_ALL");
}

TEST(ShellTest, CutsNotInAQuotation) {
  struct Row {
    const char* value;
    const char* line;  // of at most seven characters
  };
  for (const auto& [value, line] :
       {Row{"1234", "run 123"}, Row{"1;", "run 1"}, Row{";3", "run ';'"}, Row{"'2", "run \"'\""}}) {
    CommandLine<8> text;
    text.add("run ").add(ShellWord(value));
    EXPECT_STREQ(text.c_str(), line);
    text.add("x").add(ShellWord("y"));
    EXPECT_STREQ(text.c_str(), line) << "something follows what was cut";
  }
  CommandLine<8> fixed, piece, quoted;
  fixed.add("0123456789");
  piece.add("0").add(fixed);
  quoted.add("12").add(QuotedValue("$")).add("3");
  EXPECT_STREQ(fixed.c_str(), "0123456");
  EXPECT_STREQ(piece.c_str(), "0");
  EXPECT_STREQ(quoted.c_str(), "12\"'$'\"");
  EXPECT_TRUE(fixed.is_cut() && piece.is_cut() && quoted.is_cut());
}

}  // namespace
}  // namespace coupler
