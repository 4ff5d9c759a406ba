// Diagnostics: frames and audio written to files and read back, and copied plane by plane.
#pragma once

#include <cstdint>
#include <memory>

#include "mivare/export.h"
#include "mivare/media_buffer.h"

/// Writes plane 0 of a frame as a BMP image, bottom row first: packed formats in colour, 8-bit
/// planes with a grey palette, deeper ones as 16-bit bit fields. `path` is created or truncated.
/// Reads whole rows of the file's row size, so the pitch must cover them. Returns 0, also when the
/// frame cannot be locked (the file then ends after the headers); -1 when the buffer or its
/// description is missing, the path is null or the file cannot be opened. Dumps of a process take
/// turns. Thread-safe.
extern "C" MIVARE_API int32_t NUXMivareDumpBMP(const char* path,
                                               std::shared_ptr<mivare::IMediaBuffer> buffer);

/// Writes plane 0 of a frame as an uncompressed TGA image whose width is the pitch's. Returns 0; -1
/// as above, and when the frame cannot be locked or has no bits per pixel. Dumps of a process take
/// turns. Thread-safe.
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
/// to fopen as it is. Returns whether pixels were written; false also when anything is missing,
/// cannot be opened or locked, or the headers are cut short. Reentrant.
extern "C" MIVARE_API bool NUXMivareLoadBMP(const char* path,
                                            std::shared_ptr<mivare::IMediaBuffer> buffer);

/// Reads a file of NUXMivareDumpMediaBuffer back into a frame of the same format and size: smt 1
/// and 6 raw, where a short file leaves the rest of the frame as it was, and smt 45 through
/// NUXMivareLoadBMP. `path` is the whole name; the file must be writable, too, but is not written.
/// Returns whether the file was opened and the frame locked; false, and a line in the log, for
/// other formats and missing arguments. Reentrant.
extern "C" MIVARE_API bool NUXMivareLoadMediaBuffer(const char* path,
                                                    std::shared_ptr<mivare::IMediaBuffer> buffer);

/// Copies the planes of `source` into `destination`, of the same format and size, whole pitches at
/// a time; audio by CopyFrom. Returns 0; 1 when the media type has nothing to copy (subtitles); -1
/// when something is missing or differs, with nothing copied. Overlapping memory is fine.
/// Reentrant.
extern "C" MIVARE_API int32_t NUXMivareCopyMediaBufferData(mivare::IMediaBuffer* destination,
                                                           mivare::IMediaBuffer* source);
