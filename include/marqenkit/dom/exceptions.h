#pragma once
// Exceptions raised where the model's documented behaviour is to raise: abstract operations and
// programming errors that user data cannot cause.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <stdexcept>
#include <string>

#include "../export.h"

namespace marqen {

// The kind "NSGenericException": `what()` is the reason.
class MARQEN_EXPORT MarqenGenericException : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

inline std::string MarqenAbstractMethodReason(const std::string &className) {
    return "Abstract method must be implemented in class " + className;
}

}  // namespace marqen
