#include "tools/file_details.h"

#include <cstring>
#include <memory>
#include <new>

#include "frame/module_objects.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "tools/path_resolution.h"
#include "tools/shortcut.h"

namespace {

constexpr std::size_t kQueryChars = 260;
// VS_FIXEDFILEINFO: signature, structure version, then the four version words.
constexpr std::uint32_t kFixedFileInfoBytes = 52;
constexpr std::size_t kFileVersionOffset = 8;
constexpr std::size_t kProductVersionOffset = 16;
constexpr const char16_t* kTranslationQuery = u"\\VarFileInfo\\Translation";

std::uint32_t ReadDword(const std::uint8_t* bytes) {
    std::uint32_t value;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

void SplitVersion(std::uint32_t most, std::uint32_t least, std::uint16_t version[4]) {
    version[0] = static_cast<std::uint16_t>(most >> 16);
    version[1] = static_cast<std::uint16_t>(most & 0xFFFFu);
    version[2] = static_cast<std::uint16_t>(least >> 16);
    version[3] = static_cast<std::uint16_t>(least & 0xFFFFu);
}

std::u16string VersionText(const std::uint16_t version[4]) {
    std::u16string text;
    for (int i = 0; i < 4; ++i) {
        if (i) text.push_back(u'.');
        text += talutils::Decimal(version[i]);
    }
    return text;
}

void AppendHex4(std::u16string& text, std::uint16_t value) {
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    for (int shift = 12; shift >= 0; shift -= 4) text.push_back(kDigits[(value >> shift) & 0xF]);
}

}  // namespace

void QueryFixedVersion(const void* block, std::uint16_t fileVersion[4],
                       std::uint16_t productVersion[4]) {
    const void* buffer = nullptr;
    std::uint32_t length = 0;
    if (!platform::machine().version().Query(block, u"\\", &buffer, &length)) return;
    if (buffer == nullptr || length < kFixedFileInfoBytes) return;
    const auto* bytes = static_cast<const std::uint8_t*>(buffer);
    SplitVersion(ReadDword(bytes + kFileVersionOffset), ReadDword(bytes + kFileVersionOffset + 4),
                 fileVersion);
    SplitVersion(ReadDword(bytes + kProductVersionOffset),
                 ReadDword(bytes + kProductVersionOffset + 4), productVersion);
}

void QueryVersionString(const void* block, std::uint16_t language, std::uint16_t codePage,
                        const char16_t* name, std::u16string& out) {
    std::u16string query = u"\\StringFileInfo\\";
    AppendHex4(query, language);
    AppendHex4(query, codePage);
    query.push_back(u'\\');
    query += talutils::View(name);
    if (query.size() > kQueryChars - 1) query.resize(kQueryChars - 1);

    out.clear();
    const void* buffer = nullptr;
    std::uint32_t length = 0;
    if (!platform::machine().version().Query(block, query.c_str(), &buffer, &length)) return;
    if (buffer == nullptr) return;
    // The reported length counts the terminator on Windows; the text ends at the first NUL.
    std::u16string_view text(static_cast<const char16_t*>(buffer), length);
    out.append(text.substr(0, text.find(u'\0')));
}

bool ReadVersionInfo(const char16_t* path, FileVersionRecord& record, std::uint32_t blockSize) {
    std::unique_ptr<std::uint8_t[]> block(new (std::nothrow) std::uint8_t[blockSize]);
    if (!block) return false;
    platform::Machine& machine = platform::machine();
    if (!machine.version().Get(path, blockSize, block.get())) {
        g_trace.Trace(u"[vistrel] [error]: GetFileVersionInfo_ failed: %u",
                      static_cast<unsigned>(machine.LastError()));
        return false;
    }
    QueryFixedVersion(block.get(), record.fileVersion, record.productVersion);

    const void* buffer = nullptr;
    std::uint32_t length = 0;
    if (!machine.version().Query(block.get(), kTranslationQuery, &buffer, &length) ||
        buffer == nullptr || length < 4) {
        g_trace.Trace(u"[vistrel] [error]: VerQueryValue_('%s')", kTranslationQuery);
        return true;
    }
    // Only the first language/code page pair is read.
    std::uint16_t pair[2];
    std::memcpy(pair, buffer, sizeof(pair));
    const std::uint16_t language = pair[0];
    const std::uint16_t codePage = pair[1];
    const struct {
        const char16_t* name;
        std::u16string* field;
    } strings[] = {
        {u"Comments", &record.Comments},
        {u"CompanyName", &record.CompanyName},
        {u"FileDescription", &record.FileDescription},
        {u"FileVersion", &record.FileVersion},
        {u"InternalName", &record.InternalName},
        {u"LegalCopyright", &record.LegalCopyright},
        {u"LegalTrademarks", &record.LegalTrademarks},
        {u"OriginalFilename", &record.OriginalFilename},
        {u"PrivateBuild", &record.PrivateBuild},
        {u"ProductName", &record.ProductName},
        {u"ProductVersion", &record.ProductVersion},
        {u"SpecialBuild", &record.SpecialBuild},
        {u"OLESelfRegister", &record.OLESelfRegister},
    };
    for (const auto& entry : strings)
        QueryVersionString(block.get(), language, codePage, entry.name, *entry.field);
    return true;
}

std::int32_t GetFileDetails(const char16_t* text, std::int32_t itemIndex, LineCallback lineCallback,
                            void* context, bool mayBeWrong) {
    if (lineCallback == nullptr) return 0;
    const char16_t* stored = text ? text : u"";

    std::u16string path;
    const bool unsure = ResolveCommandLine(stored, path) && mayBeWrong;
    if (path.size() >= 4 && talutils::EndsWithNoCase(path, u".lnk")) {
        std::u16string target;
        if (ResolveLink(path.c_str(), target)) path = std::move(target);
    }
    PathParts parts;
    SplitPath(path, parts);
    const std::u16string fileName = parts.fname + parts.ext;

    lineCallback(itemIndex, kDetailsTextObject, stored, 0, context);
    lineCallback(itemIndex, kDetailsTextFile, fileName.c_str(), 0, context);
    if (unsure && talutils::View(stored).find(u'\\') == std::u16string_view::npos)
        lineCallback(itemIndex, kDetailsTextMaybeWrong, nullptr, kLineDropIfNoLabel, context);
    lineCallback(itemIndex, kDetailsTextPath, path.c_str(), 0, context);

    FileVersionRecord record;
    const std::uint32_t blockSize = platform::machine().version().GetSize(path.c_str());
    if (blockSize != 0 && ReadVersionInfo(path.c_str(), record, blockSize)) {
        const std::u16string fileVersion = VersionText(record.fileVersion);
        const std::u16string productVersion = VersionText(record.productVersion);
        lineCallback(itemIndex, kDetailsTextFileVersion, fileVersion.c_str(), 0, context);
        lineCallback(itemIndex, kDetailsTextProductVersion, productVersion.c_str(), 0, context);
        lineCallback(itemIndex, kDetailsTextPublisher, record.CompanyName.c_str(), 0, context);
        lineCallback(itemIndex, kDetailsTextDescription, record.FileDescription.c_str(), 0,
                     context);
        return 6;
    }
    lineCallback(itemIndex, kDetailsTextNoFileInfo, path.c_str(), 0, context);
    return 0;
}
