// The order in which the library's locks are taken, as Clang checks it: lines between them. A lock
// says below which line and above which it stands; the table is in HACKING.md.
#pragma once

#include "base/mutex.h"

namespace mivare::lock_order {

/// Only a line in the order; nobody locks it.
class MIVARE_TSA(capability("line")) Line {};

// The lowest first, since each names the one below it.

/// Below: single pools, under which nothing of ours is locked.
extern Line pools;
/// Below: what allocators work with.
extern Line allocators ACQUIRED_BEFORE(pools);
/// Above: locks of single objects, under which hosts' code may run.
extern Line objects ACQUIRED_BEFORE(allocators);

}  // namespace mivare::lock_order
