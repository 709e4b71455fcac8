#include "collectors/shell/ie_downloaded_activex.h"

#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/class_id_lookup.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kCodeStoreKey[] =
    u"SOFTWARE\\Microsoft\\Code Store Database\\Distribution Units";
constexpr std::int32_t kTextCodeBase = 22215;      // IDS_VISTREL_CODEBASE
constexpr std::int32_t kTextInf = 22216;           // IDS_VISTREL_INF
constexpr std::int32_t kTextLastModified = 22217;  // IDS_VISTREL_LASTMODIFIED
constexpr std::int32_t kTextComponents = 22218;    // IDS_VISTREL_COMPONENTS
constexpr std::int32_t kTextOsd = 22221;           // IDS_VISTREL_OSD

// One value of root\path as text, whatever its type; empty when it can't be read.
std::u16string ReadText(platform::RegKey root, const std::u16string& path, const char16_t* name) {
    RegValueBytes value;
    ReadRegValue(root, path.c_str(), name, &value);
    return RegDataText(value);
}

// A value's name is the path of a file; one with a NUL inside would be described as another
// file, so it is left out.
bool CollectFileName(std::u16string_view name, const void*, std::uint32_t, std::uint32_t type,
                     void* context) {
    if (type == platform::kRegSz && IsPlainRegName(name))
        static_cast<std::vector<std::u16string>*>(context)->emplace_back(name);
    return true;
}

bool CollectUnit(platform::RegKey root, std::u16string_view path, void* context) {
    auto* units = static_cast<std::vector<si_activex_info>*>(context);
    si_activex_info unit;
    const std::u16string_view id = LastKeyPathPart(path);
    unit.key = path;
    // A unit whose name holds a NUL is listed by that name, but nothing below it is read: the
    // registry would take the name as a shorter one, another unit's.
    if (!IsPlainRegName(path)) {
        unit.name = id;
        units->push_back(std::move(unit));
        return true;
    }
    if (ReadClassDescription(id, &unit.name)) {
        ReadClassServer(id, &unit.file);
    } else {
        RegValueBytes value;
        unit.name = ReadRegValue(root, unit.key.c_str(), nullptr, &value) ? RegDataText(value)
                                                                          : std::u16string(id);
    }
    platform::UniqueRegKey files;
    if (platform::machine().registry().OpenKey(root, (unit.key + u"\\Contains\\Files").c_str(),
                                               platform::kKeyQueryValue,
                                               files.put()) == platform::kErrorSuccess)
        EnumRegValues(files.get(), CollectFileName, &unit.files);
    unit.lastModified = ReadText(root, unit.key + u"\\InstalledVersion", u"LastModified");
    const std::u16string download = unit.key + u"\\DownloadInformation";
    unit.codebase = ReadText(root, download, u"CODEBASE");
    unit.inf = ReadText(root, download, u"INF");
    unit.osd = ReadText(root, download, u"OSD");
    units->push_back(std::move(unit));
    return true;
}

}  // namespace

CVistrelIEDownloadedActiveX::CVistrelIEDownloadedActiveX()
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, kCodeStoreKey, true) {}

void CVistrelIEDownloadedActiveX::ReadItems() {
    items.clear();
    WalkSubKeys(CollectUnit, &items);
}

std::int32_t CVistrelIEDownloadedActiveX::ItemDetails(std::size_t index, LineCallback lineCallback,
                                                      void* context) {
    if (lineCallback == nullptr) return 0;
    const si_activex_info& unit = items[index];
    const auto at = static_cast<std::int32_t>(index);
    std::int32_t count = 0;
    auto line = [&](std::int32_t label, const std::u16string* value, std::int32_t flags) {
        lineCallback(at, label, value ? value->c_str() : nullptr, flags, context);
        ++count;
    };
    if (!unit.file.empty()) {
        count += GetFileDetails(unit.file.c_str(), at, lineCallback, context, false);
        line(-1, nullptr, kLineSeparator);
    }
    line(kTextCodeBase, &unit.codebase, 0);
    if (!unit.inf.empty()) line(kTextInf, &unit.inf, 0);
    if (!unit.osd.empty()) line(kTextOsd, &unit.osd, 0);
    if (!unit.lastModified.empty()) line(kTextLastModified, &unit.lastModified, 0);
    if (!unit.files.empty()) {
        line(-1, nullptr, kLineSeparator);
        line(kTextComponents, nullptr, 0);
    }
    for (const std::u16string& file : unit.files) {
        line(-1, nullptr, 0);
        count += GetFileDetails(file.c_str(), at, lineCallback, context, false);
    }
    return count;
}

void CVistrelIEDownloadedActiveX::GoToItem(std::int32_t index) {
    GoToKey(
        root,
        IsValidIndex(index) ? items[static_cast<std::size_t>(index)].key.c_str() : keyPath.c_str(),
        nullptr);
}

bool CVistrelIEDownloadedActiveX::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    // A unit whose name holds a NUL would reach the registry as another unit's name.
    const std::u16string& key = items[index].key;
    return IsPlainRegName(key) && DeleteRegKey(helper, root, key.c_str());
}
