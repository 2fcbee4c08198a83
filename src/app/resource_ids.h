// Resource numbers shared by app.rc and the code. The dialogs and the controls the program's
// documentation names carry those names: Saveas (the recently used folders), SchredderWait.
#pragma once

#define IDI_ABLAGIX 1
#define IDD_INPUT 100
#define IDC_INPUT_PROMPT 101
#define IDC_INPUT_TEXT 102
#define IDD_SAVEAS 110
#define IDC_EXPLORERLISTVIEW1 111
#define IDC_COMMANDBUTTON2 112  // "Ordner hinzufügen..."
#define IDC_COMMANDBUTTON1 113  // closes without a choice
#define IDD_SCHREDDERWAIT 120
#define IDC_SHRED_TEXT 121
#define IDC_SHRED_PROGRESS 122
#define IDC_COMMAND1 123  // "Schließen": hides the window
#define IDC_COMMAND2 124  // "Abbrechen": stops the shredding
