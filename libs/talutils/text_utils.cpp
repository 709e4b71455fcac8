// Wide text helpers shared by every layer.
#include "libs/talutils/text_utils.h"

namespace talutils {

std::string ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::u16string FromUtf8(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        unsigned char b = static_cast<unsigned char>(text[i]);
        char32_t c = 0xFFFD;
        std::size_t len = 1;
        if (b < 0x80) {
            c = b;
        } else if ((b & 0xE0) == 0xC0) {
            len = 2;
            c = b & 0x1F;
        } else if ((b & 0xF0) == 0xE0) {
            len = 3;
            c = b & 0x0F;
        } else if ((b & 0xF8) == 0xF0) {
            len = 4;
            c = b & 0x07;
        } else {
            len = 0;
        }
        bool ok = len > 0 && i + len <= text.size();
        for (std::size_t k = 1; ok && k < len; ++k) {
            unsigned char cb = static_cast<unsigned char>(text[i + k]);
            if ((cb & 0xC0) != 0x80) ok = false;
            c = (c << 6) | (cb & 0x3F);
        }
        if (ok && len > 1) {
            static const char32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
            if (c < kMin[len] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) ok = false;
        }
        if (!ok) {
            out += u'\xFFFD';
            i += 1;
            continue;
        }
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
        i += len;
    }
    return out;
}

char16_t ToUpper(char16_t c) {
    if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 32);
    if (c < 0x80) return c;
    if ((c >= 0xE0 && c <= 0xFE && c != 0xF7)) return static_cast<char16_t>(c - 32);
    if (c == 0xFF) return 0x178;
    if (c >= 0x100 && c <= 0x17F && c != 0x130 && c != 0x131 && c != 0x138 && c != 0x149 &&
        c != 0x17F) {
        bool oddUpper = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
        if (oddUpper) return (c % 2 == 0) ? static_cast<char16_t>(c - 1) : c;
        return (c % 2 == 1) ? static_cast<char16_t>(c - 1) : c;
    }
    if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return static_cast<char16_t>(c - 32);
    if (c >= 0x430 && c <= 0x44F) return static_cast<char16_t>(c - 32);
    if (c >= 0x450 && c <= 0x45F) return static_cast<char16_t>(c - 80);
    return c;
}

char16_t ToLower(char16_t c) {
    if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(c + 32);
    if (c < 0x80) return c;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return static_cast<char16_t>(c + 32);
    if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return static_cast<char16_t>(c + 32);
    if (c >= 0x410 && c <= 0x42F) return static_cast<char16_t>(c + 32);
    if (c >= 0x400 && c <= 0x40F) return static_cast<char16_t>(c + 80);
    return c;
}

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (ToUpper(a[i]) != ToUpper(b[i])) return false;
    return true;
}

bool StartsWithNoCase(std::u16string_view text, std::u16string_view prefix) {
    return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

bool EndsWithNoCase(std::u16string_view text, std::u16string_view suffix) {
    return text.size() >= suffix.size() &&
           EqualsNoCase(text.substr(text.size() - suffix.size()), suffix);
}

std::u16string ToUpperCopy(std::u16string_view text) {
    std::u16string out(text);
    for (auto& c : out) c = ToUpper(c);
    return out;
}

std::size_t Length(const char16_t* text) {
    if (!text) return 0;
    std::size_t n = 0;
    while (text[n]) ++n;
    return n;
}

std::u16string Decimal(long long value) {
    std::string s = std::to_string(value);
    return std::u16string(s.begin(), s.end());
}

int ParseInt(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\n' ||
                               text[i] == u'\r' || text[i] == u'\v' || text[i] == u'\f'))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+')) negative = text[i++] == u'-';
    long long v = 0;
    while (i < text.size() && text[i] >= u'0' && text[i] <= u'9') {
        v = v * 10 + (text[i++] - u'0');
        if (v > 0x80000000LL) v = 0x80000000LL;
    }
    v = negative ? -v : v;
    if (v > 0x7FFFFFFFLL) v = 0x7FFFFFFFLL;
    return static_cast<int>(v);
}

}  // namespace talutils
