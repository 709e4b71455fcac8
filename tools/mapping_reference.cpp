#include "tools/mapping_reference.h"

namespace {

constexpr std::u16string_view kMarks = u"!@#";

bool HasPrefixNoCase(std::u16string_view text, std::u16string_view upperPrefix) {
    if (text.size() < upperPrefix.size()) return false;
    for (std::size_t i = 0; i < upperPrefix.size(); ++i) {
        char16_t c = text[i];
        if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
        if (c != upperPrefix[i]) return false;
    }
    return true;
}

}  // namespace

MappingReferenceParts SplitMappingReference(std::u16string_view reference) {
    MappingReferenceParts parts;
    reference = reference.substr(0, reference.find(u'\0'));
    const std::size_t start = reference.find_first_not_of(kMarks);
    if (start == std::u16string_view::npos) return parts;
    const std::u16string_view token =
        reference.substr(start).substr(0, reference.substr(start).find_first_of(kMarks));
    parts.token = std::u16string(token);
    parts.root = MappingReferenceRoot::kUnparsed;
    // A prefix with nothing behind it names no key.
    if (token.size() <= 4) return parts;
    if (HasPrefixNoCase(token, u"USR:"))
        parts.root = MappingReferenceRoot::kUser;
    else if (HasPrefixNoCase(token, u"SYS:"))
        parts.root = MappingReferenceRoot::kSystem;
    else
        return parts;
    parts.rest = std::u16string(token.substr(4));
    return parts;
}
