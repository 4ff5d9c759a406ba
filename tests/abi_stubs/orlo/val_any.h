// The interfaces take values by reference only, so any class of the name gives their layout.
#pragma once

namespace orlo {
class ValAny {};
}  // namespace orlo
