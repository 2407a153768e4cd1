// Values in command lines: what stands there, and what real shells make of it.
#include "support/shell.h"

#include <gtest/gtest.h>

#include "tests/common/shell.h"

namespace coupler {
namespace {

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
  CommandLine<8> fixed, piece, quoted;
  fixed.add("0123456789");
  piece.add("0").add(fixed);
  quoted.add("12").add(QuotedValue("$")).add("3");
  EXPECT_EQ(fixed.c_str() + std::string("|") + piece.c_str() + "|" + quoted.c_str(), "0123456|0|12\"'$'\"");
  EXPECT_TRUE(fixed.is_cut() && piece.is_cut() && quoted.is_cut());
}

}  // namespace
}  // namespace coupler
