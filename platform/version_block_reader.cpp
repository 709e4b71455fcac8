// Walks VS_VERSIONINFO nodes. Each node is: length, value length, type (three 16-bit words), a
// terminated UTF-16 key, padding to 4 bytes, the value (value length counts characters when the
// type is 1, bytes when it is 0), padding to 4 bytes, then child nodes each aligned to 4 bytes.
#include "platform/version_block_reader.h"

namespace platform {
namespace {

constexpr std::uint32_t kHeaderBytes = 6;
constexpr std::uint32_t kFixedInfoBytes = 52;
constexpr std::uint32_t kFixedInfoSignature = 0xFEEF04BDu;

std::uint32_t Align4(std::uint32_t offset) {
    return (offset + 3u) & ~3u;
}

// The block is read byte by byte: a block handed in by a caller need not be aligned.
class BlockView {
  public:
    BlockView(const unsigned char* bytes, std::uint32_t size) : bytes_(bytes), size_(size) {}

    bool Word(std::uint32_t offset, std::uint16_t* value) const {
        if (offset > size_ || size_ - offset < 2) return false;
        *value = static_cast<std::uint16_t>(bytes_[offset] | (bytes_[offset + 1] << 8));
        return true;
    }
    bool Dword(std::uint32_t offset, std::uint32_t* value) const {
        std::uint16_t low = 0;
        std::uint16_t high = 0;
        if (!Word(offset, &low) || !Word(offset + 2, &high)) return false;
        *value = low | (static_cast<std::uint32_t>(high) << 16);
        return true;
    }
    const unsigned char* At(std::uint32_t offset) const { return bytes_ + offset; }

  private:
    const unsigned char* bytes_;
    std::uint32_t size_;
};

// One node, its parts located and checked to lie within its own length.
struct Node {
    std::uint32_t start = 0;
    std::uint32_t end = 0;  // start + length
    std::uint32_t keyStart = 0;
    std::uint32_t keyChars = 0;  // without terminator
    std::uint32_t valueStart = 0;
    std::uint32_t valueBytes = 0;
    std::uint16_t valueLength = 0;  // as stored: characters or bytes
    std::uint32_t childrenStart = 0;
    bool text = false;
};

bool ReadNode(const BlockView& view, std::uint32_t start, std::uint32_t limit, Node* node) {
    std::uint16_t length = 0;
    std::uint16_t valueLength = 0;
    std::uint16_t type = 0;
    if (!view.Word(start, &length) || !view.Word(start + 2, &valueLength) ||
        !view.Word(start + 4, &type)) {
        return false;
    }
    if (length < kHeaderBytes + 2 || length > limit - start || type > 1) return false;
    node->start = start;
    node->end = start + length;
    node->keyStart = start + kHeaderBytes;
    std::uint32_t offset = node->keyStart;
    for (;;) {
        std::uint16_t c = 0;
        if (offset + 2 > node->end || !view.Word(offset, &c)) return false;
        offset += 2;
        if (c == 0) break;
    }
    node->keyChars = (offset - node->keyStart) / 2 - 1;
    node->valueStart = Align4(offset);
    node->valueLength = valueLength;
    node->text = type == 1;
    node->valueBytes = node->text ? 2u * valueLength : valueLength;
    if (node->valueStart > node->end || node->valueBytes > node->end - node->valueStart) {
        // An empty value may sit exactly at the node's end even when the padding is missing.
        if (!(node->valueBytes == 0 && node->valueStart >= node->end)) return false;
        node->valueStart = node->end;
    }
    node->childrenStart = Align4(node->valueStart + node->valueBytes);
    return true;
}

char16_t FoldCase(char16_t c) {
    return c >= u'A' && c <= u'Z' ? c - u'A' + u'a' : c;
}

bool KeyIs(const BlockView& view, const Node& node, const char16_t* name, std::uint32_t chars) {
    if (node.keyChars != chars) return false;
    for (std::uint32_t i = 0; i < chars; ++i) {
        std::uint16_t c = 0;
        view.Word(node.keyStart + 2 * i, &c);
        if (FoldCase(static_cast<char16_t>(c)) != FoldCase(name[i])) return false;
    }
    return true;
}

bool FindChild(const BlockView& view, const Node& parent, const char16_t* name, std::uint32_t chars,
               Node* found) {
    std::uint32_t offset = parent.childrenStart;
    while (offset < parent.end) {
        Node child;
        if (!ReadNode(view, offset, parent.end, &child)) return false;
        if (KeyIs(view, child, name, chars)) {
            *found = child;
            return true;
        }
        offset = Align4(child.end);
    }
    return false;
}

}  // namespace

bool QueryVersionBlock(const void* block, std::uint32_t blockBytes, const char16_t* subBlock,
                       const void** buffer, std::uint32_t* length) {
    if (block == nullptr || subBlock == nullptr) return false;
    BlockView view(static_cast<const unsigned char*>(block), blockBytes);
    Node node;
    if (!ReadNode(view, 0, blockBytes, &node)) return false;
    const bool root = [subBlock] {
        for (const char16_t* p = subBlock; *p != 0; ++p) {
            if (*p != u'\\') return false;
        }
        return true;
    }();
    const char16_t* rest = subBlock;
    int depth = 0;
    bool underStrings = false;
    while (*rest != 0) {
        if (*rest == u'\\') {
            ++rest;
            continue;
        }
        const char16_t* next = rest;
        while (*next != 0 && *next != u'\\') ++next;
        Node child;
        if (!FindChild(view, node, rest, static_cast<std::uint32_t>(next - rest), &child)) {
            return false;
        }
        if (depth == 0) {
            static constexpr char16_t kStrings[] = u"StringFileInfo";
            underStrings = KeyIs(view, child, kStrings, sizeof(kStrings) / 2 - 1);
        }
        ++depth;
        node = child;
        rest = next;
    }
    // Callers read a string's length as characters, so a string that isn't stored as text
    // would send them past the node.
    if (underStrings && depth == 3 && !node.text) return false;
    if (root && node.valueBytes != 0) {
        std::uint32_t signature = 0;
        if (node.valueBytes < kFixedInfoBytes || !view.Dword(node.valueStart, &signature) ||
            signature != kFixedInfoSignature) {
            return false;
        }
    }
    *buffer = view.At(node.valueStart);
    *length = node.valueLength;
    return true;
}

bool QueryVersionBlock(const void* block, const char16_t* subBlock, const void** buffer,
                       std::uint32_t* length) {
    if (block == nullptr) return false;
    const auto* bytes = static_cast<const unsigned char*>(block);
    const std::uint32_t claimed = bytes[0] | (static_cast<std::uint32_t>(bytes[1]) << 8);
    return QueryVersionBlock(block, claimed, subBlock, buffer, length);
}

}  // namespace platform
