// Resource numbers shared by app.rc and the code.
#pragma once

#define IDI_ABLAGIX 1
#define IDD_INPUT 100
#define IDC_INPUT_PROMPT 101
#define IDC_INPUT_TEXT 102
#define IDD_RECENT_FOLDERS 110
#define IDC_RECENT_LIST 111
#define IDC_RECENT_ADD 112
#define IDD_SHRED_WAIT 120
#define IDC_SHRED_TEXT 121
#define IDC_SHRED_PROGRESS 122
#define IDC_SHRED_CLOSE 123
#define IDC_SHRED_ABORT 124
