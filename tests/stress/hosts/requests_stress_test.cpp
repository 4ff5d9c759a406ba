// Many threads request and drop frames of the same kinds.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "mivare/helper.h"
#include "stress/scenario.h"
#include "support/request.h"
#include "support/together.h"

namespace mivare::test {
namespace {

constexpr int kBlack = -1;  // what FakeGpu's fill leaves

struct Stamped {
  std::shared_ptr<IMediaBuffer> frame;
  int32_t stamp = 0;
};

// Looks at a stamped frame and drops it; an empty entry is none.
void CheckAndDrop(Stamped& held) {
  if (held.frame == nullptr) return;
  EXPECT_TRUE(HasStamp(*held.frame, held.stamp));
  held.frame.reset();
}

using RequestStress = Scenario;

TEST_F(RequestStress, StampsStayIntactWhileEightThreadsShareOneDescription) {
  const Library library(&gpu_);
  const std::array<MediaDescPtr, 2> requests = {VideoRequest(45, 64, 48),
                                                VideoRequest(45, 64, 48, 1)};
  for (const MediaDescPtr& request : requests) {
    request->GetUserDataConfig()->Set("note", "a text that is too long for its string");
  }
  std::atomic<int> device_requests{0};
  Together(8, [&](int thread) {
    Dice dice(thread);
    std::array<Stamped, 6> held;
    for (int i = 0; i < Rounds(300); ++i) {
      At("exchanging one frame for another");
      Stamped& place = held[static_cast<size_t>(dice.Throw(6))];
      CheckAndDrop(place);
      const MediaDescPtr& request = requests[static_cast<size_t>(i % 2)];
      place.frame = Manager().Alloc(request.get(), nullptr, nullptr);
      ASSERT_NE(place.frame, nullptr);
      const IMediaDesc& desc = *place.frame->GetDesc(0);
      EXPECT_EQ(desc.GetWidth(), 64U);
      EXPECT_EQ(desc.GetHeight(), 48U);
      orlo::ValAny note;
      EXPECT_EQ(desc.GetUserDataInquire()->Get("note", note), 1);
      place.stamp = thread << 20 | i;
      Stamp(*place.frame, place.stamp);
      device_requests += i % 2;
    }
    for (Stamped& place : held) CheckAndDrop(place);
  });
  EXPECT_LT(gpu_.Count("Alloc"), device_requests) << "nothing was used again";
}

TEST_F(RequestStress, BlankFramesAreBlackWhateverOthersLeftInThem) {
  const Library library(&gpu_);
  for (const uint32_t location : {0U, 1U}) {
    const MediaDescPtr plain = VideoRequest(45, 64, 16, location);
    const MediaDescPtr blank = VideoRequest(45, 64, 16, location);
    blank->GetUserDataConfig()->Set("Blank", 1);
    const int black = location == 0 ? 0 : kBlack;
    Together(8, [&](int thread) {
      for (int i = 1; i <= Rounds(200); ++i) {
        if (thread % 2 == 0) {
          Stamped one{Manager().Alloc(plain.get(), nullptr, nullptr), i};
          ASSERT_NE(one.frame, nullptr);
          Stamp(*one.frame, i);
          CheckAndDrop(one);
          continue;
        }
        const auto frame = Manager().Alloc(blank.get(), nullptr, nullptr);
        ASSERT_NE(frame, nullptr);
        EXPECT_TRUE(HasStamp(*frame, black));
        orlo::ValAny mark;
        EXPECT_EQ(frame->GetDesc(0)->GetUserDataInquire()->Get("Blank", mark), 0);
        if (i % 3 == 0) {
          // Goes to the blank frames, and comes back to a blank request as it is.
          frame->GetDesc(0)->GetUserDataConfig()->Set("Blank", 1);
        } else {
          Stamp(*frame, i);
        }
      }
    });
  }
}

// One issue of a frame: from a request to its last drop.
struct Issue {
  std::weak_ptr<IMediaBuffer> weak;
  int32_t stamp = 0;
};

/// Frames that wait to be dropped by somebody else, and what is remembered of all issues.
class HandOver {
 public:
  void Put(std::shared_ptr<IMediaBuffer> frame, int32_t stamp) {
    const std::lock_guard lock(mutex_);
    std::vector<Issue>& earlier = issues_of_[&Native(*frame)];
    for (const Issue& issue : earlier) {
      EXPECT_TRUE(issue.weak.expired()) << "a frame is out twice";
    }
    earlier.push_back({frame, stamp});
    hoard_.push_back(earlier.back());
    queue_.push_back(std::move(frame));
  }
  bool IsFull() {
    const std::lock_guard lock(mutex_);
    return queue_.size() >= 16;
  }
  std::shared_ptr<IMediaBuffer> Take() {
    const std::lock_guard lock(mutex_);
    if (queue_.empty()) return nullptr;
    std::shared_ptr<IMediaBuffer> frame = std::move(queue_.front());
    queue_.pop_front();
    return frame;
  }
  Issue Remembered(Dice& dice) {
    const std::lock_guard lock(mutex_);
    if (hoard_.empty()) return {};
    return hoard_[static_cast<size_t>(dice.Throw(static_cast<int>(hoard_.size())))];
  }
  const std::vector<Issue>& hoard() const { return hoard_; }

 private:
  std::mutex mutex_;
  std::map<FakeFrame*, std::vector<Issue>> issues_of_;
  std::vector<Issue> hoard_;
  std::deque<std::shared_ptr<IMediaBuffer>> queue_;
};

TEST_F(RequestStress, AHoardedWeakReferenceNeverRevivesAReissuedFrame) {
  const Library library(&gpu_);
  const MediaDescPtr request = VideoRequest(45, 64, 16, 1);
  HandOver hand_over;
  constexpr int kProducers = 3;
  std::atomic<int> producing{kProducers};
  std::atomic<int> next_stamp{1};
  Together(kProducers + 5, [&](int thread) {
    Dice dice(thread);
    if (thread < kProducers) {
      for (int i = 0; i < Rounds(300); ++i) {
        At("requesting for others to drop");
        while (hand_over.IsFull()) std::this_thread::yield();
        auto frame = Manager().Alloc(request.get(), nullptr, nullptr);
        ASSERT_NE(frame, nullptr);
        const int32_t stamp = next_stamp++;
        Stamp(*frame, stamp);
        hand_over.Put(std::move(frame), stamp);
      }
      --producing;
      return;
    }
    for (;;) {
      At("dropping and looking back");
      const bool last_round = producing == 0;
      const auto frame = hand_over.Take();
      const Issue old = hand_over.Remembered(dice);
      // While it is out, a frame is the one of its own issue; this may be its last drop.
      if (const auto revived = old.weak.lock()) {
        EXPECT_TRUE(HasStamp(*revived, old.stamp));
      }
      if (last_round && frame == nullptr) return;
    }
  });
  for (const Issue& issue : hand_over.hoard()) EXPECT_EQ(issue.weak.lock(), nullptr);
  EXPECT_LT(gpu_.Count("Alloc"), next_stamp - 1) << "nothing was used again";
}

}  // namespace
}  // namespace mivare::test
