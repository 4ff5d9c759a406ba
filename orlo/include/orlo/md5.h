// MD5 of a run of bytes, for comparing frames. Not for security.
#pragma once

#include <cstddef>
#include <string>

#include "orlo/export.h"

namespace orlo::md5 {

/// The digest of `size` bytes as 32 lower-case hexadecimal digits (RFC 1321). `data` may be null
/// when `size` is 0. An empty text when the platform's hash service fails. Reentrant.
ORLO_API std::string MD5String(const void* data, size_t size);

}  // namespace orlo::md5
