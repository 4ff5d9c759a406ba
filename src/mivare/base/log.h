// What the library says in the engine's log: the tag, the levels, the units and the message shapes
// that several files share.
#pragma once

#include <cstdint>

#include "orlo/log.h"

namespace mivare {

/// Levels of OrloLogPrint as this library uses them.
enum LogLevel : int32_t {
  kLogCreate = 0,  ///< creation trace
  kLogTrace = 1,   ///< trace note
  kLogStatus = 4,  ///< warnings, status, information
  kLogError = 6,
  kLogMemory = 7,  ///< an allocation failed
};

/// The names by which messages speak of their source. People search logs for them, so they stay
/// when files move.
namespace unit {
inline constexpr char kAllocator[] = "mivare/allocator";
inline constexpr char kAllocatorMgr[] = "mivare/allocator_mgr";
inline constexpr char kBuffer1d[] = "mivare/buffer1d";
inline constexpr char kBuffer2d[] = "mivare/buffer2d";
inline constexpr char kDesc[] = "mivare/desc";
inline constexpr char kDescGray[] = "mivare/desc/gray";
inline constexpr char kDescYv12x[] = "mivare/desc/yv12x";
inline constexpr char kDescNv12x[] = "mivare/desc/nv12x";
inline constexpr char kDescYuvax[] = "mivare/desc/yuvax";
inline constexpr char kDescRgbax[] = "mivare/desc/rgbax";
inline constexpr char kDumpImage[] = "mivare/dump_image";
inline constexpr char kHybridFrameAllocator[] = "mivare/hybrid_frame_allocator";
inline constexpr char kHybridFrame[] = "mivare/hybrid_frame";
inline constexpr char kBlankPool[] = "mivare/blank_pool";
inline constexpr char kExtendData[] = "mivare/extend_data_impl";
}  // namespace unit

/// One log line of the library.
#define MIVARE_LOG(level, ...) OrloLogPrint("mivare", (level), __VA_ARGS__)

/// "error! file[unit] line[line]", the plain refusal. The line is the caller's unless the message
/// has a number of its own that people search for.
inline void LogErrorAt(const char* source_unit, int line = __builtin_LINE()) {
  MIVARE_LOG(kLogError, "error! file[%s] line[%d]", source_unit, line);
}

/// "error! function line[line]: mb is nullptr!", what exports say that were given no buffer.
inline void LogNoBuffer(const char* function, int line) {
  MIVARE_LOG(kLogError, "error! %s line[%d]: mb is nullptr!", function, line);
}

}  // namespace mivare
