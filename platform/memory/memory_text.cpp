#include "platform/memory/memory_text.h"

namespace platform::memory::detail {

char16_t FoldChar(char16_t c) {
    if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 0x20);
    if (c < 0x80) return c;
    // Latin-1 small letters, except the division sign; U+00FF has its capital in Latin Extended-A.
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<char16_t>(c - 0x20);
    if (c == 0xFF) return 0x178;
    // Latin Extended-A: capital and small letters alternate.
    if (c >= 0x100 && c <= 0x137 && (c & 1)) return static_cast<char16_t>(c - 1);
    if (c >= 0x139 && c <= 0x148 && !(c & 1)) return static_cast<char16_t>(c - 1);
    if (c >= 0x14A && c <= 0x177 && (c & 1)) return static_cast<char16_t>(c - 1);
    if (c == 0x17A || c == 0x17C || c == 0x17E) return static_cast<char16_t>(c - 1);
    // Greek small letters (final sigma stays distinct, as in the system's table).
    if (c >= 0x3B1 && c <= 0x3C1) return static_cast<char16_t>(c - 0x20);
    if (c >= 0x3C3 && c <= 0x3CB) return static_cast<char16_t>(c - 0x20);
    // Cyrillic.
    if (c >= 0x430 && c <= 0x44F) return static_cast<char16_t>(c - 0x20);
    if (c >= 0x450 && c <= 0x45F) return static_cast<char16_t>(c - 0x50);
    return c;
}

std::u16string Fold(std::u16string_view text) {
    std::u16string out(text);
    for (char16_t& c : out) c = FoldChar(c);
    return out;
}

bool EqualNoCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (FoldChar(a[i]) != FoldChar(b[i])) return false;
    return true;
}

std::vector<std::u16string> SplitKeyPath(std::u16string_view path) {
    std::vector<std::u16string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(u'\\', start);
        if (end == std::u16string_view::npos) end = path.size();
        if (end > start) parts.emplace_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

std::string ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    return out;
}

std::size_t WideLength(const char16_t* text) {
    if (text == nullptr) return 0;
    std::size_t n = 0;
    while (text[n] != 0) ++n;
    return n;
}

std::u16string_view WideView(const char16_t* text) {
    return std::u16string_view(text == nullptr ? u"" : text, WideLength(text));
}

}  // namespace platform::memory::detail
