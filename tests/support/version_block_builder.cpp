#include "tests/support/version_block_builder.h"

namespace testsupport {
namespace {

constexpr std::uint16_t kBinary = 0;
constexpr std::uint16_t kText = 1;

void Put16(std::string& out, std::uint16_t v) {
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>(v >> 8));
}

void Put32(std::string& out, std::uint32_t v) {
    Put16(out, static_cast<std::uint16_t>(v & 0xFFFF));
    Put16(out, static_cast<std::uint16_t>(v >> 16));
}

void PadTo4(std::string& out) {
    while (out.size() % 4 != 0) out.push_back('\0');
}

void PutText(std::string& out, const std::u16string& text) {
    for (char16_t c : text) Put16(out, static_cast<std::uint16_t>(c));
    Put16(out, 0);
}

// valueLength counts characters for text nodes and bytes for binary ones. The node's length
// covers its last child but not the padding after it, as compiled resources have it.
std::string Node(const std::u16string& key, std::uint16_t type, const std::string& value,
                 std::uint16_t valueLength, const std::vector<std::string>& children) {
    std::string node(6, '\0');
    PutText(node, key);
    PadTo4(node);
    node += value;
    for (const std::string& child : children) {
        PadTo4(node);
        node += child;
    }
    std::string header;
    Put16(header, static_cast<std::uint16_t>(node.size()));
    Put16(header, valueLength);
    Put16(header, type);
    node.replace(0, 6, header);
    return node;
}

std::u16string Hex4(std::uint16_t v) {
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    std::u16string text;
    for (int shift = 12; shift >= 0; shift -= 4) text.push_back(kDigits[(v >> shift) & 0xF]);
    return text;
}

std::string StringTable(const VersionStringTable& table) {
    std::vector<std::string> strings;
    for (const auto& [name, text] : table.strings) {
        std::string value;
        PutText(value, text);
        strings.push_back(
            Node(name, kText, value, static_cast<std::uint16_t>(text.size() + 1), {}));
    }
    return Node(Hex4(table.language) + Hex4(table.codePage), kText, {}, 0, strings);
}

std::uint32_t High(const std::array<std::uint16_t, 4>& v) {
    return (static_cast<std::uint32_t>(v[0]) << 16) | v[1];
}
std::uint32_t Low(const std::array<std::uint16_t, 4>& v) {
    return (static_cast<std::uint32_t>(v[2]) << 16) | v[3];
}

}  // namespace

std::string BuildVersionBlock(const VersionBlockContents& contents) {
    std::string fixed;
    // Signature, structure version, versions, flags, system, type; the date stays zero.
    for (std::uint32_t field :
         {0xFEEF04BDu, 0x00010000u, High(contents.fileVersion), Low(contents.fileVersion),
          High(contents.productVersion), Low(contents.productVersion), contents.fileFlagsMask,
          contents.fileFlags, contents.fileOs, contents.fileType, contents.fileSubtype, 0u, 0u})
        Put32(fixed, field);

    std::vector<std::string> sections;
    if (!contents.tables.empty()) {
        std::vector<std::string> tables;
        for (const VersionStringTable& table : contents.tables)
            tables.push_back(StringTable(table));
        sections.push_back(Node(u"StringFileInfo", kText, {}, 0, tables));
    }
    if (contents.withTranslations) {
        std::string pairs;
        for (const auto& [language, codePage] : contents.translations) {
            Put16(pairs, language);
            Put16(pairs, codePage);
        }
        sections.push_back(Node(
            u"VarFileInfo", kText, {}, 0,
            {Node(u"Translation", kBinary, pairs, static_cast<std::uint16_t>(pairs.size()), {})}));
    }
    return Node(u"VS_VERSION_INFO", kBinary, fixed, static_cast<std::uint16_t>(fixed.size()),
                sections);
}

}  // namespace testsupport
