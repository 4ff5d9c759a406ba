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
  /// be cloned is left out.
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

  /// Shares `buffer` at the end of the list; an empty one is ignored. Returns 0.
  virtual int32_t AddBuffer(std::shared_ptr<IMediaBuffer> buffer) = 0;

  /// Lets go of every buffer. Returns 0.
  virtual int32_t ClearBuffers() = 0;
};

}  // namespace mivare
