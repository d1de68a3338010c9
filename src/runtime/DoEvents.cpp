#include "runtime/DoEvents.h"

#include <utility>

namespace tavric {
namespace {
thread_local std::function<void()> tl_hook;
}

void DoEvents() {
  if (tl_hook) tl_hook();
}

std::function<void()> SetDoEventsHook(std::function<void()> hook) {
  return std::exchange(tl_hook, std::move(hook));
}

}  // namespace tavric
