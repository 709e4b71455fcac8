// Names of the skins the page and its dialogs select. Without the skinned drawing library they
// are names only: controls remember them and draw as standard controls.
#pragma once

namespace talskin {

inline constexpr char16_t kSubWindow[] = u"SUBWND";
inline constexpr char16_t kButton[] = u"BTN_DEFAULT";
inline constexpr char16_t kTitleWithLine[] = u"TITLE_WITH_BKLINE";
inline constexpr char16_t kMessageBox[] = u"DLG_MSG_BOX";
inline constexpr char16_t kPopupSmall[] = u"DIALOG_POPUP_SMALL";
inline constexpr char16_t kButtonSmall[] = u"BTN_DEFAULT_SMALL";
inline constexpr char16_t kCheckbox[] = u"DEFAULT_CHKBOX";
inline constexpr char16_t kDefault[] = u"DEFAULT";
inline constexpr char16_t kTitleWhite[] = u"TITLE_WHITE";

}  // namespace talskin
