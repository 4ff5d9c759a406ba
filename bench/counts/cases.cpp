#include "counts/cases.h"

#include <memory>
#include <utility>

namespace mivare::bench {
namespace {

using SharedDesc = std::shared_ptr<IMediaDesc>;

Case Request(std::string name, const Library& library, SharedDesc desc) {
  return {std::move(name), [&library, desc = std::move(desc)] { library.Request(*desc); }};
}

Case Clone(std::string name, SharedDesc desc) {
  return {std::move(name), [desc = std::move(desc)] { const MediaDescPtr copy(desc->Clone()); }};
}

SharedDesc HdPicture(Notes notes) {
  SharedDesc desc = Picture(kPlanar420, kHd);
  desc->GetFrameSize();
  AddNotes(*desc, notes);
  return desc;
}

SharedDesc Audio() {
  SharedDesc desc = MakeMediaDesc(2, 20001);
  desc->SetSampleRate(48'000);
  desc->SetChannels(2);
  return desc;
}

}  // namespace

std::vector<Case> MakeCases(const Library& library) {
  constexpr int kManyKeys = 1'000;
  std::vector<Case> cases{
      Request("request", library, HdPicture(Notes::kNone)),
      Request("request_numbers", library, HdPicture(Notes::kNumbers)),
      Request("request_texts", library, HdPicture(Notes::kTexts)),
      Request("request_audio", library, Audio()),
      Clone("clone", HdPicture(Notes::kNone)),
      Clone("clone_numbers", HdPicture(Notes::kNumbers)),
      Clone("clone_texts", HdPicture(Notes::kTexts)),
  };
  cases.push_back(
      {"request_many_keys", [&library, desc = HdPicture(Notes::kNone), keys = 0]() mutable {
         if (keys == 0) MakeKeys(library, keys = kManyKeys);
         library.Request(*desc);
       }});
  return cases;
}

}  // namespace mivare::bench
