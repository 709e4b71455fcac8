#include "tools/profile_section.h"

std::vector<std::u16string_view> ProfileSectionLines(const char16_t* buffer, std::size_t count) {
    std::vector<std::u16string_view> lines;
    if (buffer == nullptr) return lines;
    std::u16string_view rest(buffer, count);
    while (!rest.empty()) {
        const std::size_t end = rest.find(u'\0');
        const std::u16string_view line = rest.substr(0, end);
        if (line.empty()) break;
        lines.push_back(line);
        if (end == std::u16string_view::npos) break;
        rest.remove_prefix(end + 1);
    }
    return lines;
}

int MatchProfileKey(std::u16string_view line, const std::vector<std::u16string>& keys,
                    std::u16string_view* value) {
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const std::u16string& key = keys[i];
        if (line.size() > key.size() + 1 && line.substr(0, key.size()) == key &&
            line[key.size()] == u'=') {
            *value = line.substr(key.size() + 1);
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::vector<std::u16string> SplitProfileWords(std::u16string_view value) {
    std::vector<std::u16string> words;
    constexpr std::u16string_view kDelimiters = u" ,";
    std::size_t at = value.find_first_not_of(kDelimiters);
    while (at != std::u16string_view::npos) {
        const std::size_t end = value.find_first_of(kDelimiters, at);
        words.emplace_back(value.substr(at, end - at));
        at = end == std::u16string_view::npos ? end : value.find_first_not_of(kDelimiters, end);
    }
    return words;
}
