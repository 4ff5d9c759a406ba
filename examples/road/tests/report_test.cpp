#include "report.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "temp_folder.h"

namespace road {
namespace {

using std::chrono::nanoseconds;

class Comparing : public testing::Test {
 protected:
  std::filesystem::path FileOf(const std::string& bytes) const {
    std::ofstream(path_, std::ios::binary) << bytes;
    return path_;
  }

 private:
  TempFolder folder_;
  std::filesystem::path path_ = folder_.path() / "file.bin";
};

constexpr char kDigestOfAbc[] = "900150983cd24fb0d6963f7d28e17f72";  // RFC 1321

TEST_F(Comparing, HoldsForTheSameBytes) {
  EXPECT_TRUE(CompareFile(FileOf("abc"), kDigestOfAbc).same());
}

TEST_F(Comparing, FailsForOneOtherByte) {
  EXPECT_FALSE(CompareFile(FileOf("abd"), kDigestOfAbc).same());
}

TEST_F(Comparing, FailsForOneByteMoreOrLess) {
  EXPECT_FALSE(CompareFile(FileOf("abc\n"), kDigestOfAbc).same());
  EXPECT_FALSE(CompareFile(FileOf("ab"), kDigestOfAbc).same());
}

TEST_F(Comparing, FailsForAFileThatIsMissing) {
  const Comparison comparison = CompareFile("no such folder/no such file", "");
  EXPECT_EQ(comparison.actual, "");
  EXPECT_FALSE(comparison.same()) << "two digests that could not be had are not the same";
}

TEST(Report, FailsForOneDifferenceAmongMany) {
  Report report;
  report.comparisons = {{"a", "1", "1"}, {"b", "2", "2"}};
  EXPECT_TRUE(report.ok());
  report.comparisons.push_back({"c", "3", "4"});
  EXPECT_FALSE(report.ok());
  std::ostringstream page;
  Print(report, page);
  EXPECT_NE(page.str().find("DIFFERS from 3"), std::string::npos);
  EXPECT_NE(page.str().find("FAILED"), std::string::npos);
}

TEST(Report, FailsForALeak) {
  Report report;
  report.live_resources = 1;
  report.leaks = "Video Buffer 1\n";
  EXPECT_FALSE(report.ok());
  std::ostringstream page;
  Print(report, page);
  EXPECT_NE(page.str().find("1 resources after the shutdown\nVideo Buffer 1\nFAILED"),
            std::string::npos);
}

TEST(Report, TakesTheMiddleOfTheTimes) {
  EXPECT_EQ(Median({}), nanoseconds(0));
  EXPECT_EQ(Median({nanoseconds(7)}), nanoseconds(7));
  EXPECT_EQ(Median({nanoseconds(900), nanoseconds(1), nanoseconds(5)}), nanoseconds(5));
}

}  // namespace
}  // namespace road
