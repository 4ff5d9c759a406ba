#include "request_properties.h"

#include "desc_copy.h"
#include "extend_keys.h"
#include "mivare/media_desc.h"

namespace mivare {

void CarryRequest(IMediaDesc* request, IMediaDesc* frame) {
  if (frame == nullptr) return;
  CopyExtraProperty(frame, request);
  CopyUserData(frame, request);
  RemoveReservedUserDataKeys(frame->GetUserDataConfig());
}

}  // namespace mivare
