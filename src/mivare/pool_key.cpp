#include "pool_key.h"

#include "desc/layout.h"
#include "mivare/media_desc.h"

namespace mivare {
namespace {

enum class KeyForm { kNone, kSize, kAudio, kFormat, kAllOnes };

struct KeyRange {
  uint32_t media_type;
  int32_t first;
  int32_t last;
  KeyForm form;
};

// Media type 3 uses the rows of type 1. Formats without a row share pool 0, also those that the
// buffer factory knows; the two tables differ and hosts have tuned their pools to it.
constexpr KeyRange kKeys[] = {
    {1, 1, 3, KeyForm::kSize},           {1, 6, 8, KeyForm::kSize},
    {1, 11, 11, KeyForm::kSize},         {1, 16, 20, KeyForm::kSize},
    {1, 26, 35, KeyForm::kSize},         {1, 45, 48, KeyForm::kSize},
    {1, 50, 51, KeyForm::kSize},         {1, 55, 56, KeyForm::kSize},
    {1, 60, 61, KeyForm::kSize},         {1, 65, 66, KeyForm::kSize},
    {1, 70, 71, KeyForm::kSize},         {1, 75, 76, KeyForm::kSize},
    {1, 79, 79, KeyForm::kSize},         {1, 15000, 15000, KeyForm::kSize},
    {1, 10000, 10000, KeyForm::kFormat},

    {2, 20001, 20004, KeyForm::kAudio},  {2, 20006, 20010, KeyForm::kAudio},
    {2, 30000, 30000, KeyForm::kFormat},

    {5, 1, 3, KeyForm::kSize},           {5, 6, 8, KeyForm::kSize},
    {5, 11, 11, KeyForm::kSize},         {5, 45, 48, KeyForm::kSize},
    {5, 50, 51, KeyForm::kSize},         {5, 55, 56, KeyForm::kSize},
    {5, 15000, 15000, KeyForm::kSize},   {5, 31000, 31000, KeyForm::kAllOnes},
    {5, 31100, 31100, KeyForm::kFormat},
};

KeyForm FormOf(uint32_t media_type, int32_t smt) {
  const uint32_t rows_of = media_type == 3 ? 1 : media_type;
  for (const KeyRange& range : kKeys) {
    if (range.media_type == rows_of && range.first <= smt && smt <= range.last) return range.form;
  }
  return KeyForm::kNone;
}

uint64_t SignExtend(int32_t value) { return static_cast<uint64_t>(int64_t{value}); }

}  // namespace

// Sums, not fields: a width above 65535 runs into the height, and such keys may coincide.
uint64_t GetPoolKey(const IMediaDesc* desc) {
  if (desc == nullptr) return 0;
  const uint32_t media_type = desc->GetMediaType();
  const int32_t smt = desc->GetSmt();
  const uint64_t type_term = SignExtend(static_cast<int32_t>(media_type)) << 60U;
  const uint64_t smt_term = SignExtend(smt) << 32U;
  switch (FormOf(media_type, smt)) {
    case KeyForm::kSize:
      return type_term + smt_term + (uint64_t{desc::RoundUpTo64(desc->GetHeight())} << 16U) +
             desc::RoundUpTo64(desc->GetWidth());
    case KeyForm::kAudio:
      return type_term + smt_term + uint64_t{desc->GetSampleRate()} * 16U + desc->GetChannels();
    case KeyForm::kFormat: return type_term + (uint64_t{1} << 56U) + SignExtend(smt);
    case KeyForm::kAllOnes: return ~uint64_t{0};
    case KeyForm::kNone: break;
  }
  return 0;
}

}  // namespace mivare
