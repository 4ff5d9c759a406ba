// Marks what the shared library offers to hosts. Nothing else in this folder knows the platform.
#pragma once

#if defined(_WIN32)
#if defined(MIVARE_BUILDING)
#define MIVARE_API __declspec(dllexport)
#else
#define MIVARE_API __declspec(dllimport)
#endif
#define MIVARE_INTERFACE
#else
#define MIVARE_API __attribute__((visibility("default")))
/// An abstract class that hosts may also implement: its type information must be one across
/// modules.
#define MIVARE_INTERFACE __attribute__((visibility("default")))
#endif
