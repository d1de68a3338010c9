#include "runtime/DoEvents.h"

#include <utility>

#include "interface/ProjectState.h"

namespace tavric {

void DoEvents() {
  // Copied for the call: a hook may replace itself while it runs.
  const std::function<void()> hook = State().do_events_hook;
  if (hook) hook();
}

std::function<void()> SetDoEventsHook(std::function<void()> hook) {
  return std::exchange(State().do_events_hook, std::move(hook));
}

}  // namespace tavric
