// The startup folders: each entry is a file of the folder, and Remove deletes that file.
#include "collectors/files/startup_items.h"

#include "collectors/files/file_collector.h"
#include "frame/module_objects.h"
#include "libs/talelev/elevated_helper.h"
#include "platform/machine.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"

namespace {

constexpr int kSwShowNoActivate = 4;
constexpr std::u16string_view kFolderSettings = u"desktop.ini";

// The shell's own settings file of the folder is no program; exact case, as it is written.
bool CollectFile(const std::u16string& path, void* context) {
    const std::size_t at = path.find(kFolderSettings);
    if (at != std::u16string::npos && at + kFolderSettings.size() == path.size()) return true;
    static_cast<std::vector<std::u16string>*>(context)->push_back(path);
    return true;
}

}  // namespace

bool EnumFolderFiles(const std::u16string& folder,
                     bool (*callback)(const std::u16string& path, void* context), void* context) {
    platform::Files& files = platform::machine().files();
    platform::FindData found;
    const platform::FindHandle find = files.FindFirst((folder + u"\\*.*").c_str(), &found);
    if (find == nullptr) return true;
    do {
        if ((found.attributes & platform::kFileAttributeDirectory) != 0) continue;
        if (!callback(folder + u"\\" + found.name, context)) break;
    } while (files.FindNext(find, &found));
    files.FindClose(find);
    return true;
}

CVistrelStartupItemsBase::CVistrelStartupItemsBase(int csidl, bool elevation)
    : folder(LookUpSpecialFolder(csidl)) {
    NeedsElevation = elevation;
}

void CVistrelStartupItemsBase::ReadItems() {
    items.clear();
    failed = folder.empty();
    if (!failed) EnumFolderFiles(folder, CollectFile, &items);
}

std::int32_t CVistrelStartupItemsBase::EnumerateItems(EntryCallback callback, bool refresh,
                                                      void* context) {
    if (refresh || needRead) ReadItems();
    needRead = false;
    return DeliverListItems(
        this, items.size(), [this](std::size_t i) -> const std::u16string& { return items[i]; },
        callback, context);
}

std::int32_t CVistrelStartupItemsBase::GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                                      void* context) {
    if (!IsValidIndex(index)) return 0;
    return GetFileDetails(items[static_cast<std::size_t>(index)].c_str(), index, lineCallback,
                          context, false);
}

std::uint32_t CVistrelStartupItemsBase::GetActionMask(std::int32_t index) {
    if (failed) return 1;
    return IsValidIndex(index) ? 7 : 3;
}

bool CVistrelStartupItemsBase::DoAction(std::int32_t action, std::int32_t index,
                                        resultFlags* flags) {
    switch (action) {
        case -1:
        case 1:
            OpenWithShell(folder.c_str(), nullptr, kSwShowNoActivate);
            return false;
        case 0:
            ReadItems();
            return true;
        case 2:
            break;
        default:
            return false;
    }
    if (!IsValidIndex(index)) {
        g_trace.Trace(u"[vistrel] [debug] wrong index: %u", static_cast<unsigned>(index));
        return false;
    }
    std::u16string& path = items[static_cast<std::size_t>(index)];
    if (path.empty()) {
        g_trace.Trace(u"[vistrel] [debug] action on empty value at %u",
                      static_cast<unsigned>(index));
        return false;
    }
    IElevatedHelper* helper = GetHelperForSource(this);
    if (helper == nullptr || helper->File_Delete(path) < 0) {
        flags->succeeded = 0;
        return false;
    }
    path.clear();
    flags->deleteItem = 1;
    flags->localUpdate = 1;
    return true;
}

CVistrelStartupItemsCurrentUser::CVistrelStartupItemsCurrentUser()
    : CVistrelStartupItemsBase(platform::kCsidlStartup, false) {}
CVistrelStartupItemsAllUsers::CVistrelStartupItemsAllUsers()
    : CVistrelStartupItemsBase(platform::kCsidlCommonStartup, true) {}
