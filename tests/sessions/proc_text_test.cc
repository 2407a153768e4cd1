#include "sessions/proc_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace coupler::sessions;
using namespace clikrell;
using std::string;
using namespace std::string_literals;

string blanks(size_t count) { return string(count, ' '); }

TEST(StatusTextTest, Tgid) {
  const struct {
    string file, result;
  } rows[] = {
      {"Name:\tvsh\nUmask:\t0022\nTgid:\t7\nPid:\t8\n", "7"},
      {"Tgid:\t123456\n", "123456"},
      {"Tgid:\t123", "123"},
      {"Tgid:\t5", "none"},           // two characters behind the colon, the line's end is cut off
      {"Tgid:12\n", "2"},             // the number starts two characters behind the colon, whatever stands between
      {"Tgid:\t-4x\n", "-4"},         //
      {"Tgid:\tx9\n", "0"},           // the line is there, its number is not
      {"Tgid:\t1\nTgid:\t2\n", "1"},  //
      {" Tgid:\t7\n", "none"},        //
      {"Tgid :\t7\n", "none"},        //
      {"NSTgid:\t7\n", "none"},       //
      {"tgid:\t7\nTgid\n", "none"},   //
      {"Tgid:\t12\0Tgid:\t13\n"s, "12"},
      {blanks(255) + "Tgid:\t7\n", "7"},  // a longer line is read as several
      {blanks(254) + "Tgid:\t7\n", "none"},
      {"", "none"},
      {"\n\n\n", "none"},
      {"\0\0\0"s, "none"},
  };
  for (const auto& row : rows) {
    ProcessStatusEntry_t entry = {};
    const string result = parse_status(row.file, entry) ? std::to_string(entry.tgid) : "none";
    EXPECT_EQ(result, row.result) << testing::PrintToString(row.file);
  }
}

string stat_of(const string& file) {
  ProcessStatEntry_t entry = {};
  if (!parse_stat(file, entry)) return "none";
  return string(entry.comm) + '|' + std::to_string(entry.ttyNr) + '|' + std::to_string(entry.startTime);
}

const string kFields = " S 1 2 3 34816 5 4194560 1 2 3 4 5 6 7 8 20 0 1 0 987654";

TEST(StatTextTest, NameTerminalAndStart) {
  const struct {
    string file, result;
  } rows[] = {
      {"8 (vsh)" + kFields + " 311296 0\n", "vsh|34816|987654"},
      {"8 (vsh)" + kFields, "vsh|34816|987654"},
      {"8 (a) b (c)" + kFields, "a) b (c|34816|987654"},
      {"8 (vsh) S 1 (x)" + kFields, "vsh) S 1 (x|34816|987654"},
      {"8 ()" + kFields, "|34816|987654"},
      {"8 (a name of more than nineteen)" + kFields, "a name of more than|34816|987654"},
      {"8 (v\nsh)" + kFields, "none"},
      {"8 (vsh)xyS 1 2 3 34816" + kFields.substr(16), "none"},
      {"8 (vsh)x" + kFields.substr(1), "vsh|34816|987654"},
      {"8 (vsh)" + kFields.substr(0, kFields.size() - 7), "none"},  // one field short
      {"8 (vsh) S 1 2 3 none", "none"},
      {"8 (vsh) S -1 -2 -3 -4 -1 0 0 0 0 0 0 0 0 0 0 -20 -1 0 18446744073709551615", "vsh|-4|18446744073709551615"},
      {"8 (vsh) S 1 2 3 4 5 6 7 8 9 10 1 2 3 4 5 6 7 8 " + blanks(203) + "1234567", "vsh|4|12345"},  // cut at 255 bytes
      {"8 vsh)" + kFields, "none"},
      {"8 (vsh" + kFields, "none"},
      {") S 1 (vsh" + kFields, "none"},
      {"8 (vsh) S", "none"},
      {"8 (v) ", "none"},
      {"(", "none"},
      {")", "none"},
      {"", "none"},
      {"\n", "none"},
      {"\0(vsh)"s + kFields, "none"},
  };
  for (const auto& row : rows) EXPECT_EQ(stat_of(row.file), row.result) << testing::PrintToString(row.file);
}

