// The engine's modules are built with orlo's headers but linked in any order: hosts that link this
// library find the inline members of orlo's BSON classes, logger, identifiers and event bus in its
// import library, and use these instead of copies of their own. So every such member is emitted and
// exported here, most of them for nobody in this library. What is exported is listed in abi/.
#define ORLO_EXPORT_INLINE
#include "orlo/bson.h"
#include "orlo/event_bus.h"
#include "orlo/logger.h"
#include "orlo/uuid.h"
