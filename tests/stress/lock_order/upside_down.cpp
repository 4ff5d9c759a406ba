// Not part of any program: locks taken against their order, which Clang must refuse.
#include "base/lock_order.h"

namespace mivare::test {

struct Store {
  Mutex store ACQUIRED_BEFORE(lock_order::objects);
};
struct Pools {
  Mutex pools ACQUIRED_AFTER(lock_order::allocators) ACQUIRED_BEFORE(lock_order::pools);
};
struct Pool {
  Mutex pool ACQUIRED_AFTER(lock_order::pools);
};

void PoolsUnderAPool(Pools& upper, Pool& lower) {
  const MutexLock first(lower.pool);
  const MutexLock second(upper.pools);  // 'pools' must be acquired before 'pool'
}

void AStoreUnderAPool(Store& upper, Pool& lower) {
  const MutexLock first(lower.pool);
  const MutexLock second(upper.store);  // 'store' must be acquired before 'pool'
}

}  // namespace mivare::test