TEST(StatTextTest, EveryCutEndsInARefusalOrAShorterNumber) {
  const string whole = "8 (v(s)h)" + kFields;
  for (size_t size = 0; size < whole.size() - 6; ++size) EXPECT_EQ(stat_of(whole.substr(0, size)), "none") << size;
  EXPECT_EQ(stat_of(whole.substr(0, whole.size() - 5)), "v(s)h|34816|9");
}

string user_in(bool (*parse)(std::string_view, ProcessUserEntry_t&), const string& file) {
  ProcessUserEntry_t entry = {};
  EXPECT_TRUE(parse(file, entry));
  return entry.user;
}

TEST(CommandLineTextTest, UserBehindItsOption) {
  const struct {
    string file, user;
  } rows[] = {
      {"vsh\0-p\0alice\0"s, "alice"},
      {"vsh\0-x\0-p\0alice\0-p\0bob\0"s, "alice"},
      {"-p\0alice"s, "alice"},
      {"vsh\0-p\0"s, ""},
      {"vsh\0-p"s, ""},
      {"vsh\0-p\0\0-p\0bob\0"s, ""},
      {"vsh\0\0-p\0alice\0"s, ""},
      {"\0-p\0alice\0"s, ""},
      {"vsh\0-palice\0--p\0bob\0 -p\0carol\0"s, ""},
      {"vsh\0-p\0-p\0alice\0"s, "-p"},
      {"vsh\n\0-p\0alice\0"s, ""},
      {"vsh\0-p\0al\nice\0"s, "al\n"},
      {"vsh\0-p\0"s + string(200, 'u') + '\0', string(127, 'u')},
      {string(240, 'v') + "\0-p\0alice in wonderland\0"s, "alice in wo"},  // 255 bytes count
      {string(253, 'v') + "\0-p\0alice\0"s, ""},
      {"", ""},
      {"\n", ""},
  };
  for (const auto& row : rows)
    EXPECT_EQ(user_in(parse_cmdline, row.file), row.user) << testing::PrintToString(row.file);
}

TEST(EnvironmentTextTest, FirstUserThatIsNotEmpty) {
  const struct {
    string file, user;
  } rows[] = {
      {"A=1\0USER=alice\0USER=bob\0"s, "alice"},
      {"USER=\0USER=bob\0"s, "bob"},
      {"XUSER=alice\0USERS=bob\0USER\0user=carol\0"s, ""},
      {"A=1\0\0USER=alice\0"s, ""},
      {"A=1\nUSER=x\0USER=alice\0"s, ""},
      {"USER=alice"s, "alice"},
      {"USER=" + string(300, 'u') + '\0', string(127, 'u')},
      {"A=" + string(1010, 'a') + "\0USER=alice\0"s, "alice"},  // 1023 bytes count
      {"A=" + string(1013, 'a') + "\0USER=alice\0"s, "al"},
      {"A=" + string(1015, 'a') + "\0USER=alice\0"s, ""},
      {"", ""},
  };
  for (const auto& row : rows)
    EXPECT_EQ(user_in(parse_environ, row.file), row.user) << testing::PrintToString(row.file);
}

TEST(UptimeTextTest, WholeSeconds) {
  const struct {
    string file;
    int32_t seconds;
  } rows[] = {{"350735.99 234388.90\n", 350735},
              {"0.10", 0},
              {"7", 7},
              {"x 7\n", -1},
              {"", -1},
              {"\n5.0", -1},
              {"nan 1", -1},
              {"1e99 1", -1},
              {"inf", -1}};
  for (const auto& row : rows) EXPECT_EQ(parse_uptime(row.file).value_or(-1), row.seconds) << row.file;
}

}  // namespace
