// Diagnostics: frames and audio written to files and read back, compared, cleared and copied.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "mivare/export.h"
#include "mivare/media_buffer.h"

/// Writes plane 0 of a frame as a BMP image, bottom row first: packed formats in colour, 8-bit
/// planes with a grey palette, deeper ones as 16-bit bit fields. `path` is created or truncated.
/// Rows are read in the file's row size, a multiple of 4 bytes. A row that lies in part outside of
/// the frame's memory is completed with zeros, one that lies outside as a whole is left out; raw
/// dumps do the same. Returns 0, also when the frame cannot be locked (the file then ends after the
/// headers); -1 when the buffer or its description is missing, the path is null or the file cannot
/// be opened. Dumps of a process take turns. Thread-safe.
extern "C" MIVARE_API int32_t NUXMivareDumpBMP(const char* path,
                                               std::shared_ptr<mivare::IMediaBuffer> buffer);

/// Writes plane 0 of a frame as an uncompressed TGA image whose width is the pitch's; the file ends
/// where the frame's memory does. Returns 0; -1 as above, and when the frame cannot be locked or
/// has no bits per pixel. Dumps of a process take turns. Thread-safe.
extern "C" MIVARE_API int32_t NUXMivareDumpTGA(const char* path,
                                               std::shared_ptr<mivare::IMediaBuffer> buffer);

/// Writes what a frame shows, plane by plane without padding, or an audio buffer's valid bytes to a
/// file of samples alone. Its name is `prefix` and an ending that tells the layout (".yv12",
/// ".nv12", ".p10", ".yuv422", ".pcm", ...). Packed formats go to a ".bmp". A device frame is
/// brought to the host first. The name is handed to the C library's fopen as it is, so on Windows
/// it is in the process's code page; that of a ".bmp" alone is UTF-8 everywhere. Problems are
/// logged. Thread-safe.
extern "C" MIVARE_API void NUXMivareDumpMediaBuffer(const char* prefix,
                                                    std::shared_ptr<mivare::IMediaBuffer> buffer);

/// Reads a BMP image of 24 or 32 bits per pixel, rows from the bottom up, into a frame of smt 45 of
/// the same width and height. Every row takes 4 bytes a pixel from the file, also of 24-bit images,
/// whose pixels become opaque; the data begin right behind the headers. All rows are written,
/// however short the file: rows that it lacks repeat what was read last, or are zeros. `path` goes
/// to the C library's fopen as it is, also where the dump takes UTF-8. Returns whether pixels were
/// written; false also when anything is missing, cannot be opened or locked, or the headers are cut
/// short. Reentrant.
extern "C" MIVARE_API bool NUXMivareLoadBMP(const char* path,
                                            std::shared_ptr<mivare::IMediaBuffer> buffer);

/// Reads a file of NUXMivareDumpMediaBuffer back into a frame of the same format and size: smt 1
/// and 6 raw, where a short file leaves the rest of the frame as it was, and smt 45 through
/// NUXMivareLoadBMP. `path` is the whole name, for fopen as it is; a raw file must be writable but
/// is not written. Returns whether it was opened and the frame locked; false, and a line in the
/// log, for other formats and missing arguments. Reentrant.
extern "C" MIVARE_API bool NUXMivareLoadMediaBuffer(const char* path,
                                                    std::shared_ptr<mivare::IMediaBuffer> buffer);

/// The peak signal-to-noise ratio of two frames of the same format and size in decibels, over a
/// plane of smt 1 (0 to 2), of smt 6 (0 the luma, else chroma from byte `plane` - 1 of its rows) or
/// a component of smt 45 (`plane` is its byte in the pixel). Of interleaved samples only the first
/// half (smt 6) or quarter (smt 45) of each row is looked at, while the mean is over all of them:
/// compare such ratios with their like. The largest double when nothing differs, also for a buffer
/// and itself; -100.0 when a buffer is missing or cannot be locked or the two are not alike; -200.0
/// for other formats and planes. Reentrant.
extern "C" MIVARE_API double NUXMivareImagePSNR(std::shared_ptr<mivare::IMediaBuffer> a,
                                                std::shared_ptr<mivare::IMediaBuffer> b,
                                                uint8_t plane);

/// The MD5 of plane 0 of a frame of smt 1, 2, 45 or 46 as 32 lower-case digits. That of smt 1 is
/// the one of its visible bytes. The rows of the others are laid over one another before, each from
/// `width` bytes behind the start of the one above, and the rest of the hashed block has no defined
/// contents: only frames of one row have a digest to rely on. Rows are read as wide as the picture
/// whatever the pitch. Returns 0; -1 when something is missing, the format is another, the frame
/// cannot be locked or there is no memory, and `digest` is as it was. Reentrant.
extern "C" MIVARE_API int32_t NUXMivareMediaBuffer2MD5(mivare::IMediaBuffer* buffer,
                                                       std::string* digest);

/// Sets the valid bytes of an audio buffer to zero. Returns 0, also when there was nothing to do
/// (other media types, a buffer that cannot be locked); -1 when the buffer or its description is
/// missing or QueryObject gives an object: memory that is not the process's. Reentrant.
extern "C" MIVARE_API int32_t NUXMivareZeroBuffer(mivare::IMediaBuffer* buffer);

/// Copies the planes of `source` into `destination`, of the same format and size, whole pitches at
/// a time; audio by CopyFrom. Returns 0; 1 when the media type has nothing to copy (subtitles); -1
/// when something is missing or differs, with nothing copied. Overlapping memory is fine; rows of
/// different pitches are copied one after the other. Reentrant.
extern "C" MIVARE_API int32_t NUXMivareCopyMediaBufferData(mivare::IMediaBuffer* destination,
                                                           mivare::IMediaBuffer* source);
