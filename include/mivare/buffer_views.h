// Views: buffers over memory that something else holds. They have no pool and are not registered
// with the resource monitor. Views that get their memory later are made by IAllocatorEx::AllocLazy.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"
#include "mivare/media_buffer.h"

/// Shares, through `out`, a video buffer over the caller's memory: `data` is plane 0 and `pitch`
/// its bytes from row to row, and both are handed out as they are. `data` is lent until the last
/// handle goes. All of height x pitch bytes must be there (with a negative pitch those of the rows
/// that run upwards), more where a picture's row is longer than the pitch: see IMediaBuffer. The
/// description is that of a new one for `smt` and the size; GetDesc is null for an smt without one,
/// and 0 x 0 for a size that it refuses (logged). Lock writes only plane 0 and pitch 0, each where
/// there is an array. Clone, CopyFrom and the other ways to change or query the memory are not
/// supported. Returns 0; -1 when `out` is null or there is no memory, with nothing written.
/// Reentrant.
extern "C" MIVARE_API int32_t
NUXMivareCreateMediaBufferWraper(uint32_t width, uint32_t height, uint32_t smt, uint8_t* data,
                                 uint32_t pitch, std::shared_ptr<mivare::IMediaBuffer>* out);

/// Shares, through `out`, a view of a rectangle of `mb`, whose memory it uses and which it keeps
/// alive. `rect`: x, y, width and height in luma pixels, unchecked: it is the caller who keeps it
/// within the frame. The library itself leaves out what lies outside of the memory of a frame of
/// its own; a host that walks the planes has to see to it. The description is the frame's with the
/// rectangle's size, or the frame's own where that cannot be set (logged: larger than the padded
/// frame, or zero).
///
/// Lock gives the frame's pitches and its planes moved to the rectangle's corner, chroma rounded
/// towards 0; planes that the frame lacks stay null. It passes on the frame's own failure, with the
/// planes left alone. It knows smt 1..3, 6..8, 45..48, 50, 51, 55, 56 and 15000; for others it
/// returns -1 and leaves the frame locked, so Unlock all the same. Clone clones the whole frame.
/// What would change the memory is not supported.
///
/// Returns 0; -1, with nothing written, when `mb` is null (logged), `rect` or `out` is null, the
/// frame has no description, is not video or is in device memory, or there is no memory. Like every
/// copy of a description this empties the frame's multi-camera queue. Reentrant.
extern "C" MIVARE_API int32_t
NUXMivareCreateMediaBufferCrop(std::shared_ptr<mivare::IMediaBuffer> mb, const uint32_t* rect,
                               std::shared_ptr<mivare::IMediaBuffer>* out);

/// Shares, through `out`, a stand-in for `mb`, which it keeps alive: every operation goes there,
/// but the description is a copy of its own. As in every copy the hint keys are gone, except that
/// kIsOldKey is set to true where the original has it. IsDeviceMemory marks the description as
/// device memory when the answer is true. Clone gives a stand-in for a clone. GetDesc is null when
/// `mb` has no description (logged) or it cannot be copied.
///
/// Returns 0; -1 when `mb` or `out` is null or there is no memory, with nothing written. Empties
/// the frame's multi-camera queue as well. Reentrant.
extern "C" MIVARE_API int32_t NUXMivareCreateMediaBufferProxy(
    std::shared_ptr<mivare::IMediaBuffer> mb, std::shared_ptr<mivare::IMediaBuffer>* out);
