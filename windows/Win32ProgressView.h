// Win32ProgressView: the progress window as a real Win32 window.
//
// The window is the dialog template IDD_PROGRESS of the DLL's resources
// (ProgressWindowIds.h names its controls): title, frames, labels, check
// boxes, the brackets round the first-order grid and a picture of a probe
// touching a reference sphere. Every text comes from the display content.
//
// RunModal shows the window as a modal window of the calling thread (the
// thread's other top-level windows are disabled meanwhile), and runs the
// calibration from the window's first activation, once it is visible. The
// calibration's updates set the control texts and check boxes and then let
// pending messages through (PeekMessage/DispatchMessage), so the window
// repaints and the host's windows stay alive while the calculation runs on
// this thread. When the calibration returns, the window closes.
//
// Where no window can be created (no desktop), the view falls back to running
// the calibration without a window. The user cannot close the window or
// change its check boxes; a WM_QUIT met while it runs is put back into the
// queue once the window is closed.
#pragma once

#include <windows.h>

#include <array>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tavric/ProgressView.h"

namespace tavric::com {

class Win32ProgressView : public ProgressView {
 public:
  Win32ProgressView() = default;
  ~Win32ProgressView() override;
  Win32ProgressView(const Win32ProgressView&) = delete;
  Win32ProgressView& operator=(const Win32ProgressView&) = delete;

  void Show(const ProgressWindowContent& content) override;
  void Update(const ProgressWindowContent& content) override;
  void PumpMessages() override;
  void Close() override;
  void RunModal(const ProgressWindowContent& content,
                const std::function<void()>& on_first_focus) override;

  // The window while it is open (null otherwise).
  HWND Window() const noexcept { return window_; }

 private:
  static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  INT_PTR HandleMessage(UINT message, WPARAM wparam, LPARAM lparam);

  bool Open(const ProgressWindowContent& content);
  void Destroy();
  void Apply(const ProgressWindowContent& content);
  void SetText(int control, const std::string& text);
  void SetCheck(int control, const ProgressCheckBox& box);
  void DrawBrackets(HDC dc);
  void StartCalibration();
  void DisableThreadWindows();
  void EnableThreadWindows();

  HWND window_ = nullptr;
  HFONT large_font_ = nullptr;
  HBITMAP picture_ = nullptr;
  // Texts and check states last given to each control, to set only changes.
  std::vector<std::pair<int, std::wstring>> texts_;
  std::wstring title_;

  // Modal display.
  const std::function<void()>* on_first_focus_ = nullptr;
  bool started_ = false;
  bool finished_ = false;
  std::exception_ptr failure_;
  std::vector<HWND> disabled_;
  bool quit_pending_ = false;
  WPARAM quit_code_ = 0;
};

// Installs a Win32ProgressView for the calling thread unless a view other
// than the library's default terminal view is installed there already.
void UseWindowProgressView();

// For the length of one calibration call on this thread, the host's
// messages keep flowing, as the host runtime's DoEvents lets them: the
// thread's progress view is the Win32 one (UseWindowProgressView), whose
// every update pumps the thread's messages whether or not the window is
// shown, and DoEvents (the long loops of the sphere fit) pumps them through
// that view too. The previous DoEvents hook is back in place afterwards.
class HostMessagePump {
 public:
  HostMessagePump();
  ~HostMessagePump();
  HostMessagePump(const HostMessagePump&) = delete;
  HostMessagePump& operator=(const HostMessagePump&) = delete;

 private:
  std::function<void()> previous_hook_;
};

}  // namespace tavric::com
