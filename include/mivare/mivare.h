// The whole library in one include.
//
// Words that every header here uses in one sense:
//   reentrant     safe from any number of threads as long as each uses objects of its own
//   thread-safe   safe from any number of threads on the same object
//   thread-bound  one thread at a time per object; the caller sees to it
//   lends         the caller may use it while the lender lives, and owns nothing
//   shares        both sides own it, through a shared_ptr
//   takes, gives  ownership moves to the callee, to the caller
//
// No function lets an exception out unless its comment names it, except the stores of a description
// (user data, extend data, audio volumes, camera records): theirs throw std::bad_alloc where memory
// is short, and what copying a value throws. Every text is UTF-8, but for file names where a
// comment says otherwise.
#pragma once

#include "mivare/allocator.h"
#include "mivare/audio_volume.h"
#include "mivare/buffer_views.h"
#include "mivare/diagnostics.h"
#include "mivare/export.h"
#include "mivare/extend_data.h"
#include "mivare/gpu_allocator.h"
#include "mivare/helper.h"
#include "mivare/media_buffer.h"
#include "mivare/media_desc.h"
#include "mivare/media_sample.h"
#include "mivare/multi_camera.h"
#include "mivare/user_data.h"
