#include "request_properties.h"

#include "extend_keys.h"
#include "mivare/media_desc.h"
#include "mivare/user_data.h"

namespace mivare {

void CarryRequest(IMediaDesc* request, IMediaDesc* frame) {
  if (frame == nullptr) return;
  NUXMivareCopyMediaExtraProperty(frame, request);
  NUXMivareCopyUserData(frame, request);
  RemoveReservedUserDataKeys(frame->GetUserDataConfig());
}

}  // namespace mivare
