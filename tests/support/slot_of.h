// Where a virtual operation lies in its class's table.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace mivare::test {

/// The index behind a pointer to a virtual member: the Itanium C++ ABI, which all our compilers
/// follow, stores one more than the slot's offset in bytes.
template <class Member>
size_t SlotOf(Member member) {
  static_assert(std::is_member_function_pointer_v<Member>);
  struct {
    std::ptrdiff_t pointer;
    std::ptrdiff_t adjustment;
  } parts;
  static_assert(sizeof(parts) == sizeof(member));
  std::memcpy(&parts, &member, sizeof(parts));
  EXPECT_EQ(parts.pointer & 1, 1) << "not virtual";
  EXPECT_EQ(parts.adjustment, 0);
  return static_cast<size_t>(parts.pointer - 1) / sizeof(void*);
}

}  // namespace mivare::test
