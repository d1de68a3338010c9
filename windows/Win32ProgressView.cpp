#include "Win32ProgressView.h"

#include <algorithm>
#include <cfenv>
#include <utility>

#include "ProbePicture.h"
#include "ProgressWindowIds.h"
#include "ServerModule.h"
#include "WideText.h"
#include "display/TerminalProgressView.h"
#include "runtime/DoEvents.h"

namespace tavric::com {
namespace {

// Posted from the first activation: starts the calibration once the
// activation (and the first paint) are done.
constexpr UINT kStartMessage = WM_APP + 1;
// Starts the calibration should no activation arrive (a desktop that never
// activates windows, for instance).
constexpr UINT_PTR kStartTimer = 1;
constexpr UINT kStartDelayMs = 300;
// A yield handles what is pending, but no more than this many messages.
constexpr int kMaxMessagesPerYield = 10000;

// The corners of the four lines that draw the brackets round the
// first-order grid, in dialog units: each bracket is an upper and a lower
// half (Line1 and Line2 on the left, Line3 and Line4 on the right).
struct Polyline3 {
  POINT points[3];
};
constexpr Polyline3 kLines[4] = {
    {{{180, 78}, {176, 78}, {176, 100}}},    // Line1
    {{{176, 100}, {176, 121}, {180, 121}}},  // Line2
    {{{308, 78}, {312, 78}, {312, 100}}},    // Line3
    {{{312, 100}, {312, 121}, {308, 121}}},  // Line4
};

BOOL CALLBACK CollectThreadWindow(HWND window, LPARAM lparam) {
  auto* windows = reinterpret_cast<std::vector<HWND>*>(lparam);
  windows->push_back(window);
  return TRUE;
}

}  // namespace

Win32ProgressView::~Win32ProgressView() {
  if (window_ != nullptr) {
    EnableThreadWindows();
    Destroy();
  }
}

bool Win32ProgressView::Open(const ProgressWindowContent& content) {
  if (window_ != nullptr) return true;
  HWND window = CreateDialogParamW(Module(), MAKEINTRESOURCEW(IDD_PROGRESS), nullptr,
                                   &Win32ProgressView::DialogProc, reinterpret_cast<LPARAM>(this));
  if (window == nullptr) return false;
  window_ = window;

  // The iteration number in its own, larger size of the window's font.
  HDC dc = GetDC(window_);
  const int dpi = dc != nullptr ? GetDeviceCaps(dc, LOGPIXELSY) : 96;
  if (dc != nullptr) ReleaseDC(window_, dc);
  const std::wstring face = Utf8ToWide(content.FontName);
  large_font_ = CreateFontW(-MulDiv(content.Label3FontSize, dpi, 72), 0, 0, 0, FW_NORMAL, FALSE,
                            FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS,
                            DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS, face.c_str());
  if (large_font_ != nullptr) {
    SendDlgItemMessageW(window_, IDC_LABEL3, WM_SETFONT, reinterpret_cast<WPARAM>(large_font_),
                        FALSE);
  }

  // The picture fills the picture control's square.
  RECT frame{};
  GetClientRect(GetDlgItem(window_, IDC_IMAGE1), &frame);
  const int side = std::min(frame.right - frame.left, frame.bottom - frame.top);
  picture_ = CreateProbePicture(side, GetSysColor(COLOR_BTNFACE));
  if (picture_ != nullptr) {
    SendDlgItemMessageW(window_, IDC_IMAGE1, STM_SETIMAGE, IMAGE_BITMAP,
                        reinterpret_cast<LPARAM>(picture_));
  }

  Apply(content);
  return true;
}

void Win32ProgressView::Destroy() {
  if (window_ != nullptr) {
    HWND window = std::exchange(window_, nullptr);
    DestroyWindow(window);
  }
  if (large_font_ != nullptr) DeleteObject(std::exchange(large_font_, nullptr));
  if (picture_ != nullptr) DeleteObject(std::exchange(picture_, nullptr));
  texts_.clear();
  title_.clear();
}

void Win32ProgressView::SetText(int control, const std::string& text) {
  std::wstring wide = Utf8ToWide(text);
  for (auto& [id, shown] : texts_) {
    if (id == control) {
      if (shown == wide) return;
      SetDlgItemTextW(window_, control, wide.c_str());
      shown = std::move(wide);
      return;
    }
  }
  SetDlgItemTextW(window_, control, wide.c_str());
  texts_.emplace_back(control, std::move(wide));
}

void Win32ProgressView::SetCheck(int control, const ProgressCheckBox& box) {
  SetText(control, box.Caption);
  const UINT state = box.Value != 0 ? BST_CHECKED : BST_UNCHECKED;
  if (IsDlgButtonChecked(window_, control) != state) CheckDlgButton(window_, control, state);
}

void Win32ProgressView::Apply(const ProgressWindowContent& c) {
  if (window_ == nullptr) return;
  std::wstring title = Utf8ToWide(c.Caption);
  if (title != title_) {
    SetWindowTextW(window_, title.c_str());
    title_ = std::move(title);
  }
  SetText(IDC_LABEL2, c.Label2);
  SetText(IDC_LABSTEP, c.LabStep);

  SetText(IDC_FRAME1, c.Frame1);
  SetText(IDC_LABEL3, c.Label3);
  SetText(IDC_LABEL4, c.Label4);
  SetText(IDC_LABEL5, c.Label5);
  SetText(IDC_LABEL6, c.Label6);
  for (int i = 0; i < 3; ++i) SetText(IDC_LABEL7 + i, c.Label7[static_cast<std::size_t>(i)]);
  for (int i = 0; i < 7; ++i) SetText(IDC_LABEL8 + i, c.Label8[static_cast<std::size_t>(i)]);

  SetText(IDC_FRAME2, c.Frame2);
  SetCheck(IDC_CHSPHERESTABLE, c.ChSphereStable);
  for (int i = 0; i < 4; ++i) SetText(IDC_LABEL9 + i, c.Label9[static_cast<std::size_t>(i)]);
  for (int i = 0; i < 4; ++i) SetText(IDC_LABEL10 + i, c.Label10[static_cast<std::size_t>(i)]);

  SetText(IDC_FRAME3, c.Frame3);
  SetCheck(IDC_CHMATRIXSTABLE, c.ChMatrixStable);
  for (int i = 0; i < 9; ++i) SetText(IDC_LABEL11 + i, c.Label11[static_cast<std::size_t>(i)]);

  SetText(IDC_FRAME4, c.Frame4);
  SetCheck(IDC_CHGRADSTABLE, c.ChGradStable);
  SetText(IDC_FRAME5, c.Frame5);
  SetCheck(IDC_CHCONVERGENCE, c.ChConvergence);
}

void Win32ProgressView::Show(const ProgressWindowContent& content) {
  if (!Open(content)) return;
  Apply(content);
  ShowWindow(window_, SW_SHOW);
  UpdateWindow(window_);
  PumpMessages();
}

void Win32ProgressView::Update(const ProgressWindowContent& content) {
  Apply(content);
  PumpMessages();
}

void Win32ProgressView::PumpMessages() {
  // Host code runs in here; the calibration's floating-point state (its
  // fault flags above all) is kept out of its reach.
  std::fenv_t calibration_env;
  std::fegetenv(&calibration_env);
  MSG message;
  for (int n = 0; n < kMaxMessagesPerYield && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
       ++n) {
    if (message.message == WM_QUIT) {
      if (window_ != nullptr) {
        // Kept until the window closes: a pending quit would hide every
        // paint message from the window meanwhile.
        quit_pending_ = true;
        quit_code_ = message.wParam;
      } else {
        PostQuitMessage(static_cast<int>(message.wParam));
      }
      break;
    }
    if (window_ != nullptr && IsDialogMessageW(window_, &message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  std::fesetenv(&calibration_env);
}

void Win32ProgressView::Close() {
  EnableThreadWindows();
  Destroy();
  if (quit_pending_) {
    quit_pending_ = false;
    PostQuitMessage(static_cast<int>(quit_code_));
  }
}

void Win32ProgressView::RunModal(const ProgressWindowContent& content,
                                 const std::function<void()>& on_first_focus) {
  // A calibration started by host code while the window runs one already
  // (from a message handled during a yield) runs in the open window.
  if (on_first_focus_ != nullptr || !Open(content)) {
    on_first_focus();
    return;
  }
  Apply(content);
  on_first_focus_ = &on_first_focus;
  started_ = false;
  finished_ = false;
  failure_ = nullptr;

  DisableThreadWindows();
  // Visible (and painted) before the activation that starts the work.
  ShowWindow(window_, SW_SHOWNORMAL);
  SetForegroundWindow(window_);
  UpdateWindow(window_);
  SetTimer(window_, kStartTimer, kStartDelayMs, nullptr);

  MSG message;
  while (!finished_) {
    const BOOL got = GetMessageW(&message, nullptr, 0, 0);
    if (got == 0 || got == -1) {
      if (got == 0) {
        quit_pending_ = true;
        quit_code_ = message.wParam;
      }
      StartCalibration();
      break;
    }
    if (!IsDialogMessageW(window_, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }

  on_first_focus_ = nullptr;
  Close();
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void Win32ProgressView::StartCalibration() {
  if (started_ || on_first_focus_ == nullptr) return;
  started_ = true;
  if (window_ != nullptr) KillTimer(window_, kStartTimer);
  // The calibration runs inside a window procedure: no exception may cross
  // the system's frames, so it is carried over to RunModal.
  try {
    (*on_first_focus_)();
  } catch (...) {
    failure_ = std::current_exception();
  }
  finished_ = true;
}

void Win32ProgressView::DisableThreadWindows() {
  std::vector<HWND> windows;
  EnumThreadWindows(GetCurrentThreadId(), &CollectThreadWindow, reinterpret_cast<LPARAM>(&windows));
  for (HWND w : windows) {
    if (w != window_ && IsWindowVisible(w) && IsWindowEnabled(w)) {
      EnableWindow(w, FALSE);
      disabled_.push_back(w);
    }
  }
}

void Win32ProgressView::EnableThreadWindows() {
  for (auto it = disabled_.rbegin(); it != disabled_.rend(); ++it) {
    if (IsWindow(*it)) EnableWindow(*it, TRUE);
  }
  disabled_.clear();
}

void Win32ProgressView::DrawBrackets(HDC dc) {
  HPEN pen = CreatePen(PS_SOLID, 1, GetSysColor(COLOR_WINDOWTEXT));
  HGDIOBJ old = SelectObject(dc, pen);
  for (const Polyline3& line : kLines) {
    POINT points[3];
    for (int i = 0; i < 3; ++i) {
      RECT r{line.points[i].x, line.points[i].y, line.points[i].x, line.points[i].y};
      MapDialogRect(window_, &r);
      points[i] = {r.left, r.top};
    }
    Polyline(dc, points, 3);
  }
  SelectObject(dc, old);
  DeleteObject(pen);
}

INT_PTR CALLBACK Win32ProgressView::DialogProc(HWND window, UINT message, WPARAM wparam,
                                               LPARAM lparam) {
  Win32ProgressView* view = nullptr;
  if (message == WM_INITDIALOG) {
    view = reinterpret_cast<Win32ProgressView*>(lparam);
    SetWindowLongPtrW(window, DWLP_USER, reinterpret_cast<LONG_PTR>(view));
    view->window_ = window;
  } else {
    view = reinterpret_cast<Win32ProgressView*>(GetWindowLongPtrW(window, DWLP_USER));
  }
  if (view == nullptr || view->window_ != window) return FALSE;
  return view->HandleMessage(message, wparam, lparam);
}

INT_PTR Win32ProgressView::HandleMessage(UINT message, WPARAM wparam, LPARAM) {
  switch (message) {
    case WM_INITDIALOG:
      return TRUE;
    case WM_ACTIVATE:
      // The first activation while visible starts the calibration (the very
      // first one can arrive while the window is still hidden).
      if (LOWORD(wparam) != WA_INACTIVE && on_first_focus_ != nullptr && !started_ &&
          IsWindowVisible(window_)) {
        KillTimer(window_, kStartTimer);
        PostMessageW(window_, kStartMessage, 0, 0);
      }
      return FALSE;
    case WM_TIMER:
      if (wparam == kStartTimer) {
        KillTimer(window_, kStartTimer);
        if (on_first_focus_ != nullptr && !started_) PostMessageW(window_, kStartMessage, 0, 0);
        return TRUE;
      }
      return FALSE;
    case kStartMessage:
      StartCalibration();
      return TRUE;
    case WM_PAINT: {
      PAINTSTRUCT paint;
      HDC dc = BeginPaint(window_, &paint);
      if (dc != nullptr) {
        DrawBrackets(dc);
        EndPaint(window_, &paint);
      }
      return TRUE;
    }
    case WM_CLOSE:
      return TRUE;  // the window closes when the calibration ends, not before
    case WM_COMMAND:
      return TRUE;  // Enter, Escape and clicks change nothing
    default:
      return FALSE;
  }
}

void UseWindowProgressView() {
  const std::shared_ptr<ProgressView> current = CurrentProgressView();
  if (dynamic_cast<Win32ProgressView*>(current.get()) != nullptr) return;
  // Only the library's default view is replaced; a view the host installed
  // stays.
  if (dynamic_cast<TerminalProgressView*>(current.get()) == nullptr) return;
  SetProgressView(std::make_shared<Win32ProgressView>());
}

HostMessagePump::HostMessagePump() {
  UseWindowProgressView();
  previous_hook_ = SetDoEventsHook([] { CurrentProgressView()->PumpMessages(); });
}

HostMessagePump::~HostMessagePump() { SetDoEventsHook(std::move(previous_hook_)); }

}  // namespace tavric::com
