// The BSON unpacker. A byte says how many bytes of program follow, the rest is the document: read
// whole, element by element, and in whatever order and type the program asks.
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "fuzz/bytes.h"
#include "fuzz/check.h"
#include "orlo/bson.h"

namespace mivare::fuzz {
namespace {

using orlo::BsonBox;
using orlo::BsonItem;
using orlo::BsonMapSize;
using orlo::BsonPacker;
using orlo::BsonTupleSize;
using orlo::BsonType;
using orlo::BsonUnpacker;
using Document = std::vector<uint8_t>;

bool Same(std::span<const uint8_t> a, std::span<const uint8_t> b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

template <class T>
void CopyValue(BsonUnpacker& from, BsonPacker& to) {
  T value{};
  FUZZ_CHECK(static_cast<bool>(from >> value));
  to << value;
}

void CopyContents(BsonUnpacker& from, BsonPacker& to, size_t count, bool is_map);

void CopyElement(BsonUnpacker& from, BsonPacker& to) {
  BsonItem item;
  FUZZ_CHECK(from.Peek(&item));
  switch (item.Type()) {
    case BsonType::kDocument: {
      BsonMapSize size;
      FUZZ_CHECK(static_cast<bool>(from >> size));
      to << size;
      return CopyContents(from, to, size.Count(), true);
    }
    case BsonType::kArray: {
      BsonTupleSize size;
      FUZZ_CHECK(static_cast<bool>(from >> size));
      to << size;
      return CopyContents(from, to, size.Count(), false);
    }
    case BsonType::kDouble: return CopyValue<double>(from, to);
    case BsonType::kString: return CopyValue<std::string_view>(from, to);
    case BsonType::kBinary: return CopyValue<std::span<const uint8_t>>(from, to);
    case BsonType::kBool: return CopyValue<bool>(from, to);
    case BsonType::kDateTime: return CopyValue<orlo::BsonDateTime>(from, to);
    case BsonType::kInt32: return CopyValue<int32_t>(from, to);
    case BsonType::kInt64: return CopyValue<int64_t>(from, to);
    case BsonType::kNull:
      FUZZ_CHECK(static_cast<bool>(from >> nullptr));
      to << nullptr;
      return;
  }
  FUZZ_CHECK(!"a type that no document may have");
}

void CopyContents(BsonUnpacker& from, BsonPacker& to, size_t count, bool is_map) {
  for (size_t i = 0; i < count; ++i) {
    if (is_map) {
      std::string_view key;
      FUZZ_CHECK(static_cast<bool>(from >> key));
      to << key;
    }
    CopyElement(from, to);
  }
}

// What unpacks packs to the same bytes again: there is one form of each value.
void CheckWhole(const Document& document) {
  BsonUnpacker whole(document);
  BsonBox box;
  FUZZ_CHECK(static_cast<bool>(whole >> box));
  FUZZ_CHECK(whole.AtEnd() && box.GetDocument() != nullptr);
  BsonPacker packer;
  packer << box;
  FUZZ_CHECK(Same(packer.Bytes(), document));
  const BsonBox copy = box;
  BsonPacker again;
  again << copy;
  FUZZ_CHECK(Same(again.Bytes(), document));
}

void CheckElements(const Document& document) {
  BsonUnpacker from(document);
  BsonPacker to;
  BsonMapSize size;
  FUZZ_CHECK(static_cast<bool>(from >> size));
  to << size;
  CopyContents(from, to, size.Count(), true);
  FUZZ_CHECK(from.AtEnd() && to.Complete());
  FUZZ_CHECK(Same(to.Bytes(), document));
}

// A failure leaves the target alone and ends all reading.
template <class T>
void TryRead(BsonUnpacker& from) {
  T value{};
  const bool before = from.Ok();
  from >> value;
  FUZZ_CHECK(before || !from.Ok());
  if constexpr (std::equality_comparable<T>) FUZZ_CHECK(from.Ok() || value == T{});
}

void Step(BsonUnpacker& from, uint8_t operation) {
  switch (operation % 24) {
    case 0: return TryRead<BsonMapSize>(from);
    case 1: return TryRead<BsonTupleSize>(from);
    case 2: return TryRead<BsonItem>(from);
    case 3: return TryRead<std::string_view>(from);
    case 4: return TryRead<std::string>(from);
    case 5: return TryRead<bool>(from);
    case 6: return TryRead<int32_t>(from);
    case 7: return TryRead<int64_t>(from);
    case 8: return TryRead<uint8_t>(from);
    case 9: return TryRead<uint64_t>(from);
    case 10: return TryRead<int16_t>(from);
    case 11: return TryRead<double>(from);
    case 12: return TryRead<orlo::BsonDateTime>(from);
    case 13: return TryRead<std::vector<uint8_t>>(from);
    case 14: return TryRead<BsonBox>(from);
    case 15: return TryRead<std::vector<int32_t>>(from);
    case 16: return TryRead<std::vector<std::string>>(from);
    case 17: return TryRead<std::tuple<int32_t, std::string>>(from);
    case 18: return TryRead<std::map<std::string, int64_t>>(from);
    case 19: return TryRead<std::map<std::string, BsonBox>>(from);
    case 20: return TryRead<std::optional<double>>(from);
    case 21: return TryRead<std::vector<std::map<std::string, bool>>>(from);
    case 22: from >> nullptr; return;
    default: {
      BsonItem item;
      if (!from.Peek(&item)) return;
      // The bytes of a nested one are a document of their own, but for the depth.
      if (!item.Nested().empty()) FUZZ_CHECK(BsonUnpacker(item.Nested()).Ok());
      return;
    }
  }
}

void Run(Bytes in) {
  const std::span<const uint8_t> program = in.Some(64);
  const std::span<const uint8_t> rest = in.Rest();
  const Document document(rest.begin(), rest.end());  // of a size of its own
  if (BsonUnpacker(document).Ok()) {
    CheckWhole(document);
    CheckElements(document);
  }
  BsonUnpacker from(document);
  for (const uint8_t operation : program) Step(from, operation);
}

}  // namespace
}  // namespace mivare::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mivare::fuzz::Run({data, size});
  return 0;
}
