// TextForControl: where a dialog takes the texts of its controls from.
#pragma once

#include <cstdint>
#include <string>

class TextForControl {
  public:
    // Stores the text of catalogue id id in text.
    virtual void GetText(std::int32_t id, std::u16string& text) = 0;

  protected:
    ~TextForControl() = default;
};
