#include <string>
#include <vector>

#include "TestHelpers.h"
#include "utils/Utils.h"

namespace utils_test {

using velmo::string_printf;
using velmo::stringSplit;
using velmo::Utils::isStrictMatrixMarket;

TEST(StrictMatrixMarket, OnlyTheNumberOneSwitchesItOnAndEveryCallRereads) {
  velmo::test::ScopedEnv env("VELMO_STRICT_MATRIX_MARKET", nullptr);
  EXPECT_FALSE(isStrictMatrixMarket());
  for (const char* on : {"1", "01", " 1"}) {
    env.set(on);
    EXPECT_TRUE(isStrictMatrixMarket()) << on;
  }
  for (const char* off : {"2", "0", "yes", "", "-1"}) {
    env.set(off);
    EXPECT_FALSE(isStrictMatrixMarket()) << off;
  }
}

TEST(StringSplit, PiecesBetweenRegexMatches) {
  EXPECT_EQ(stringSplit("3 \t 4", "[ \t]+"), (std::vector<std::string>{"3", "4"}));
  EXPECT_EQ(stringSplit("7", "[ \t]+"), (std::vector<std::string>{"7"}));
  // A leading separator leaves an empty first piece; a trailing one leaves none.
  EXPECT_EQ(stringSplit(" 3 4 ", "[ \t]+"), (std::vector<std::string>{"", "3", "4"}));
  // The separator is a pattern: "." matches any character.
  EXPECT_EQ(stringSplit("case.mtx.part0", ".mtx")[0], "case");
  EXPECT_EQ(stringSplit("caseXmtx", ".mtx"), (std::vector<std::string>{"case"}));
}

TEST(StringPrintf, FormatsAsPrintfAtAnyLength) {
  EXPECT_EQ(string_printf("getCreator %s failed\n", "Nope"), "getCreator Nope failed\n");
  EXPECT_EQ(string_printf("%d|%.2f|%x", -3, 1.5, 255), "-3|1.50|ff");
  EXPECT_EQ(string_printf("%s", ""), "");
  // Around and far past the stack buffer.
  for (size_t n : {511u, 512u, 513u, 5000u}) {
    std::string long_text(n, 'q');
    EXPECT_EQ(string_printf("<%s>%d", long_text.c_str(), 42), "<" + long_text + ">42") << n;
  }
}

TEST(LoadPlugin, LogsTheHandleAndReturnsEvenOnFailure) {
  testing::internal::CaptureStderr();
  velmo::Utils::loadPlugin("/nonexistent/libvelmo_missing_plugin.so");
  std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("load plugin /nonexistent/libvelmo_missing_plugin.so result 0\n"), std::string::npos) << log;

  testing::internal::CaptureStderr();
  velmo::Utils::loadPlugin("libm.so.6");
  log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("load plugin libm.so.6 result 0x"), std::string::npos) << log;
}

}  // namespace utils_test
