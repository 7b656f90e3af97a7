#pragma once

namespace likeness::darkroom {

/// Whether the system gives `count` threads at the same time, beside those that there are. They do nothing and are
/// gone when the function returns.
bool threadsAvailable(unsigned count);

}  // namespace likeness::darkroom
