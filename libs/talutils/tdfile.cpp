// The language file reader. The file is read whole at open and kept as decoded lines.
//
// Syntax, as Windows' profile functions read an INI file:
// - "[Name]" starts a section; a line that starts with '[' but has no ']' is malformed and ends
//   the section before it, so that what follows can't be taken for its keys.
// - "KEY=text": the key is trimmed of blanks; the text is everything after the first '=', with
//   surrounding blanks trimmed and then one pair of enclosing double quotes removed (so that a
//   text may keep leading or trailing blanks by quoting them). A trailing CR is dropped.
// - Lines that start with ';', empty lines, lines without '=', lines with an empty key and lines
//   before the first section are skipped.
// - Sections and keys match without regard to case; of duplicate keys the first one wins.
#include "libs/talutils/tdfile.h"

#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "libs/talutils/text_utils.h"
#include "platform/machine.h"

namespace {

constexpr std::size_t kMaxValueLength = 1023;  // the callers' buffers hold 1024 characters

struct Entry {
    std::u16string key;
    std::u16string value;
};

struct Section {
    std::u16string name;
    std::vector<Entry> entries;
};

bool IsBlank(char16_t c) {
    return c == u' ' || c == u'\t';
}

std::u16string_view Trim(std::u16string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::u16string Decode(const std::string& bytes) {
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        std::u16string text;
        text.reserve(bytes.size() / 2);
        // An odd last byte is a torn character: it is dropped.
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                          (static_cast<unsigned char>(bytes[i + 1]) << 8));
        return text;
    }
    std::string_view utf8(bytes);
    if (utf8.size() >= 3 && utf8.substr(0, 3) == "\xEF\xBB\xBF") utf8.remove_prefix(3);
    return talutils::FromUtf8(utf8);
}

}  // namespace

struct _TDFILE {
    std::vector<Section> sections;
};

namespace {

void Parse(std::u16string_view text, _TDFILE& file) {
    Section* current = nullptr;
    while (!text.empty()) {
        const std::size_t end = text.find(u'\n');
        std::u16string_view line = text.substr(0, end);
        text.remove_prefix(end == std::u16string_view::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == u'\r') line.remove_suffix(1);
        line = Trim(line);
        if (line.empty() || line.front() == u';') continue;
        if (line.front() == u'[') {
            const std::size_t close = line.find(u']');
            if (close == std::u16string_view::npos) {
                current = nullptr;
                continue;
            }
            file.sections.push_back({std::u16string(Trim(line.substr(1, close - 1))), {}});
            current = &file.sections.back();
            continue;
        }
        const std::size_t equals = line.find(u'=');
        if (current == nullptr || equals == std::u16string_view::npos) continue;
        const std::u16string_view key = Trim(line.substr(0, equals));
        if (key.empty()) continue;
        std::u16string_view value = Trim(line.substr(equals + 1));
        if (value.size() >= 2 && value.front() == u'"' && value.back() == u'"')
            value = value.substr(1, value.size() - 2);
        current->entries.push_back({std::u16string(key), std::u16string(value)});
    }
}

const std::u16string* Find(const _TDFILE& file, std::u16string_view section,
                           std::u16string_view key) {
    for (const Section& s : file.sections) {
        if (!talutils::EqualsNoCase(s.name, section)) continue;
        for (const Entry& e : s.entries)
            if (talutils::EqualsNoCase(e.key, key)) return &e.value;
    }
    return nullptr;
}

}  // namespace

_TDFILE* load_tdfile(const char16_t* path) {
    if (path == nullptr || *path == u'\0') return nullptr;
    std::string bytes;
    if (platform::machine().files().ReadAll(path, &bytes) != platform::kErrorSuccess)
        return nullptr;
    auto* file = new (std::nothrow) _TDFILE;
    if (file == nullptr) return nullptr;
    Parse(Decode(bytes), *file);
    return file;
}

int get_value(_TDFILE* file, const char16_t* section, const char16_t* key, void* out,
              const char16_t* format, int count) {
    if (file == nullptr || section == nullptr || key == nullptr || out == nullptr ||
        format == nullptr || count < 1)
        return 0;
    const std::u16string* value = Find(*file, talutils::View(section), talutils::View(key));
    if (value == nullptr) return 0;
    const std::u16string_view kind = talutils::View(format);
    if (kind == u"%s") {
        std::size_t length = value->size() < kMaxValueLength ? value->size() : kMaxValueLength;
        // A cut between the halves of a surrogate pair would leave half a character.
        if (length < value->size() && length > 0 && (*value)[length - 1] >= 0xD800 &&
            (*value)[length - 1] <= 0xDBFF)
            --length;
        auto* text = static_cast<char16_t*>(out);
        value->copy(text, length);
        text[length] = u'\0';
        return 1;
    }
    if (kind == u"%d") {
        *static_cast<int*>(out) = talutils::ParseInt(*value);
        return 1;
    }
    return 0;
}

void close_tdfile(_TDFILE* file) {
    delete file;
}
