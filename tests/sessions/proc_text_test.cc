// What the parsers make of files of the proc file system, well formed or not.
#include "sessions/proc_text.h"

#include <gtest/gtest.h>

namespace {

using namespace coupler::sessions;
using namespace std::string_literals;
using std::string;

string blanks(size_t count) { return string(count, ' '); }

string tgid(const string& file) {
  clikrell::ProcessStatusEntry_t entry = {};
  return parse_status(file, entry) ? std::to_string(entry.tgid) : "none";
}
string stat(const string& file) {
  clikrell::ProcessStatEntry_t entry = {};
  if (!parse_stat(file, entry)) return entry.startTime == 0 ? "none" : "a time";
  return string(entry.comm) + '|' + std::to_string(entry.ttyNr) + '|' + std::to_string(entry.startTime);
}
string ended(const string& file) { return tells_of_an_end(file) ? "yes" : "no"; }
string uptime(const string& file) { return std::to_string(parse_uptime(file).value_or(-1)); }

template <auto kParse>
string user(const string& file) {
  clikrell::ProcessUserEntry_t entry = {};
  return kParse(file, entry) ? entry.user : "none";
}
constexpr auto argument = user<parse_cmdline>, variable = user<parse_environ>;

// Every flag but that of a process that ends.
const string kFields = " S 1 2 3 34816 5 4294967291 1 2 3 4 5 6 7 8 20 0 1 0 987654";

TEST(ProcTextTest, SaysWhatItsReaderTakesFromIt) {
  const std::tuple<string (*)(const string&), string, string> rows[] = {
      {tgid, "Name:\tvsh\nUmask:\t0022\nTgid:\t7\nPid:\t8\nTgid:\t9\n", "7"},
      {tgid, "Tgid:\t5", "none"},  // two characters behind the colon, the line's end is cut off
      {tgid, "Tgid:12\n", "2"},    // the number starts two characters behind the colon, whatever stands between
      {tgid, "Tgid:\tx9\n", "0"},  // the line is there, its number is not
      {tgid, " Tgid:\t7\nTgid :\t7\nNSTgid:\t7\ntgid:\t7\nTgid\n\n\0"s, "none"},
      {tgid, "Tgid:\t12\0Tgid:\t13\n"s, "12"},
      {tgid, blanks(255) + "Tgid:\t7\n", "7"},  // a longer line is read as several
      {tgid, blanks(254) + "Tgid:\t7\n", "none"},
      {stat, "8 (vsh)" + kFields + " 311296 0\n", "vsh|34816|987654"},
      {stat, "8 (vsh) S 1 (x)" + kFields, "vsh) S 1 (x|34816|987654"},
      {stat, "8 (a name of more than nineteen)" + kFields, "a name of more than|34816|987654"},
      {stat, "8 (vsh)x" + kFields.substr(1), "vsh|34816|987654"},
      {stat, "8 (vsh) S" + kFields.substr(1), "none"},
      {stat, "8 (vsh)" + kFields.substr(0, kFields.size() - 6), "none"},  // one field short
      {stat, "8 (vsh) S -1 -2 -3 -4 -1 0 0 0 0 0 0 0 0 0 0 -20 -1 0 18446744073709551615",
       "vsh|-4|18446744073709551615"},
      {stat, "8 (vsh) S 1 2 3 4 5 6 7 8 9 10 1 2 3 4 5 6 7 8 " + blanks(203) + "1234567", "vsh|4|12345"},  // 255 bytes
      {stat, "8 (v\nsh)" + kFields, "none"},
      {stat, "8 vsh)" + kFields, "none"},
      {stat, ")" + kFields + " (vsh", "none"},
      {stat, "8 (v) ", "none"},
      {stat, "\0(vsh)"s + kFields, "none"},
      {ended, "8 (vsh)" + kFields, "no"},
      {ended, "8 (vsh) S 1 2 3 34816 5 4194564 1 2 3", "yes"},
      {ended, "8 (vsh) S 1 2 3", "yes"},
      {argument, "vsh\0-x\0-p\0alice\0-p\0bob\0"s, "alice"},
      {argument, "-p\0alice"s, "alice"},
      {argument, "vsh\0-p"s, ""},
      {argument, "vsh\0-p\0\0-p\0bob\0"s, ""},
      {argument, "vsh\0\0-p\0alice\0"s, ""},
      {argument, "vsh\0-palice\0--p\0bob\0 -p\0carol\0"s, ""},
      {argument, "vsh\n\0-p\0alice\0"s, ""},
      {argument, "vsh\0-p\0"s + string(200, 'u') + '\0', string(127, 'u')},
      {argument, string(240, 'v') + "\0-p\0alice in wonderland\0"s, "alice in wo"},  // 255 bytes count
      {variable, "A=1\0USERS=x\0USER\0USER=\0USER=alice\0USER=bob\0"s, "alice"},
      {variable, "XUSER=alice\0user=carol\0\0USER=bob"s, ""},
      {variable, "A=1\nUSER=x\0USER=alice\0"s, ""},
      {variable, "USER=" + string(300, 'u') + '\0', string(127, 'u')},
      {variable, "A=" + string(1013, 'a') + "\0USER=alice\0"s, "al"},  // 1023 bytes count
      {uptime, "350735.99 234388.90\n", "350735"},
      {uptime, "x 7\n", "-1"},
      {uptime, "nan 1", "-1"},
      {uptime, "2147483647 1", "-1"},
      {uptime, "-2147483648 1", "-1"},
  };
  for (const auto& [parse, file, result] : rows) EXPECT_EQ(parse(file), result) << testing::PrintToString(file);
}

}  // namespace
