#include "platform/offline/offline_text.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace platform::offline {
namespace {
char16_t FoldChar(char16_t c) {
    if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 0x20);
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<char16_t>(c - 0x20);
    return c;
}
}  // namespace

std::u16string FromUtf8(std::string_view text) {
    std::u16string out;
    AppendUtf8(text, &out);
    return out;
}

void AppendUtf8(std::string_view text, std::u16string* to) {
    std::u16string& out = *to;
    // Hive names are nearly always ASCII, widened one to one. Both loops run without an
    // early exit, so that the compiler can do them many bytes at a time.
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    unsigned char high = 0;
    for (std::size_t k = 0; k < text.size(); ++k) high |= bytes[k];
    if (high < 0x80) {
        const std::size_t start = out.size();
        out.resize(start + text.size());
        char16_t* const widened = out.data() + start;
        for (std::size_t k = 0; k < text.size(); ++k) widened[k] = bytes[k];
        return;
    }
    out.reserve(out.size() + text.size());
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const int extra = lead < 0x80    ? 0
                          : lead >= 0xF0 ? 3
                          : lead >= 0xE0 ? 2
                          : lead >= 0xC0 ? 1
                                         : -1;
        std::uint32_t cp = extra == 0   ? lead
                           : extra == 1 ? lead & 0x1Fu
                           : extra == 2 ? lead & 0x0Fu
                                        : lead & 0x07u;
        bool ok = extra >= 0 && text.size() - i > static_cast<std::size_t>(extra < 0 ? 0 : extra);
        for (int k = 1; ok && k <= extra; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) ok = false;
            cp = cp << 6 | (next & 0x3Fu);
        }
        if (!ok) {
            out += u'\xFFFD';
            ++i;
            continue;
        }
        i += static_cast<std::size_t>(extra) + 1;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (cp >> 10));
            out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        } else {
            out += static_cast<char16_t>(cp);
        }
    }
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
            out += static_cast<char>(0xC0 | cp >> 6);
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | cp >> 12);
            out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | cp >> 18);
            out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
            out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    return out;
}

std::u16string Fold(std::u16string_view text) {
    std::u16string out(text);
    for (char16_t& c : out) c = FoldChar(c);
    return out;
}

bool EqualNoCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    if (std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0) return true;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && FoldChar(a[i]) != FoldChar(b[i])) return false;
    return true;
}

std::vector<std::u16string> SplitPath(std::u16string_view path, bool slashesToo) {
    std::vector<std::u16string> parts;
    std::u16string piece;
    for (char16_t c : path) {
        if (c == u'\\' || (slashesToo && c == u'/')) {
            if (!piece.empty()) parts.push_back(std::move(piece));
            piece.clear();
        } else {
            piece += c;
        }
    }
    if (!piece.empty()) parts.push_back(std::move(piece));
    return parts;
}

std::u16string_view WideView(const char16_t* text) {
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

}  // namespace platform::offline
