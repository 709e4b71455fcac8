// Builds VS_VERSIONINFO blocks as resource compilers lay them out: every node is length, value
// length, type, key, padding to 4 bytes, value, padding, children.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct VersionBlockSpec {
    std::array<std::uint16_t, 4> fileVersion{0, 0, 0, 0};
    std::array<std::uint16_t, 4> productVersion{0, 0, 0, 0};
    // Language and code page pairs of "\VarFileInfo\Translation"; none: no VarFileInfo at all.
    std::vector<std::pair<std::uint16_t, std::uint16_t>> translations;
    // The strings of the first translation's table (or of a 040904B0 table without
    // translations), and of the second translation's table.
    std::vector<std::pair<std::u16string, std::u16string>> strings;
    std::vector<std::pair<std::u16string, std::u16string>> secondTableStrings;
};

namespace version_block_detail {

inline void Put16(std::string& out, std::uint16_t v) {
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>(v >> 8));
}
inline void Put32(std::string& out, std::uint32_t v) {
    Put16(out, static_cast<std::uint16_t>(v & 0xFFFF));
    Put16(out, static_cast<std::uint16_t>(v >> 16));
}
inline void Pad(std::string& out) {
    while (out.size() % 4) out.push_back('\0');
}
inline void PutText(std::string& out, const std::u16string& text) {
    for (char16_t c : text) Put16(out, static_cast<std::uint16_t>(c));
    Put16(out, 0);
}

// One node; valueLength is in bytes for binary values and in characters for text values.
inline std::string Node(const std::u16string& key, std::uint16_t type, const std::string& value,
                        std::uint16_t valueLength, const std::vector<std::string>& children) {
    std::string node(6, '\0');
    PutText(node, key);
    Pad(node);
    node += value;
    for (const std::string& child : children) {
        Pad(node);
        node += child;
    }
    const auto length = static_cast<std::uint16_t>(node.size());
    node[0] = static_cast<char>(length & 0xFF);
    node[1] = static_cast<char>(length >> 8);
    node[2] = static_cast<char>(valueLength & 0xFF);
    node[3] = static_cast<char>(valueLength >> 8);
    node[4] = static_cast<char>(type & 0xFF);
    node[5] = static_cast<char>(type >> 8);
    return node;
}

inline std::u16string Hex4(std::uint16_t v) {
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    std::u16string text;
    for (int shift = 12; shift >= 0; shift -= 4) text.push_back(kDigits[(v >> shift) & 0xF]);
    return text;
}

inline std::string Table(std::uint16_t language, std::uint16_t codePage,
                         const std::vector<std::pair<std::u16string, std::u16string>>& strings) {
    std::vector<std::string> children;
    for (const auto& [name, text] : strings) {
        std::string value;
        PutText(value, text);
        children.push_back(Node(name, 1, value, static_cast<std::uint16_t>(text.size() + 1), {}));
    }
    return Node(Hex4(language) + Hex4(codePage), 1, {}, 0, children);
}

}  // namespace version_block_detail

inline std::string BuildVersionBlock(const VersionBlockSpec& spec) {
    using namespace version_block_detail;
    std::string fixed;
    Put32(fixed, 0xFEEF04BDu);
    Put32(fixed, 0x00010000u);
    Put32(fixed, (std::uint32_t{spec.fileVersion[0]} << 16) | spec.fileVersion[1]);
    Put32(fixed, (std::uint32_t{spec.fileVersion[2]} << 16) | spec.fileVersion[3]);
    Put32(fixed, (std::uint32_t{spec.productVersion[0]} << 16) | spec.productVersion[1]);
    Put32(fixed, (std::uint32_t{spec.productVersion[2]} << 16) | spec.productVersion[3]);
    for (int i = 0; i < 7; ++i) Put32(fixed, 0);

    std::vector<std::string> tables;
    const auto first = spec.translations.empty()
                           ? std::make_pair<std::uint16_t, std::uint16_t>(0x0409, 0x04B0)
                           : spec.translations[0];
    tables.push_back(Table(first.first, first.second, spec.strings));
    if (spec.translations.size() > 1)
        tables.push_back(Table(spec.translations[1].first, spec.translations[1].second,
                               spec.secondTableStrings));

    std::vector<std::string> children;
    children.push_back(Node(u"StringFileInfo", 1, {}, 0, tables));
    if (!spec.translations.empty()) {
        std::string pairs;
        for (const auto& [language, codePage] : spec.translations) {
            Put16(pairs, language);
            Put16(pairs, codePage);
        }
        children.push_back(
            Node(u"VarFileInfo", 1, {}, 0,
                 {Node(u"Translation", 0, pairs, static_cast<std::uint16_t>(pairs.size()), {})}));
    }
    return Node(u"VS_VERSION_INFO", 0, fixed, static_cast<std::uint16_t>(fixed.size()), children);
}
