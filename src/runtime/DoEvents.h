// The one place where long computations yield to the host's window-message
// loop. Without an installed hook, DoEvents does nothing. The progress
// display installs its view's message pump while a calibration runs.
#pragma once

#include <functional>

namespace tavric {

// Gives the host's user interface a chance to process pending messages.
void DoEvents();

// Installs the hook that DoEvents calls in the current calibration context
// (the thread's own outside the modern API's calls; an empty function
// removes it) and returns the previous one.
std::function<void()> SetDoEventsHook(std::function<void()> hook);

}  // namespace tavric
