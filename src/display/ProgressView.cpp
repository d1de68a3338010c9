#include "tavric/ProgressView.h"

#include <utility>

#include "display/TerminalProgressView.h"
#include "interface/ProjectState.h"

namespace tavric {

void ProgressView::RunModal(const ProgressWindowContent& content,
                            const std::function<void()>& on_first_focus) {
  // Without a focus event of its own, a view is focused as soon as it is
  // shown; the window closes when the callback is done, however it ends.
  Show(content);
  try {
    on_first_focus();
  } catch (...) {
    Close();
    throw;
  }
  Close();
}

void SetProgressView(std::shared_ptr<ProgressView> view) {
  State().progress_view = std::move(view);
}

std::shared_ptr<ProgressView> CurrentProgressView() {
  ProjectState& s = State();
  if (s.progress_view) return s.progress_view;
  if (!s.default_progress_view) s.default_progress_view = std::make_shared<TerminalProgressView>();
  return s.default_progress_view;
}

}  // namespace tavric
