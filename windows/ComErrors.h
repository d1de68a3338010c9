// ComErrors: how the library's run-time errors reach an automation client.
//
// An error number n becomes the HRESULT MAKE_HRESULT(SEVERITY_ERROR,
// FACILITY_CONTROL, n), 0x800A0000 + n (so "Overflow", 6, is 0x800A0006),
// the form automation controllers translate back into the error number. The
// error's description goes into the thread's error information (IErrorInfo,
// source "Tavric.ClsProbeCalibration"), which controllers show as the
// message; through IDispatch::Invoke it arrives as DISP_E_EXCEPTION with an
// EXCEPINFO holding the same HRESULT and description.
#pragma once

#include <windows.h>

#include <string>

namespace tavric::com {

HRESULT ErrorHResult(int number) noexcept;

// Sets the thread's error information for the interface and returns `hr`.
HRESULT ReportError(HRESULT hr, const std::string& description) noexcept;
// The same for a run-time error number and its description.
HRESULT ReportRuntimeError(int number, const std::string& description) noexcept;
// Inside a catch block: reports the exception being handled (a RuntimeError
// keeps its number; running out of memory is 7, anything else 51).
HRESULT ReportCurrentException() noexcept;
// Clears the thread's error information at the start of a call.
void ClearErrorInfo() noexcept;

}  // namespace tavric::com
