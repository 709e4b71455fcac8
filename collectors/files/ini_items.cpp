// The INI items: a profile section read through the system's profile calls, so that a file
// that Windows keeps in the registry is read from there.
#include "collectors/files/ini_items.h"

#include <memory>
#include <utility>

#include "collectors/files/file_collector.h"
#include "collectors/files/ini_file_mapping.h"
#include "platform/machine.h"
#include "tools/file_details.h"
#include "tools/profile_section.h"

namespace {

constexpr std::uint32_t kSectionChars = 32767;
constexpr int kSwShowNormal = 1;

}  // namespace

CVistrelINIBase::CVistrelINIBase(const char16_t* file, const char16_t* sectionName,
                                 std::vector<std::u16string> keyNames)
    : fileName(file), section(sectionName), keys(std::move(keyNames)) {}

void CVistrelINIBase::ReadItems() {
    items.clear();
    auto buffer = std::make_unique<char16_t[]>(kSectionChars);
    // win.ini goes through the call made for it; the system maps it wherever it keeps it.
    const bool winIni = fileName.find(u"win.ini") != std::u16string::npos;
    const std::uint32_t count = platform::machine().files().ReadProfileSection(
        winIni ? nullptr : fileName.c_str(), section, buffer.get(), kSectionChars);
    failed = count == 0;
    const std::size_t valid = count < kSectionChars ? count : kSectionChars;
    for (std::u16string_view line : ProfileSectionLines(buffer.get(), valid)) {
        std::u16string_view value;
        const int key = MatchProfileKey(line, keys, &value);
        if (key < 0) continue;
        for (std::u16string& word : SplitProfileWords(value))
            items.push_back({std::move(word), key});
    }
}

std::int32_t CVistrelINIBase::EnumerateItems(EntryCallback callback, bool refresh, void* context) {
    if (refresh || needRead) ReadItems();
    needRead = false;
    return DeliverListItems(
        this, items.size(),
        [this](std::size_t i) -> const std::u16string& { return items[i].text; }, callback,
        context);
}

std::int32_t CVistrelINIBase::GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                             void* context) {
    if (index < 0 || static_cast<std::size_t>(index) >= items.size()) return 0;
    return GetFileDetails(items[static_cast<std::size_t>(index)].text.c_str(), index, lineCallback,
                          context, false);
}

bool CVistrelINIBase::DoAction(std::int32_t action, std::int32_t index, resultFlags*) {
    if (action == 0) {
        ReadItems();
        return true;
    }
    if (action != -1 && action != 1) return false;
    const char16_t* keyName = nullptr;
    if (index >= 0 && static_cast<std::size_t>(index) < items.size()) {
        const std::int32_t keyIndex = items[static_cast<std::size_t>(index)].keyIndex;
        keyName = keys[static_cast<std::size_t>(keyIndex)].c_str();
    }
    if (!IniFileMapping(fileName.c_str(), section, keyName))
        OpenWithShell(fileName.c_str(), nullptr, kSwShowNormal);
    return false;
}

CVistrelWinINI::CVistrelWinINI() : CVistrelINIBase(u"win.ini", u"windows", {u"run", u"load"}) {}
CVistrelSysINI::CVistrelSysINI()
    : CVistrelINIBase(u"system.ini", u"boot", {u"Shell", u"SCRNSAVE.EXE"}) {}
