#include "tavric/HeadlessProgressView.h"

namespace tavric {

void HeadlessProgressView::Show(const ProgressWindowContent& content) {
  shown_ = true;
  ++show_count_;
  Record(Call::kShow, &content);
}

void HeadlessProgressView::Update(const ProgressWindowContent& content) {
  ++update_count_;
  Record(Call::kUpdate, &content);
}

void HeadlessProgressView::PumpMessages() {
  ++pump_count_;
  Record(Call::kPumpMessages, nullptr);
}

void HeadlessProgressView::Close() {
  shown_ = false;
  ++close_count_;
  Record(Call::kClose, nullptr);
}

const ProgressWindowContent& HeadlessProgressView::Last() const noexcept {
  return contents_.empty() ? designed_ : contents_.back();
}

void HeadlessProgressView::Clear() {
  contents_.clear();
  calls_.clear();
  show_count_ = update_count_ = pump_count_ = close_count_ = 0;
}

void HeadlessProgressView::Record(Call call, const ProgressWindowContent* content) {
  calls_.push_back(call);
  if (content != nullptr) contents_.push_back(*content);
}

}  // namespace tavric
