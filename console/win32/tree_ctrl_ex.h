// CTreeCtrlEx: the page's tree control with a per-item table of colour and font. The page
// distinguishes nodes only by bold text, so the table stays empty and drawing stays with the
// standard control.
#pragma once

#include <cstdint>
#include <new>
#include <unordered_map>

namespace console::win32 {

struct Color_Font {
    std::uint32_t color = 0;  // COLORREF
    void* font = nullptr;     // HFONT, not owned
};

class CTreeCtrlEx {
  public:
    static constexpr const char16_t* kClassName = u"CTreeCtrlEx";
    static constexpr std::size_t kBuckets = 17;

    // The table's buckets are made when they can be; without them it is merely empty.
    explicit CTreeCtrlEx(void* window) noexcept : window_(window) {
        try {
            colours_.rehash(kBuckets);
        } catch (const std::bad_alloc&) {
        }
    }
    void* Window() const { return window_; }
    std::size_t ColourEntries() const { return colours_.size(); }

  private:
    void* window_;  // HWND of control 22033
    std::unordered_map<void*, Color_Font> colours_;
};

}  // namespace console::win32
