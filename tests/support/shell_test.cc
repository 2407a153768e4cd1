#include "support/shell.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/handle.h"

namespace coupler {
namespace {

std::string output_of(const char* command) {
  const Pipe pipe(popen(command, "r"));
  std::string text;
  for (int c = std::fgetc(pipe.get()); c != EOF; c = std::fgetc(pipe.get())) text += static_cast<char>(c);
  return text;
}

TEST(ShellTest, OrdinaryValuesStandAsTheyAre) {
  for (const char* value : {"10.0.0.5", "fe80::1", "a-b_c+d=e,f/g%h@i:j", "", "]^~#"}) {
    CommandLine<128> line;
    line.add("run ").add(ShellWord(value)).add(" ").add(42).add(" \"").add(QuotedValue(value)).add("\"");
    EXPECT_EQ(line.c_str(), "run " + std::string(value) + " 42 \"" + value + '"');
    EXPECT_FALSE(line.is_cut());
  }
}

// Each value reaches the program as one argument, as a word of its own and between quotes of ours.
TEST(ShellTest, HostileValuesArriveAsTheyAre) {
  const char* values[] = {"$(reboot)", "`id`",     "a; b", "a && b | c",  "> /tmp/x", "a b\tc", "'",
                          "\"",        "it's",     "\\",   "a\nb",        "\n",       "*",      "/tmp/?",
                          "[a-z]",     "{a,b}",    "~",    "~root",       "#x",       "!!",     "$HOME",
                          "a\\nb",     "\x01\x7f", "-n",   "\xff\xc3\xa9"};
  for (const std::string value : values) {
    CommandLine<128> word, quoted;
    word.add("printf '<%s>' ").add(ShellWord(value)).add(" end");
    quoted.add("printf '<%s>' \"").add(QuotedValue(value)).add("\" end");
    EXPECT_EQ(output_of(word.c_str()), "<" + value + "><end>");
    EXPECT_EQ(output_of(quoted.c_str()), "<" + value + "><end>");
  }
}

TEST(ShellTest, CutsNeitherInAnEscapeNorInAQuotation) {
  struct Row {
    const char* value;
    const char* line;  // of at most seven characters
  };
  for (const auto& [value, line] : {Row{"1234", "run 123"}, Row{"12;", "run 12"}, Row{"1;3", "run 1\\;"},
                                    Row{"1\n", "run 1"}, Row{"\n2", "run '\n'"}}) {
    CommandLine<8> text;
    text.add("run ").add(ShellWord(value));
    EXPECT_STREQ(text.c_str(), line);
    text.add("x").add(ShellWord("y"));
    EXPECT_STREQ(text.c_str(), line) << "something follows what was cut";
  }
  CommandLine<8> fixed, copy;
  fixed.add("0123456789");
  copy.add(fixed);
  EXPECT_STREQ(copy.c_str(), "0123456");
  EXPECT_TRUE(fixed.is_cut() && copy.is_cut());
}

}  // namespace
}  // namespace coupler
