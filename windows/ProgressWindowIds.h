// ProgressWindowIds: resource numbers of the progress window's dialog
// template and the control identifiers of its controls, one per control of
// the window (arrays of labels take consecutive numbers from their index 0).
// Hosts and tests find the controls of the running window by these numbers.
#pragma once

#define IDD_PROGRESS 100

#define IDC_IMAGE1 1001
#define IDC_LABEL2 1002
#define IDC_LABSTEP 1003

#define IDC_FRAME1 1010
#define IDC_LABEL3 1011
#define IDC_LABEL4 1012
#define IDC_LABEL5 1013
#define IDC_LABEL6 1014
#define IDC_LABEL7 1020 /* 1020..1022: RMS, maximum, minimum */
#define IDC_LABEL8 1030 /* 1030..1036: units, 0..2 errors, 3..6 sphere */

#define IDC_FRAME2 1040
#define IDC_CHSPHERESTABLE 1041
#define IDC_LABEL9 1050  /* 1050..1053: sphere captions */
#define IDC_LABEL10 1060 /* 1060..1063: centre X, Y, Z and radius */

#define IDC_FRAME3 1070
#define IDC_CHMATRIXSTABLE 1071
#define IDC_LABEL11 1080 /* 1080..1088: first-order grid, 3 * (row - 1) + column */

#define IDC_FRAME4 1090
#define IDC_CHGRADSTABLE 1091
#define IDC_FRAME5 1092
#define IDC_CHCONVERGENCE 1093
