#include "tools/value_lists.h"

#include <algorithm>
#include <cstring>

namespace {

// The whole characters of the data, copied so that an unaligned or odd-sized buffer is never
// read as char16_t in place.
std::u16string WholeCharacters(const void* data, std::size_t dataBytes) {
    if (data == nullptr) return {};
    std::u16string text(dataBytes / 2, u'\0');
    std::memcpy(text.data(), data, text.size() * 2);
    return text;
}

}  // namespace

std::vector<ValueListToken> SplitValueList(const void* data, std::size_t dataBytes,
                                           std::u16string_view delimiters) {
    std::vector<ValueListToken> tokens;
    std::u16string text = WholeCharacters(data, dataBytes);
    if (const std::size_t nul = text.find(u'\0'); nul != std::u16string::npos) text.resize(nul);
    const std::u16string_view view(text);
    std::size_t at = view.find_first_not_of(delimiters);
    while (at != std::u16string_view::npos) {
        const std::size_t end = std::min(view.find_first_of(delimiters, at), view.size());
        const std::size_t next = view.find_first_not_of(delimiters, end);
        const std::size_t separatorEnd = next == std::u16string_view::npos ? view.size() : next;
        tokens.push_back({std::u16string(view.substr(at, end - at)),
                          std::u16string(view.substr(end, separatorEnd - end))});
        at = next;
    }
    return tokens;
}

std::vector<std::u16string> SplitMultiString(const void* data, std::size_t dataBytes) {
    std::vector<std::u16string> strings;
    const std::u16string text = WholeCharacters(data, dataBytes);
    std::size_t at = 0;
    while (at < text.size() && text[at] != u'\0') {
        const std::size_t end = std::min(text.find(u'\0', at), text.size());
        strings.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return strings;
}
