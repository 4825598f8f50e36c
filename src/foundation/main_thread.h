#pragma once
// Debug builds stop at a use of the model off the main thread (see foundation/queues.h); other builds
// check nothing, and ThreadSanitizer builds report the race itself.
#include <cassert>

#include "foundation/queues.h"

#define MARQEN_ASSERT_MAIN_THREAD() \
    assert(::marqen::MainQueue::isMainThread() && "the model is used on the main thread only")
