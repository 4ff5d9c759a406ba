#include "subtitle.h"

#include <new>

namespace mivare {

int32_t Subtitle::GetFirstPair(uint32_t* a, uint32_t* b) const {
  *a = first_[0];
  *b = first_[1];
  return 0;
}

int32_t Subtitle::GetSecondPair(uint32_t* a, uint32_t* b) const {
  *a = second_[0];
  *b = second_[1];
  return 0;
}

int32_t Subtitle::SetFirstPair(uint32_t a, uint32_t b) {
  first_ = {a, b};
  return 0;
}

int32_t Subtitle::SetSecondPair(const uint32_t* a, const uint32_t* b) {
  second_ = {*a, *b};
  return 0;
}

void Subtitle::SetText(const char* text) {
  if (text == nullptr) return;
  try {
    text_ = text;
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace mivare
