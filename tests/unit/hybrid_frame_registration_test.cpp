// What the resource monitor says of a frame while code of a host's making runs: a frame that is
// handed out is registered last, one that comes back is taken off first.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <set>
#include <vector>

#include "allocator.h"
#include "blank_pool.h"
#include "frame_list.h"
#include "hybrid_frame.h"
#include "mivare/user_data.h"
#include "support/failing_new.h"
#include "support/fake_desc.h"
#include "support/fake_gpu.h"
#include "support/log_capture.h"
#include "support/request.h"
#include "support/trovel_balance.h"
#include "user_data_map.h"

namespace mivare::test {
namespace {

constexpr char kKind[] = "Video Buffer";

/// A value that asks the monitor whenever it is copied or destroyed.
struct Witness {
  explicit Witness(std::set<size_t>* counts) : seen(counts) {}
  Witness(const Witness& other) : seen(other.seen) { Look(); }
  Witness& operator=(const Witness&) = delete;
  ~Witness() { Look(); }
  void Look() const { seen->insert(trovel::CountResources(kKind)); }

  std::set<size_t>* seen;
};

/// A request of a host's making, with user data of the library's.
class NotedRequest final : public FakeDesc {
 public:
  NotedRequest() : FakeDesc(1, 1) { user_data = &notes; }
  IUserDataInquire* GetUserDataInquire() const override { return &notes; }

  mutable UserDataMap notes;
};

class HybridFrameRegistrationTest : public testing::Test {
 protected:
  ~HybridFrameRegistrationTest() override {
    FrameList out;
    pool_->Close(out);
  }

  std::shared_ptr<IMediaBuffer> Frame(int32_t width = 64, int32_t height = 64) {
    return HybridBuffer::Create(DeviceFrame(*gpu_, *VideoRequest(1, width, height)), gpu_, {},
                                pool_);
  }
  std::shared_ptr<IMediaBuffer> Reissue(IMediaDesc* request) {
    return HybridBuffer::Reissue(request, HybridBuffer::Pooled(pool_->Take()));
  }

  TrovelBalance balance_;
  LogCapture log_;
  const size_t before_ = trovel::CountResources(kKind);
  std::set<size_t> seen_;
  std::shared_ptr<FakeGpu> gpu_ = std::make_shared<FakeGpu>();
  std::shared_ptr<BlankPool> pool_ = std::make_shared<BlankPool>();
};

TEST_F(HybridFrameRegistrationTest, IsGoneBeforeAReleasedFrameIsPooledOrDestroyed) {
  const struct {
    int32_t size;
    int lives;  // behind the release
  } cases[] = {{64, 1}, {2560, 0}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.size);
    std::shared_ptr<IMediaBuffer> frame = Frame(row.size, row.size);
    frame->GetDesc(0)->GetUserDataConfig()->Set("witness", Witness(&seen_));
    seen_.clear();
    frame.reset();
    EXPECT_EQ(seen_, std::set<size_t>{before_});
    EXPECT_EQ(gpu_->lives(), row.lives);
    FrameList out;
    pool_->Release(true, 0, &out);
    out.DestroyAll();
  }
}

TEST_F(HybridFrameRegistrationTest, ComesWhenTheRequestIsCarriedOver) {
  const MediaDescPtr own = VideoRequest(1, 64, 64);
  own->GetUserDataConfig()->Set("witness", Witness(&seen_));
  NotedRequest foreign;  // its hints come over first and leave then
  foreign.notes.Set("Blank", Witness(&seen_));
  for (IMediaDesc* request : {own.get(), static_cast<IMediaDesc*>(&foreign)}) {
    Frame().reset();
    seen_.clear();
    const std::shared_ptr<IMediaBuffer> frame = Reissue(request);
    EXPECT_EQ(seen_, std::set<size_t>{before_});
    EXPECT_EQ(trovel::CountResources(kKind), before_ + 1);
  }
}

TEST_F(HybridFrameRegistrationTest, IsAVideoBuffersWhateverTheStorageIs) {
  const size_t subtitles = trovel::CountResources("Subtitle Buffer");
  const std::shared_ptr<IMediaBuffer> frame = HybridBuffer::Create(
      MakeCpuAllocator()->Alloc(MakeMediaDesc(5, 31100).get(), nullptr, nullptr), gpu_, {}, pool_);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(trovel::CountResources(kKind), before_ + 1) << "the frame";
  EXPECT_EQ(trovel::CountResources("Subtitle Buffer"), subtitles + 1) << "its storage";
}

// With weak references to all earlier handles the room for their counts is taken, and each handle
// asks for memory.
TEST_F(HybridFrameRegistrationTest, AFrameWithoutMemoryForItsHandleIsBackInItsPool) {
  const MediaDescPtr request = VideoRequest(1, 64, 64);
  std::shared_ptr<IMediaBuffer> frame = Frame();
  IMediaBuffer* address = frame.get();
  // The host's own note of the frame, to be left alone: what is taken back was put there before.
  trovel::AddResource(kKind, address);
  std::vector<std::weak_ptr<IMediaBuffer>> weak{frame};
  frame.reset();
  int failures = 0;
  for (int round = 0; round < 3; ++round) {
    for (uint64_t nth = 1; frame == nullptr; ++nth) {
      SCOPED_TRACE(nth);
      try {
        const FailingNew failing(nth);
        frame = Reissue(request.get());
        ASSERT_NE(frame, nullptr) << "the frame was lost";
        EXPECT_FALSE(failing.fired());
      } catch (const std::bad_alloc&) {
        ++failures;
        EXPECT_EQ(trovel::CountResources(kKind), before_ + 1);
      }
    }
    EXPECT_EQ(frame.get(), address);
    for (const auto& earlier : weak) EXPECT_TRUE(earlier.expired());
    weak.push_back(frame);
    frame.reset();
  }
  EXPECT_GE(failures, 3) << "one a round: for the second room, then from the heap";
  EXPECT_EQ(trovel::RemoveResource(kKind, address), 0);
}

}  // namespace
}  // namespace mivare::test
