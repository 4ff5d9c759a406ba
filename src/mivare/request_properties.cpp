#include "request_properties.h"

#include "desc_copy.h"
#include "extend_keys.h"
#include "mivare/media_desc.h"
#include "own_desc.h"

namespace mivare {

void CarryRequest(IMediaDesc* request, IMediaDesc* frame) {
  if (frame == nullptr) return;
  if (request == nullptr) {
    RemoveReservedUserDataKeys(frame->GetUserDataConfig());
    return;
  }
  desc::VideoDescBase* to = OwnVideoDesc(*frame);
  const desc::VideoDescBase* from = to != nullptr ? OwnVideoDesc(*request) : nullptr;
  if (from == nullptr || from == to) {
    CarryRequestOfAny(*request, *frame);
    return;
  }
  CopyExtraProperty(*to, *from);
  to->UserData().ReplaceWith(from->UserData());
}

void CarryRequestOfAny(IMediaDesc& request, IMediaDesc& frame) {
  CopyExtraPropertyOfAny(frame, request);
  CopyUserData(&frame, &request);
  RemoveReservedUserDataKeys(frame.GetUserDataConfig());
}

}  // namespace mivare
