#include "orlo/md5.h"

#include <array>
#include <cstdint>

#if defined(_WIN32)
#include <windows.h>
// after windows.h
#include <bcrypt.h>

#include <algorithm>
#else
#include <md5.h>
#include <sys/types.h>
#endif

namespace orlo::md5 {
namespace {

using Digest = std::array<uint8_t, 16>;

#if defined(_WIN32)

/// Closes the two handles of the system's hash service, whichever were opened.
struct HashService {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;

  HashService() = default;
  HashService(const HashService&) = delete;
  HashService& operator=(const HashService&) = delete;
  ~HashService() {
    if (hash != nullptr) BCryptDestroyHash(hash);
    if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  }
};

bool Compute(const uint8_t* data, size_t size, Digest* digest) {
  HashService service;
  if (BCryptOpenAlgorithmProvider(&service.algorithm, BCRYPT_MD5_ALGORITHM, nullptr, 0) != 0 ||
      BCryptCreateHash(service.algorithm, &service.hash, nullptr, 0, nullptr, 0, 0) != 0) {
    return false;
  }
  // The service counts in 32 bits, so that larger runs go in pieces.
  constexpr size_t kPiece = size_t{1} << 30;
  while (size > 0) {
    const size_t piece = std::min(size, kPiece);
    if (BCryptHashData(service.hash, const_cast<uint8_t*>(data), static_cast<ULONG>(piece), 0) !=
        0) {
      return false;
    }
    data += piece;
    size -= piece;
  }
  return BCryptFinishHash(service.hash, digest->data(), static_cast<ULONG>(digest->size()), 0) == 0;
}

#else

bool Compute(const uint8_t* data, size_t size, Digest* digest) {
  MD5_CTX context;
  MD5Init(&context);
  if (size > 0) MD5Update(&context, data, size);
  MD5Final(digest->data(), &context);
  return true;
}

#endif

}  // namespace

std::string MD5String(const void* data, size_t size) {
  Digest digest{};
  if (!Compute(static_cast<const uint8_t*>(data), size, &digest)) return {};
  std::string text;
  text.reserve(2 * digest.size());
  for (const uint8_t byte : digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace orlo::md5
