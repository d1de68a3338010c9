#include "interface/ProjectState.h"

namespace tavric {

ProjectState& State() {
  thread_local ProjectState state;
  return state;
}

const RunReport& LastRunReport() { return State().run_report; }

}  // namespace tavric
