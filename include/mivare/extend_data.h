// Extend data: side data of a frame as blocks of bytes under text keys, which the library never
// looks into.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"

namespace mivare {

/// A thread-safe store of byte blocks. Keys are compared byte by byte. Refusals are logged.
class MIVARE_INTERFACE IExtendData {
 public:
  virtual ~IExtendData() = default;

  /// The length in bytes of the block under `key`; 0 when the key is null or absent.
  virtual uint32_t GetExtendDataLength(const char* key) = 0;

  /// Copies the block under `key` to `destination`. `length` brings the room there in bytes and
  /// takes the bytes written; it must not be null. False, with nothing written, when the key or the
  /// destination is null, the room is below 1 or too small, or the key is absent.
  virtual bool GetExtendData(const char* key, uint8_t* destination, int32_t* length) = 0;

  /// Stores a copy of `length` bytes under `key`, replacing what was there. False when the key or
  /// the source is null or the length is below 1.
  virtual bool SetExtendData(const char* key, const uint8_t* source, int32_t length) = 0;

  /// Removes the block under `key`, if there is one; a null key does nothing.
  virtual void RemoveExtendData(const char* key) = 0;

  /// Shares a new store with a copy of every block.
  virtual std::shared_ptr<IExtendData> Clone() = 0;
};

}  // namespace mivare

/// The number of well-known extend data keys: 3. Reentrant.
extern "C" MIVARE_API int32_t NUXMivareGetExtendKeyCount();

/// Lends the text of well-known key `index`, for the life of the library: 0 PQ data, 1 body
/// features, 2 face features. Null from 3 on; a negative index is the caller's mistake and is not
/// looked at. Reentrant.
extern "C" MIVARE_API const char* NUXMivareGetExtendKey(int32_t index);
