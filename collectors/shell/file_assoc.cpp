#include "collectors/shell/file_assoc.h"

#include "tools/elevation_support.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"

namespace {

struct AssocKey {
    const platform::RegKey& root;
    const char16_t* path;
};

// Both the merged view and the machine's own class keys: a per-user class can hide a
// hijacked machine-wide one from the merged view, and the other way round.
const AssocKey kAssocKeys[] = {
    {platform::kHkeyClassesRoot, u"exefile\\shell\\open\\command"},
    {platform::kHkeyClassesRoot, u"comfile\\shell\\open\\command"},
    {platform::kHkeyClassesRoot, u"batfile\\shell\\open\\command"},
    {platform::kHkeyClassesRoot, u"piffile\\shell\\open\\command"},
    {platform::kHkeyLocalMachine, u"Software\\CLASSES\\exefile\\shell\\open\\command"},
    {platform::kHkeyLocalMachine, u"Software\\CLASSES\\comfile\\shell\\open\\command"},
    {platform::kHkeyLocalMachine, u"Software\\CLASSES\\batfile\\shell\\open\\command"},
    {platform::kHkeyLocalMachine, u"Software\\CLASSES\\piffile\\shell\\open\\command"},
};

constexpr std::int32_t kTextCurrentAssoc = 22213;  // IDS_VISTREL_CURRENT_ASSOC
constexpr std::int32_t kTextDefaultAssoc = 22214;  // IDS_VISTREL_DEFAULT_ASSOC

}  // namespace

CVistrelFileAssoc::CVistrelFileAssoc() : CVistrelRegistryListCollector(nullptr, u"", true) {}

std::int32_t CVistrelFileAssoc::GetActionTextId(std::int32_t position) {
    switch (position) {
        case kActionRefresh:
            return kTextActionRefresh;
        case kActionGoTo:
            return kTextActionGoTo;
        case 2:  // the third button shown runs action 3
            return kTextActionRestore;
        default:
            return -1;
    }
}

std::uint32_t CVistrelFileAssoc::GetActionMask(std::int32_t index) {
    if (failed || !IsValidIndex(index)) return 1;
    return 1u << kActionRefresh | 1u << kActionGoTo | 1u << kActionRestore;
}

bool CVistrelFileAssoc::DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) {
    if (action != kActionRestore) return CVistrelRegistryCollector::DoAction(action, index, flags);
    if (!IsValidIndex(index)) return false;
    const si_assoc_info& item = items[static_cast<std::size_t>(index)];
    // With its terminator, as REG_SZ data is stored.
    constexpr auto kBytes = static_cast<std::int32_t>(sizeof kDefaultOpenCommand);
    static_assert(kBytes == 16);
    if (!SetRegValue(GetHelperForSource(this), item.root, item.keyPath.c_str(), nullptr,
                     kDefaultOpenCommand, platform::kRegSz, kBytes, 0)) {
        flags->succeeded = 0;
        return false;
    }
    return true;
}

void CVistrelFileAssoc::ReadItems() {
    items.clear();
    for (const AssocKey& key : kAssocKeys) {
        // The type isn't looked at; a value of any type is shown as the text its bytes make.
        RegValueBytes value;
        if (!ReadRegValue(key.root, key.path, nullptr, &value)) continue;
        items.push_back({key.root, key.path, RegDataText(value)});
    }
}

std::int32_t CVistrelFileAssoc::ItemDetails(std::size_t index, LineCallback lineCallback,
                                            void* context) {
    if (lineCallback == nullptr) return 3;
    const si_assoc_info& item = items[index];
    const std::u16string path = std::u16string(RegistryRootName(item.root)) + u"\\" + item.keyPath;
    lineCallback(static_cast<std::int32_t>(index), kDetailsTextPath, path.c_str(), 0, context);
    lineCallback(static_cast<std::int32_t>(index), kTextCurrentAssoc, item.command.c_str(), 0,
                 context);
    lineCallback(static_cast<std::int32_t>(index), kTextDefaultAssoc, kDefaultOpenCommand, 0,
                 context);
    return 3;
}

void CVistrelFileAssoc::GoToItem(std::int32_t index) {
    if (!IsValidIndex(index)) return;
    const si_assoc_info& item = items[static_cast<std::size_t>(index)];
    GoToKey(item.root, item.keyPath.c_str(), u"");
}
