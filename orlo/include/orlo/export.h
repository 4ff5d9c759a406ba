// Marks what the base library exports.
#pragma once

#if defined(_WIN32)
#if defined(ORLO_BUILDING)
#define ORLO_API __declspec(dllexport)
#else
#define ORLO_API __declspec(dllimport)
#endif
#else
#define ORLO_API __attribute__((visibility("default")))
#endif

/// Marks members that are defined in these headers. Whoever includes them compiles such a member on
/// their own; a library that offers them to hosts as well has one source file that defines
/// ORLO_EXPORT_INLINE before it includes them, which emits each of them there, called or not.
#if defined(_WIN32)
#if defined(ORLO_EXPORT_INLINE)
#define ORLO_INLINE_API __attribute__((dllexport, used))
#else
#define ORLO_INLINE_API
#endif
#elif defined(ORLO_EXPORT_INLINE)
#define ORLO_INLINE_API __attribute__((visibility("default"), used))
#else
// Without `used` but as visible: a member is hidden when a single file of a library has it hidden.
#define ORLO_INLINE_API __attribute__((visibility("default")))
#endif
