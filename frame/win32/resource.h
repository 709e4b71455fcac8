// Ids of the library's resources: the page, the confirmation and their controls. Dialogs,
// controls and texts share one range of ids.
#pragma once

#define IDD_VISTREL_PAGE 22000
#define IDC_ACTION_BUTTON_1 22007
#define IDC_ACTION_BUTTON_2 22008
#define IDC_ACTION_BUTTON_3 22009
#define IDC_ACTION_BUTTON_4 22010
#define IDC_ACTION_BUTTON_5 22011
#define IDC_DETAILS_EDIT 22032
#define IDC_CATEGORY_TREE 22033
#define IDC_PAGE_TITLE 22101

#define IDD_CONFIRM 22036
#define IDC_CONFIRM_TITLE 22001
#define IDC_CONFIRM_ALWAYS 22035
#define IDC_CONFIRM_MESSAGE 22037

// A DLL's manifest: the loader reads id 2 when the library is loaded.
#define IDR_DLL_MANIFEST 2
