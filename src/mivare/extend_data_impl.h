// The extend data store: blocks of bytes under text keys.
#pragma once

#include <memory>

#include "mivare/extend_data.h"

namespace mivare {

class IExtendDataImpl : public IExtendData {};

/// Shares a new, empty store. Throws std::bad_alloc.
std::shared_ptr<IExtendData> MakeExtendData();

}  // namespace mivare
