// HeadlessProgressView: a progress view that shows nothing and records every
// call, for hosts without a display and for tests.
//
// Each content handed to Show or Update is kept in order, together with a log
// of the calls. Clear() forgets what was recorded (for long batch runs).
#pragma once

#include <cstddef>
#include <vector>

#include "tavric/ProgressView.h"

namespace tavric {

class HeadlessProgressView : public ProgressView {
 public:
  enum class Call { kShow, kUpdate, kPumpMessages, kClose };

  void Show(const ProgressWindowContent& content) override;
  void Update(const ProgressWindowContent& content) override;
  void PumpMessages() override;
  void Close() override;

  // Number of calls of each kind.
  int ShowCount() const noexcept { return show_count_; }
  int UpdateCount() const noexcept { return update_count_; }
  int PumpCount() const noexcept { return pump_count_; }
  int CloseCount() const noexcept { return close_count_; }
  // Shown and not yet closed.
  bool IsShown() const noexcept { return shown_; }

  // Every content given to Show or Update, oldest first.
  const std::vector<ProgressWindowContent>& Contents() const noexcept { return contents_; }
  // The newest content given (the designed window when none was given).
  const ProgressWindowContent& Last() const noexcept;
  // Every call, oldest first.
  const std::vector<Call>& Calls() const noexcept { return calls_; }

  // Forgets the recorded contents, calls and counts (the shown state stays).
  void Clear();

 private:
  void Record(Call call, const ProgressWindowContent* content);

  std::vector<ProgressWindowContent> contents_;
  std::vector<Call> calls_;
  ProgressWindowContent designed_;
  int show_count_ = 0;
  int update_count_ = 0;
  int pump_count_ = 0;
  int close_count_ = 0;
  bool shown_ = false;
};

}  // namespace tavric
