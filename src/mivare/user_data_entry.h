// The entries of a user data map, and the chain that they stand in while they are in no map.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "orlo/val_any.h"

namespace mivare {

struct UserDataEntry {
  std::string key;
  orlo::ValAny value;
  std::unique_ptr<UserDataEntry> next;  // in its chain
};

/// First in, first out. Needs no memory of its own, however many entries there are.
class UserDataChain {
 public:
  UserDataChain() = default;
  ~UserDataChain() {
    while (first_ != nullptr) Pop();  // one by one: a long chain would nest too deep
  }
  UserDataChain(const UserDataChain&) = delete;
  UserDataChain& operator=(const UserDataChain&) = delete;

  size_t size() const { return size_; }

  void Push(std::unique_ptr<UserDataEntry> entry) noexcept {
    UserDataEntry* const added = entry.get();
    (last_ != nullptr ? last_->next : first_) = std::move(entry);
    last_ = added;
    ++size_;
  }

  /// Null when there is none.
  std::unique_ptr<UserDataEntry> Pop() noexcept {
    std::unique_ptr<UserDataEntry> entry = std::move(first_);
    if (entry == nullptr) return nullptr;
    first_ = std::move(entry->next);
    if (first_ == nullptr) last_ = nullptr;
    --size_;
    return entry;
  }

 private:
  std::unique_ptr<UserDataEntry> first_;
  UserDataEntry* last_ = nullptr;
  size_t size_ = 0;
};

/// Up to kMost values on their way out, which go with it.
template <size_t kMost>
class FewValues {
 public:
  FewValues() = default;
  ~FewValues() { std::destroy_n(values(), count_); }
  FewValues(const FewValues&) = delete;
  FewValues& operator=(const FewValues&) = delete;

  void Add(orlo::ValAny value) noexcept {
    std::construct_at(values() + count_++, std::move(value));
  }

 private:
  orlo::ValAny* values() { return reinterpret_cast<orlo::ValAny*>(room_); }

  // Made one by one: most of the time there are none.
  alignas(orlo::ValAny) std::byte room_[kMost * sizeof(orlo::ValAny)];
  size_t count_ = 0;
};

}  // namespace mivare
