// What the tests of the image dumps share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "support/fake_desc.h"
#include "support/host_frame.h"
#include "support/request.h"
#include "support/scratch_folder.h"

namespace mivare::test {

/// A frame whose plane 0 has rows of `row_bytes` bytes, `pitch` bytes apart.
inline std::shared_ptr<HostFrame> Frame(MediaDescPtr desc, int32_t pitch, size_t row_bytes) {
  const size_t rows = desc->GetHeight();
  auto frame = std::make_shared<HostFrame>(std::move(desc));
  frame->AddPlane(0, pitch, row_bytes, rows);
  return frame;
}

/// The ordinary one: 3 x 2 pixels of four bytes.
inline std::shared_ptr<HostFrame> SmallFrame() { return Frame(Describe(1, 45, 3, 2), 12, 12); }

/// `size` bytes of a file, the least significant first.
inline uint32_t Number(const Bytes& file, size_t offset, size_t size) {
  uint32_t value = 0;
  for (size_t i = 0; i < size; ++i) value |= static_cast<uint32_t>(file.at(offset + i)) << (8 * i);
  return value;
}

}  // namespace mivare::test
