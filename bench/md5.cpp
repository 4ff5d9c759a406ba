// Does a frame's digest take as long as hashing its bytes where they lie?
//
// The peers: libmd, which this library hashes with on ELF, and OpenSSL's libcrypto, whose MD5 in
// assembly is the fastest that Debian has packaged (nettle's and libgcrypt's are no faster than
// libmd's). MD5 is one long chain of dependent steps, so they all lie close together.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
// libmd's header needs the types of the system's
#include <sys/types.h>
// after sys/types.h
#include <md5.h>

#include <array>
#include <cstdint>
#include <string>

#include "support/library.h"
#include "support/plane.h"

namespace mivare::bench {
namespace {

using Digest = std::array<uint8_t, 16>;

void HashLibmd(const uint8_t* data, size_t bytes, Digest& digest) {
  MD5_CTX context;
  MD5Init(&context);
  MD5Update(&context, data, bytes);
  MD5Final(digest.data(), &context);
}

void HashLibcrypto(const uint8_t* data, size_t bytes, Digest& digest) {
  EVP_Digest(data, bytes, digest.data(), nullptr, EVP_md5(), nullptr);
}

// Of the plane where it lies, its rows end to end.
template <class Hash>
Digest DigestOfLuma(Hash hash) {
  const PlaneView luma = PlaneViews(*Noise(k4K, 1))[0];
  Digest digest{};
  if (luma.pitch == luma.width) {
    hash(luma.data, static_cast<size_t>(luma.width) * luma.rows, digest);
  }
  return digest;
}

std::string Hex(const Digest& digest) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : digest) (text += kDigits[byte >> 4U]) += kDigits[byte & 15U];
  return text;
}

void Md5(benchmark::State& state) {
  std::string digest;
  for (auto _ : state) NUXMivareMediaBuffer2MD5(Noise(k4K, 1).get(), &digest);
  if (digest != Hex(DigestOfLuma(HashLibmd))) state.SkipWithError("not the peer's digest");
}
BENCHMARK(Md5)->Name("md5/mivare");

template <class Hash>
void Md5Peer(benchmark::State& state, Hash hash) {
  for (auto _ : state) benchmark::DoNotOptimize(DigestOfLuma(hash));
}
BENCHMARK_CAPTURE(Md5Peer, libmd, HashLibmd)->Name("md5/libmd");
BENCHMARK_CAPTURE(Md5Peer, libcrypto, HashLibcrypto)->Name("md5/libcrypto");

}  // namespace
}  // namespace mivare::bench
