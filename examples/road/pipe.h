// The stream between a decoder and a player that has none. It describes itself:
//
//     mivare road 1
//     video format=yuv420p width=1920 height=1080 frames=41 range=0 matrix=1 ...
//     audio format=flt rate=48000 channels=2 layout=3
//                                                        (an empty line; then packets, binary)
//     'V'  int64 time   the picture's planes without padding
//     'A'  int64 time   uint32 length, the samples interleaved
//     'E'                                                (the end: a stream without it was cut)
//
// Numbers of packets are little-endian, times are in microseconds.
#pragma once

#include <istream>
#include <optional>
#include <ostream>
#include <vector>

#include "source.h"

namespace road {

/// Sends everything that `source` has. Throws Failure when the output takes no more.
void WritePipe(Source& source, std::ostream& out);

/// Reads such a stream. Nothing in it is trusted: sizes are bounded, and whatever does not fit
/// throws Failure.
class PipeSource final : public Source {
 public:
  /// Reads the header. `in` is lent for the life of this object.
  explicit PipeSource(std::istream& in);

  const StreamInfo& Info() const override { return info_; }
  std::optional<Packet> Next() override;

 private:
  Picture ReadPicture();
  Samples ReadSamples();
  void ReadBytes(void* destination, size_t size, const char* what);
  template <class T>
  T ReadNumber(const char* what);

  std::istream& in_;
  StreamInfo info_;
  std::vector<uint8_t> bytes_;
  bool ended_ = false;
};

}  // namespace road
