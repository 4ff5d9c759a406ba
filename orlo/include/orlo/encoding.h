// Text encodings at the border to the platform.
#pragma once

#include <string>

#include "orlo/export.h"

/// Turns NUL-terminated UTF-8 into the platform's wide text (UTF-16 where wchar_t has 16 bits,
/// UTF-32 elsewhere). Every invalid sequence becomes U+FFFD; nothing behind the NUL is read; null
/// gives an empty text. Reentrant.
ORLO_API std::wstring NUXOrlo_UTF8_Unicode(const char* utf8);
