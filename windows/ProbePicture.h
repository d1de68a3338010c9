// ProbePicture: the progress window's picture, drawn in code: a shaded
// reference sphere touched by the ball of a scanning probe's stylus.
#pragma once

#include <windows.h>

namespace tavric::com {

// A new size x size bitmap (the caller deletes it) on `background`.
HBITMAP CreateProbePicture(int size, COLORREF background);

}  // namespace tavric::com
