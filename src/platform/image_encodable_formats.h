#pragma once
// Which image formats this installation's encoder can really write (libvips may be built without a
// saver, HEIC needs an encoder plug-in). Any thread; answers are cached for the process.
#include "platform/image_io.h"

namespace marqen {

bool MarqenImageCanEncodeFormat(MarqenImageFormat format);

}  // namespace marqen
