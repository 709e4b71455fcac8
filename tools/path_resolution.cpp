#include "tools/path_resolution.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "frame/module_objects.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"

namespace {

struct PrefixRow {
    std::u16string prefix;
    std::u16string replacement;
};

std::vector<PrefixRow> s_prefixes;
std::vector<std::u16string> s_extensions;
std::vector<std::u16string> s_searchFolders;

constexpr std::uint32_t kExpandChars = 4096;
constexpr std::size_t kSplitPartChars = 260;
constexpr std::size_t kLongestName = 255;

const std::vector<PrefixRow>& Prefixes() {
    if (s_prefixes.empty()) {
        s_prefixes = {
            {u"\\SystemRoot", u"%WINDIR%"},
            {u"SystemRoot", u"%WINDIR%"},
            {u"\\\\?\\", u""},
            {u"\\?\\", u""},
            {u"\\??\\", u""},
            {u"file://", u""},
            {u":", u""},
        };
    }
    return s_prefixes;
}

const std::vector<std::u16string>& Extensions() {
    if (s_extensions.empty()) s_extensions = {u".exe", u".com", u".bat"};
    return s_extensions;
}

bool LookUpFile(const std::u16string& path) {
    platform::FindData data;
    platform::UniqueFind find(platform::machine().files().FindFirst(path.c_str(), &data));
    if (!find) return false;
    return (data.attributes & platform::kFileAttributeDirectory) == 0;
}

// No Windows volume holds a name of more than 255 characters, so a path whose last part is
// longer, without the trailing blanks and dots that Win32 drops, names no file. A part with a
// wildcard or a colon (a stream) is asked about all the same: a pattern may match shorter names.
bool NamesNoFile(std::u16string_view path) {
    std::size_t end = path.size();
    while (end > 0 && (path[end - 1] == u' ' || path[end - 1] == u'.')) --end;
    std::size_t length = 0;
    for (std::size_t i = end; i > 0; --i) {
        switch (path[i - 1]) {
            case u'\\':
            case u'/':
                return length > kLongestName;
            case u'*':
            case u'?':
            case u'<':
            case u'>':
            case u'"':
            case u':':
                return false;
            default:
                ++length;
        }
    }
    return length > kLongestName;
}

// The answers of one candidate's resolution. Its steps ask about the same path more than once
// (as given and expanded when nothing was expanded, a folder that PATH names again), and each
// question is a directory search on Windows, made for each of the hundreds of candidates that a
// text with many blanks gives. Distinct candidates never share a question in practice, so the
// answers are dropped with the candidate and the memory stays small. A name too long for any
// volume is answered without asking: with many blanks most candidates are such names.
class LookupMemo {
  public:
    bool IsFile(const std::u16string& path) {
        if (NamesNoFile(path)) return false;
        // Candidates share their beginning and differ at the end: compared from there.
        for (const auto& [asked, answer] : answers_)
            if (asked.size() == path.size() &&
                std::equal(asked.rbegin(), asked.rend(), path.rbegin()))
                return answer;
        const bool answer = LookUpFile(path);
        answers_.emplace_back(path, answer);
        return answer;
    }

  private:
    std::vector<std::pair<std::u16string, bool>> answers_;
};

thread_local LookupMemo* t_memo = nullptr;

// Installs a memo for one candidate unless one is there (or answers are not to be kept).
class MemoScope {
  public:
    explicit MemoScope(bool remember) : installed_(remember && t_memo == nullptr) {
        if (installed_) t_memo = &memo_;
    }
    ~MemoScope() {
        if (installed_) t_memo = nullptr;
    }
    MemoScope(const MemoScope&) = delete;
    MemoScope& operator=(const MemoScope&) = delete;

  private:
    LookupMemo memo_;
    bool installed_;
};

// The only test of existence: an entry that FindFirst finds and that isn't a folder.
bool IsFile(const std::u16string& path) {
    return t_memo ? t_memo->IsFile(path) : LookUpFile(path);
}

// ExpandEnvironmentStringsW into 4096 characters, or into exactly what a longer text needs.
bool ExpandVariables(const std::u16string& text, std::u16string& out) {
    platform::Environment& environment = platform::machine().environment();
    std::unique_ptr<char16_t[]> buffer(new (std::nothrow) char16_t[kExpandChars]);
    if (!buffer) return false;
    std::uint32_t capacity = kExpandChars;
    std::uint32_t need = environment.ExpandStrings(text.c_str(), buffer.get(), capacity);
    if (need == 0) return false;
    if (need > capacity) {
        buffer.reset(new (std::nothrow) char16_t[need]);
        if (!buffer) return false;
        capacity = need;
        need = environment.ExpandStrings(text.c_str(), buffer.get(), capacity);
        if (need == 0 || need > capacity) return false;
    }
    std::u16string_view expanded(buffer.get(), need);
    std::size_t end = expanded.find(u'\0');
    out.assign(expanded.substr(0, end));
    return true;
}

std::u16string WithBackslash(std::u16string folder) {
    if (folder.empty() || folder.back() != u'\\') folder.push_back(u'\\');
    return folder;
}

// The folder's text without trailing backslash, or false when either shell step failed.
bool SpecialFolderText(int csidl, std::u16string& text) {
    platform::SpecialFolder folder = platform::machine().shell().GetSpecialFolder(csidl);
    if (folder.locationResult < 0) {
        g_trace.Trace(u"[vistrel] [error] SHGetSpecialFolderLocation_: %#X",
                      static_cast<unsigned>(folder.locationResult));
        return false;
    }
    if (!folder.pathFound) {
        g_trace.Trace(u"[vistrel] [error] SHGetPathFromIDList_ failed");
        return false;
    }
    text = folder.path;
    return true;
}

void BuildSearchFolders(std::vector<std::u16string>& folders) {
    std::u16string windows;
    if (SpecialFolderText(platform::kCsidlWindows, windows))
        folders.push_back(WithBackslash(windows));

    std::u16string system;
    if (SpecialFolderText(platform::kCsidlSystem, system)) {
        folders.push_back(WithBackslash(system));
        // Only the first "32" counts: the 16-bit folder exists beside system32 alone.
        std::size_t at = system.find(u"32");
        if (at != std::u16string::npos && at + 2 == system.size())
            folders.push_back(WithBackslash(system.substr(0, at)));
    }

    // An unset PATH comes back from the expansion as written: there are no folders in it then.
    std::u16string path;
    if (!ExpandVariables(u"%PATH%", path) || path == u"%PATH%") return;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(u';', start);
        if (end == std::u16string::npos) end = path.size();
        std::u16string piece = path.substr(start, end - start);
        if (piece.size() >= 2) folders.push_back(WithBackslash(std::move(piece)));
        start = end + 1;
    }
}

}  // namespace

