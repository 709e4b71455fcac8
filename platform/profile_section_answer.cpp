#include "platform/profile_section_answer.h"

namespace platform {
namespace {

// Upper case of the characters INI section names use (ASCII and Latin-1).
char16_t Fold(char16_t c) {
    if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 0x20);
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<char16_t>(c - 0x20);
    return c;
}

bool EqualNoCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (Fold(a[i]) != Fold(b[i])) return false;
    return true;
}

constexpr std::u16string_view kIniBlanks = u" \t\r";

std::u16string_view Trim(std::u16string_view text) {
    const std::size_t start = text.find_first_not_of(kIniBlanks);
    if (start == std::u16string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(kIniBlanks) - start + 1);
}

// ANSI files byte for byte (the tests keep to ASCII); a UTF-16 file announces itself by its BOM.
std::u16string Decode(const std::string& bytes) {
    std::u16string text;
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        for (std::size_t at = 2; at + 1 < bytes.size(); at += 2)
            text.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[at]) |
                                                 static_cast<unsigned char>(bytes[at + 1]) << 8));
        return text;
    }
    for (char c : bytes) text.push_back(static_cast<unsigned char>(c));
    return text;
}

// The section's lines, each closed by a NUL; false when the section isn't there.
bool SectionContent(std::u16string_view text, std::u16string_view section, std::u16string* out) {
    bool inSection = false, found = false;
    while (!text.empty()) {
        const std::size_t end = text.find(u'\n');
        const std::u16string_view line = Trim(text.substr(0, end));
        text = end == std::u16string_view::npos ? std::u16string_view() : text.substr(end + 1);
        if (!line.empty() && line[0] == u'[') {
            if (found) break;  // only the first section of that name counts
            const std::u16string_view name = Trim(line.substr(1, line.find(u']') - 1));
            inSection = found = EqualNoCase(name, section);
            continue;
        }
        if (!inSection || line.empty() || line[0] == u';') continue;
        const std::size_t equals = line.find(u'=');
        if (equals == std::u16string_view::npos) {
            out->append(line);
        } else {
            out->append(Trim(line.substr(0, equals)));
            out->push_back(u'=');
            out->append(Trim(line.substr(equals + 1)));
        }
        out->push_back(u'\0');
    }
    return found;
}

}  // namespace

std::uint32_t AnswerProfileSection(const std::string* fileBytes, std::u16string_view section,
                                   char16_t* buffer, std::uint32_t chars) {
    if (buffer == nullptr || chars == 0) return 0;
    std::u16string content;
    if (fileBytes == nullptr || !SectionContent(Decode(*fileBytes), section, &content))
        content.clear();
    buffer[0] = u'\0';
    if (chars < 2) return 0;
    buffer[1] = u'\0';
    const bool cut = content.size() + 1 > chars;
    if (cut) {
        // Lines that don't fit are cut to chars - 2 characters and closed by two NULs.
        content.resize(chars - 2);
        content.push_back(u'\0');
    }
    content.copy(buffer, content.size());
    buffer[content.size()] = u'\0';
    return cut ? chars - 2 : static_cast<std::uint32_t>(content.size());
}

}  // namespace platform
