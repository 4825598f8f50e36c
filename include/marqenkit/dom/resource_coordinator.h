#pragma once
// The object through which a document's bitmaps load and store their pixel data by resource URI
// (a bundle, or a plain directory).
//
// Threads: the model calls a coordinator on the main thread. A coordinator may do the file work
// wherever it likes (it gets immutable inputs: the URI, an image nobody changes any more, a copy of
// the properties), but it delivers every completion through MainQueue, so that completions run on
// the main thread and always after the call has returned, never inline. It calls each completion
// exactly once; a completion it drops unrun counts as a failure for whoever waits on it.
#include <filesystem>
#include <functional>
#include <string>

#include "../export.h"
#include "../foundation/error.h"
#include "../foundation/json.h"
#include "../platform/image.h"

namespace marqen {

inline constexpr const char *MarqenDOMDocumentResourceCoordinatorErrorDomain =
    "MarqenDOMDocumentResourceCoordinatorErrorDomain";

// Error codes of MarqenDOMDocumentResourceCoordinatorErrorDomain.
enum MarqenDOMDocumentResourceCoordinatorErrorCode : long {
    MarqenResourceErrorInvalidURI = 1,      // not a resource URI this coordinator can name a file for
    MarqenResourceErrorOutsideStorage = 2,  // the file would lie outside the coordinator's storage
    MarqenResourceErrorNotFound = 3,
    MarqenResourceErrorWriteFailed = 4,
    MarqenResourceErrorNoImage = 5,         // nothing to store, and nothing stored before
};

class MARQEN_EXPORT MarqenDOMDocumentResourceCoordinator {
public:
    // fileURL: the file holding the resource (empty on error), the file itself rather than a symbolic link
    // to it (bitmaps read it without following a link there); uri: the resource's URI as the
    // coordinator names it; error: null on success, else why the operation failed (valid only during
    // the call).
    using Completion = std::function<void(const std::filesystem::path &fileURL, const std::string &uri,
                                          const MarqenError *error)>;

    virtual ~MarqenDOMDocumentResourceCoordinator() = default;

    virtual void loadResourceWithURI(const std::string &uri, Completion completion) = 0;
    // profile: 0 stores losslessly (PNG), 1 as JPEG, 2 as HEIC. properties: the image-file
    // properties to keep (resolution). A null image keeps what is already stored under the URI.
    virtual void storeResourceWithURI(const std::string &uri, const MarqenImageRef &image, unsigned long profile,
                                      const MarqenJSON &imageProperties, Completion completion) = 0;
};

// Image profiles handed to the coordinator with a bitmap's image.
inline constexpr unsigned long MarqenImageProfileNone = 0;  // lossless
inline constexpr unsigned long MarqenImageProfileJPEG = 1;
inline constexpr unsigned long MarqenImageProfileHEIC = 2;

}  // namespace marqen
