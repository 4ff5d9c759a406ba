// What the two kinds of image make of each format.
#include "image_format.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "mivare/diagnostics.h"
#include "unit/image_files.h"

namespace mivare {
namespace {

using test::Bytes;
using test::Describe;
using test::Frame;
using test::Number;
using test::ScratchFolder;

struct DepthCase {
  uint32_t media_type;
  int32_t smt;
  uint32_t bmp_bits;
  uint32_t compression;
  uint32_t data_offset;
  uint32_t tga_bits;
};

constexpr DepthCase kDepths[] = {
    {1, 1, 8, 0, 1078, 8},      //
    {1, 2, 16, 3, 66, 16},      //
    {1, 3, 16, 3, 66, 16},      //
    {1, 4, 16, 3, 66, 16},      //
    {1, 5, 16, 3, 66, 16},      //
    {5, 1, 8, 0, 1078, 8},      //
    {1, 6, 8, 0, 1078, 8},      //
    {1, 7, 16, 3, 66, 16},      //
    {1, 11, 8, 0, 1078, 8},     //
    {1, 16, 8, 0, 1078, 8},     //
    {1, 17, 16, 3, 66, 16},     //
    {1, 22, 16, 3, 66, 16},     //
    {1, 26, 8, 0, 1078, 8},     //
    {1, 35, 16, 3, 66, 16},     //
    {1, 44, 32, 0, 54, 32},     //
    {1, 45, 32, 0, 54, 32},     //
    {1, 46, 16, 3, 66, 16},     //
    {1, 47, 8, 0, 1078, 8},     //
    {1, 48, 32, 0, 54, 64},     //
    {5, 49, 24, 0, 54, 24},     //
    {1, 50, 24, 0, 54, 24},     //
    {1, 51, 16, 3, 66, 16},     //
    {1, 52, 8, 0, 1078, 8},     //
    {1, 55, 8, 0, 1078, 8},     //
    {1, 56, 16, 3, 66, 16},     //
    {1, 60, 8, 0, 1078, 8},     //
    {1, 61, 16, 3, 66, 16},     //
    {1, 65, 8, 0, 1078, 8},     //
    {1, 70, 8, 0, 1078, 8},     //
    {1, 71, 16, 3, 66, 16},     //
    {1, 79, 16, 3, 66, 16},     //
    {1, 15000, 8, 0, 1078, 8},  //
    {5, 15000, 8, 0, 1078, 8},  //
};

TEST(DumpBmp, TakesItsDepthFromTheFormat) {
  const ScratchFolder folder;
  for (const DepthCase& row : kDepths) {
    SCOPED_TRACE(testing::Message() << "media type " << row.media_type << " smt " << row.smt);
    const auto frame = Frame(Describe(row.media_type, row.smt, 1, 2), 8, 8);
    ASSERT_EQ(NUXMivareDumpBMP(folder.File("a.bmp").c_str(), frame), 0);
    const Bytes file = folder.Read("a.bmp");
    EXPECT_EQ(Number(file, 28, 2), row.bmp_bits);
    EXPECT_EQ(Number(file, 30, 4), row.compression);
    EXPECT_EQ(Number(file, 10, 4), row.data_offset);
    EXPECT_EQ(Number(file, 34, 4), row.bmp_bits == 8 ? 2u : 0u);
    EXPECT_EQ(file.size(), row.data_offset + 2 * 4);  // one pixel is a row of 4 in all of them
    EXPECT_EQ(Number(file, 2, 4), file.size());
  }
}

TEST(DumpTga, TakesItsDepthFromTheFormat) {
  const ScratchFolder folder;
  for (const DepthCase& row : kDepths) {
    SCOPED_TRACE(testing::Message() << "media type " << row.media_type << " smt " << row.smt);
    const auto frame = Frame(Describe(row.media_type, row.smt, 1, 2), 24, 24);
    ASSERT_EQ(NUXMivareDumpTGA(folder.File("a.tga").c_str(), frame), 0);
    const Bytes file = folder.Read("a.tga");
    EXPECT_EQ(Number(file, 16, 1), row.tga_bits);
    EXPECT_EQ(Number(file, 12, 2), 24 * 8 / row.tga_bits);
    EXPECT_EQ(file.size(), 18u + 2 * 24);
  }
}

}  // namespace
}  // namespace mivare
