// The interfaces take values by reference only, so their name is enough for a layout.
#pragma once

namespace orlo {
class ValAny;
}  // namespace orlo
