// Walks over every operation of a buffer: what a view answers, and what arrives behind it.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"
#include "support/fake_buffer.h"

namespace mivare::test {

/// The arguments of a walk. Each is told apart from the others.
struct WalkArguments {
  uint8_t* planes[8] = {};
  int32_t pitches[8] = {};
  void* reserved = &reserved_place;
  uint32_t capacity = 0;
  FakeBuffer source;
  uint8_t bytes[4] = {};
  int reserved_place = 0;
};

/// A buffer that notes each call, and whether the arguments were those of the walk, and gives an
/// answer of its own to each.
class RecordingBuffer final : public FakeBuffer {
 public:
  using FakeBuffer::FakeBuffer;

  const WalkArguments* expected = nullptr;
  std::vector<std::string> calls;
  std::shared_ptr<IMediaBuffer> clone;
  bool device = true;

  int32_t Lock(uint8_t* out_planes[8], int32_t out_pitches[8], void* reserved,
               uint32_t* capacity) override {
    const bool same = expected != nullptr && out_pitches == expected->pitches &&
                      reserved == expected->reserved && capacity == &expected->capacity;
    const bool planes_too = same && out_planes == expected->planes;
    Note("Lock", same, planes_too ? "planes" : "planes of its own");
    return FakeBuffer::Lock(out_planes, out_pitches, reserved, capacity);
  }
  int32_t Unlock() override {
    calls.emplace_back("Unlock");
    return 18;
  }
  int32_t CopyFrom(IMediaBuffer* source) override {
    Note("CopyFrom", expected != nullptr && source == &expected->source);
    return 19;
  }
  int32_t SetData(const uint8_t* data, int32_t size) override {
    Note("SetData", expected != nullptr && data == expected->bytes, std::to_string(size));
    return 20;
  }
  std::shared_ptr<IMediaBuffer> Clone(uint32_t flags) override {
    calls.push_back("Clone " + std::to_string(flags));
    return clone;
  }
  IMediaDesc* GetDesc(uint32_t flags) override {
    calls.push_back("GetDesc " + std::to_string(flags));
    return expected != nullptr ? desc : FakeBuffer::GetDesc(flags);
  }
  int32_t SetDataSize(int32_t size) override {
    calls.push_back("SetDataSize " + std::to_string(size));
    return 21;
  }
  std::shared_ptr<void> QueryObject(uint32_t kind, uint64_t value) override {
    calls.push_back("QueryObject " + std::to_string(kind) + " " + std::to_string(value));
    return std::make_shared<int>(0);
  }
  void* QueryNative(uint32_t flags) override {
    calls.push_back("QueryNative " + std::to_string(flags));
    return this;
  }
  bool IsDeviceMemory() override {
    calls.emplace_back("IsDeviceMemory");
    return device;
  }
  bool AppendData(const uint8_t* data, uint32_t size) override {
    Note("AppendData", expected != nullptr && data == expected->bytes, std::to_string(size));
    return true;
  }
  void Flush() override { calls.emplace_back("Flush"); }

 private:
  void Note(const char* name, bool same_arguments, const std::string& rest = "") {
    calls.push_back(std::string(name) + (same_arguments ? "" : " with other arguments") +
                    (rest.empty() ? "" : " " + rest));
  }
};

/// What a walk found for one operation.
struct Step {
  std::string name;
  std::string answer;  ///< numbers as they are; pointers "null" or "some"
  std::string behind;  ///< the call of the buffer behind, "" for none

  friend bool operator==(const Step&, const Step&) = default;
};

inline void PrintTo(const Step& step, std::ostream* out) {
  *out << "{" << step.name << ", " << step.answer << ", " << step.behind << "}";
}

/// Calls every operation once, in the interface's order. `behind` may be null.
inline std::vector<Step> Walk(IMediaBuffer& view, RecordingBuffer* behind) {
  WalkArguments with;
  std::vector<Step> steps;
  if (behind != nullptr) behind->expected = &with;
  const auto step = [&](const char* name, const auto& call) {
    if (behind != nullptr) behind->calls.clear();
    const std::string answer = call();
    std::string seen;
    if (behind != nullptr) {
      for (const std::string& one : behind->calls) seen += (seen.empty() ? "" : ", ") + one;
    }
    steps.push_back({name, answer, seen});
  };
  const auto number = [](int64_t value) { return std::to_string(value); };
  const auto some = [](const void* pointer) { return pointer != nullptr ? "some" : "null"; };
  step("Lock",
       [&] { return number(view.Lock(with.planes, with.pitches, with.reserved, &with.capacity)); });
  step("Unlock", [&] { return number(view.Unlock()); });
  step("CopyFrom", [&] { return number(view.CopyFrom(&with.source)); });
  step("SetData", [&] { return number(view.SetData(with.bytes, 4)); });
  step("Clone", [&] { return some(view.Clone(7).get()); });
  step("GetDesc", [&] { return some(view.GetDesc(8)); });
  step("SetDataSize", [&] { return number(view.SetDataSize(3)); });
  step("QueryObject", [&] { return some(view.QueryObject(5, 6).get()); });
  step("QueryNative", [&] { return some(view.QueryNative(9)); });
  step("IsDeviceMemory", [&] { return number(view.IsDeviceMemory()); });
  step("AppendData", [&] { return number(view.AppendData(with.bytes, 2)); });
  step("Flush", [&] {
    view.Flush();
    return "";
  });
  if (behind != nullptr) behind->expected = nullptr;
  return steps;
}

}  // namespace mivare::test
