// Runtime semantics shared by every subsystem.
//
// The library's algorithms rely on a small set of runtime behaviours, each
// implemented once in this folder:
//   - RuntimeError / Raise (include/tavric/RuntimeError.h): numbered errors;
//   - ErrorTrap.h: turning any exception into (number, description) for the
//     result texts of the public operations;
//   - CheckedMath.h: no infinity or NaN leaves an operation (floating-point
//     exception flags, checked square root and powers);
//   - Narrow.h: 8-bit unsigned and 16-bit signed values with range-checked,
//     round-half-to-even conversion and overflow-checked arithmetic;
//   - BoundedArray.h (public): arrays with explicit bounds;
//   - NumberText.h: text <-> number (record form, locale-aware parsing,
//     "#0.00"-style patterns);
//   - TextFile.h: sequential text files (free-format fields, lines, records);
//   - Collections.h: ordered (1-based) and keyed collections;
//   - ObjectRef.h: shared object references, "no object" checks (91);
//   - DoEvents.h: the single "yield to the window-message loop" hook.
#pragma once

#include "runtime/CheckedMath.h"
#include "runtime/Collections.h"
#include "runtime/DoEvents.h"
#include "runtime/ErrorTrap.h"
#include "runtime/Narrow.h"
#include "runtime/NumberText.h"
#include "runtime/ObjectRef.h"
#include "runtime/TextFile.h"
#include "tavric/BoundedArray.h"
#include "tavric/RuntimeError.h"
