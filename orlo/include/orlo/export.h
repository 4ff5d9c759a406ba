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
