// Minimal stand-ins of the skinned control classes: they keep the host's drawing resources and
// the skin's name and draw nothing of their own.
#pragma once

#include <cstdint>
#include <string>

class CTalGDIManager;

class CTalBaseCtrl {
  public:
    virtual ~CTalBaseCtrl() = default;

    void SetGDIManager(CTalGDIManager* manager) { gdiManager_ = manager; }
    CTalGDIManager* GetGDIManager() const { return gdiManager_; }
    void SetSkin(const char16_t* name) { skin_ = name ? name : u""; }
    const std::u16string& GetSkin() const { return skin_; }
    // Skin changes are forwarded unchanged; nothing is redrawn here.
    virtual void OnSkinChange() {}

  private:
    CTalGDIManager* gdiManager_ = nullptr;
    std::u16string skin_;
};

class CTalButton : public CTalBaseCtrl {};
class CTalStatic : public CTalBaseCtrl {};

class CTalCheckbox : public CTalBaseCtrl {
  public:
    // 1 for a ticked box. The window's owner copies the control's state in before it goes.
    int GetCheck() const { return check_; }
    void SetCheckState(int check) { check_ = check; }

  private:
    int check_ = 0;
};

// A skinned dialog: its template id and skin.
class CTalDialog : public CTalBaseCtrl {
  public:
    explicit CTalDialog(std::uint32_t templateId) : templateId_(templateId) {}
    std::uint32_t TemplateId() const { return templateId_; }

  private:
    std::uint32_t templateId_;
};
