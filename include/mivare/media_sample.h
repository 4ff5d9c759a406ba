// IMediaSample: the unit that stages pass on, a list of buffers with three values of the caller's.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"

namespace mivare {

class IMediaBuffer;

/// The list is thread-safe; the three values are thread-bound and never interpreted.
class MIVARE_INTERFACE IMediaSample {
 public:
  virtual ~IMediaSample() = default;

  /// Shares a new sample with the same values and a deep copy of each buffer; a buffer that cannot
  /// be cloned is left out. Other threads wait with the list meanwhile. Throws std::bad_alloc, and
  /// what cloning a host's own buffer throws; this sample is unchanged then.
  virtual std::shared_ptr<IMediaSample> Clone() = 0;

  virtual uint64_t GetParam1() = 0;
  virtual void SetParam1(uint64_t value) = 0;
  virtual uint64_t GetParam2() = 0;
  virtual void SetParam2(uint64_t value) = 0;
  virtual uint64_t GetParam3() = 0;
  virtual void SetParam3(uint64_t value) = 0;

  virtual uint32_t GetBufferCount() = 0;

  /// Shares the buffer at `index`; empty when there is none.
  virtual std::shared_ptr<IMediaBuffer> GetBuffer(uint32_t index) = 0;

  /// Shares `buffer` at the end of the list; an empty one is ignored. Returns 0. Throws
  /// std::bad_alloc, with the list unchanged.
  virtual int32_t AddBuffer(std::shared_ptr<IMediaBuffer> buffer) = 0;

  /// Lets go of every buffer. Returns 0.
  virtual int32_t ClearBuffers() = 0;
};

/// Shares a new sample without buffers, its values 0 or the ones given. `error` is neither read nor
/// written; null. Throws std::bad_alloc. Reentrant.
MIVARE_API std::shared_ptr<IMediaSample> NUXMivareMediaSampleCreate(int* error);
MIVARE_API std::shared_ptr<IMediaSample> NUXMivareMediaSampleCreate(unsigned long long param1,
                                                                    unsigned long long param2,
                                                                    unsigned long long param3,
                                                                    int* error);

}  // namespace mivare

/// How many sample frames (one sample for each channel) the valid bytes of an audio buffer make,
/// with a fraction where the last one is not whole. -1.0 when the buffer or its description is
/// missing or is not audio; -2.0 for an smt outside 20000..29999, such as an audio bitstream; an
/// infinity or NaN for a description with 0 bytes per frame. Reentrant.
extern "C" MIVARE_API float NUXMivareGetAudioSampleCount(mivare::IMediaBuffer* buffer);
