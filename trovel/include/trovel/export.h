// Marks what the resource monitor exports.
#pragma once

#if defined(_WIN32)
#if defined(TROVEL_BUILDING)
#define TROVEL_API __declspec(dllexport)
#else
#define TROVEL_API __declspec(dllimport)
#endif
#else
#define TROVEL_API __attribute__((visibility("default")))
#endif
