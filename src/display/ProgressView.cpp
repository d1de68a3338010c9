#include "tavric/ProgressView.h"

#include <utility>

#include "display/TerminalProgressView.h"

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

namespace {

thread_local std::shared_ptr<ProgressView> tl_installed;
thread_local std::shared_ptr<ProgressView> tl_default;

}  // namespace

void SetProgressView(std::shared_ptr<ProgressView> view) { tl_installed = std::move(view); }

std::shared_ptr<ProgressView> CurrentProgressView() {
  if (tl_installed) return tl_installed;
  if (!tl_default) tl_default = std::make_shared<TerminalProgressView>();
  return tl_default;
}

}  // namespace tavric