bool SplitPath(std::u16string_view path, PathParts& parts) {
    parts = PathParts();
    std::u16string_view rest = path;
    PathParts result;
    if (rest.size() >= 2 && rest[1] == u':') {
        result.drive.assign(rest.substr(0, 2));
        rest.remove_prefix(2);
    }
    std::size_t slash = rest.find_last_of(u"\\/");
    if (slash != std::u16string_view::npos) {
        result.dir.assign(rest.substr(0, slash + 1));
        rest.remove_prefix(slash + 1);
    }
    std::size_t dot = rest.rfind(u'.');
    if (dot != std::u16string_view::npos) {
        result.ext.assign(rest.substr(dot));
        rest = rest.substr(0, dot);
    }
    result.fname.assign(rest);
    for (const std::u16string* part : {&result.drive, &result.dir, &result.fname, &result.ext})
        if (part->size() >= kSplitPartChars) return false;
    parts = std::move(result);
    return true;
}

const std::vector<std::u16string>& PathSearchFolders() {
    if (s_searchFolders.empty()) BuildSearchFolders(s_searchFolders);
    return s_searchFolders;
}

void ResetPathResolutionTables() {
    s_prefixes.clear();
    s_extensions.clear();
    s_searchFolders.clear();
}

bool TryExecutableExtensions(std::u16string_view path, std::u16string& out) {
    for (const std::u16string& extension : Extensions()) {
        std::u16string candidate(path);
        candidate += extension;
        if (IsFile(candidate)) {
            out = std::move(candidate);
            return true;
        }
    }
    out.assign(path);
    return false;
}

bool FindOnSearchPath(std::u16string_view name, std::u16string& out) {
    for (const std::u16string& folder : PathSearchFolders()) {
        std::u16string joined = folder;
        joined += name;
        if (IsFile(joined)) {
            out = std::move(joined);
            return true;
        }
        if (TryExecutableExtensions(joined, out)) return true;
    }
    out.assign(name);
    return false;
}

bool LocateFile(std::u16string_view candidate, std::u16string& out) {
    PathParts parts;
    SplitPath(candidate, parts);
    if (parts.drive.empty()) return FindOnSearchPath(candidate, out);
    return TryExecutableExtensions(candidate, out);
}

bool NormalizePathPrefix(std::u16string_view text, std::u16string& out) {
    for (const PrefixRow& row : Prefixes()) {
        if (talutils::StartsWithNoCase(text, row.prefix)) {
            std::u16string result = row.replacement;
            result += text.substr(row.prefix.size());
            out = std::move(result);
            return true;
        }
    }
    out.assign(text);
    return true;
}

bool ResolveFilePath(std::u16string_view candidate, std::u16string& out, bool rememberAnswers) {
    MemoScope memo(rememberAnswers);
    std::u16string asGiven(candidate);
    if (IsFile(asGiven)) {
        out = std::move(asGiven);
        return true;
    }
    std::u16string normalized;
    NormalizePathPrefix(asGiven, normalized);
    std::u16string expanded;
    if (!ExpandVariables(normalized, expanded)) expanded = normalized;
    if (IsFile(expanded)) {
        out = std::move(expanded);
        return true;
    }
    // Every path that the search makes ends in this name (behind a folder, before a suffix):
    // when it is too long for any volume, so are they all, and the search's answer is known.
    if (t_memo && NamesNoFile(expanded)) {
        out = std::move(expanded);
        return false;
    }
    return LocateFile(expanded, out);
}

bool ResolveCommandLine(const char16_t* text, std::u16string& out, bool rememberAnswers) {
    if (text == nullptr) return false;
    const char16_t* p = text;
    while (*p == u' ') ++p;
    std::u16string gathered;
    while (*p) {
        if (*p == u'"') {
            ++p;
            while (*p && *p != u'"') gathered.push_back(*p++);
            if (*p == u'"') ++p;
        } else if (*p == u' ') {
            if (!gathered.empty() && ResolveFilePath(gathered, out, rememberAnswers)) return true;
            gathered.push_back(*p++);
        } else {
            gathered.push_back(*p++);
        }
    }
    if (gathered.empty()) return false;
    return ResolveFilePath(gathered, out, rememberAnswers);
}
