#pragma once

#include <stdexcept>

namespace varnolex {

/// A command that failed while it ran: exit status 1. The text is one sentence that names the thing at fault.
class CommandFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A command that was called wrongly: exit status 2, with a hint at the help.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace varnolex
