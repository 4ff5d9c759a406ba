#include "report.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace road {
namespace {

using std::chrono::nanoseconds;

class FileOf {
 public:
  FileOf(const char* name, const std::string& bytes)
      : path_(std::filesystem::temp_directory_path() / name) {
    std::ofstream(path_, std::ios::binary) << bytes;
  }
  ~FileOf() { std::filesystem::remove(path_); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

constexpr char kDigestOfAbc[] = "900150983cd24fb0d6963f7d28e17f72";  // RFC 1321

TEST(Comparison, HoldsForTheSameBytes) {
  const FileOf file("road_report_same.bin", "abc");
  EXPECT_TRUE(CompareFile(file.path(), kDigestOfAbc).same());
}

TEST(Comparison, FailsForOneOtherByte) {
  const FileOf file("road_report_other.bin", "abd");
  EXPECT_FALSE(CompareFile(file.path(), kDigestOfAbc).same());
}

TEST(Comparison, FailsForOneByteMoreOrLess) {
  const FileOf longer("road_report_longer.bin", "abc\n");
  const FileOf shorter("road_report_shorter.bin", "ab");
  EXPECT_FALSE(CompareFile(longer.path(), kDigestOfAbc).same());
  EXPECT_FALSE(CompareFile(shorter.path(), kDigestOfAbc).same());
}

TEST(Comparison, FailsForAFileThatIsMissing) {
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
