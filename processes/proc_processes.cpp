// The process list: from a toolhelp process snapshot, or on old NT systems from the helper,
// with each process's image path and module list read as its node is made.
#include "processes/proc_processes.h"

#include <iterator>
#include <utility>

#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"

namespace {

constexpr std::int32_t kTextProcessId = 22486;  // IDS_VISTREL_PROCESS_ID
// Ids below this are the idle process and the kernel's own: no file stands behind them.
constexpr std::uint32_t kFirstListedProcessId = 10;

platform::ProcessEnumeration& System() {
    return platform::machine().processEnumeration();
}

// Whether path names the file name: the whole path, or its part behind a backslash, with
// regard to case.
bool NamesFile(const std::u16string& path, const std::u16string& name) {
    if (name.empty() || path.size() < name.size()) return false;
    const std::size_t at = path.size() - name.size();
    if (path.compare(at, name.size(), name) != 0) return false;
    return at == 0 || path[at - 1] == u'\\';
}

}  // namespace

CVistrelProcProcesses::CVistrelProcProcesses() {
    psapi.module = System().LoadSystemLibrary(u"psapi.dll");
    toolhelp.module = System().LoadSystemLibrary(u"kernel32.dll");
    nt4OrOlder = IsNt4OrOlder();
}

CVistrelProcProcesses::~CVistrelProcProcesses() {
    System().FreeSystemLibrary(toolhelp.module);
    toolhelp.module = nullptr;
    psapi.helper = nullptr;
    System().FreeSystemLibrary(psapi.module);
    psapi.module = nullptr;
}

std::int32_t CVistrelProcProcesses::EnumerateItems(EntryCallback callback, bool refresh,
                                                   void* context) {
    psapi.useElevated = useElevation;
    if (refresh || firstRun) RefreshProcesses();
    firstRun = false;
    const auto count = static_cast<std::int32_t>(processes.size());
    if (callback == nullptr) return count;
    for (std::int32_t i = 0; i < count; ++i)
        if (!callback(i, nullptr, &processes[static_cast<std::size_t>(i)], this, context))
            return i + 1;
    return count;
}

std::int32_t CVistrelProcProcesses::GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                                   void* context) {
    if (index < 0 || static_cast<std::size_t>(index) >= processes.size()) return 0;
    const CVistrelProcProcess& node = processes[static_cast<std::size_t>(index)];
    if (lineCallback != nullptr) {
        const std::u16string id = talutils::Decimal(node.processId);
        lineCallback(index, kTextProcessId, id.c_str(), 0, context);
    }
    return GetFileDetails(node.path.c_str(), index, lineCallback, context,
                          (node.status & CVistrelProcProcessBase::kImagePathGuessed) != 0);
}

bool CVistrelProcProcesses::DoAction(std::int32_t action, std::int32_t, resultFlags*) {
    if (action != 0) return false;
    // The tree's records point at the nodes: they are rebuilt by the read of the population
    // that follows an action, after the console has dropped those records, never here.
    firstRun = true;
    return true;
}

void CVistrelProcProcesses::RefreshProcesses() {
    processes.clear();
    // What the list held from an earlier batch of work has been released with it.
    psapi.helper = nullptr;
    if (UseHelperEnumeration())
        RefreshFromHelper();
    else
        RefreshFromToolhelp();
}

IElevatedHelper* CVistrelProcProcesses::Helper() {
    psapi.helper = GetGlobalElevatedHelper(psapi.useElevated, true);
    return psapi.helper;
}

void CVistrelProcProcesses::Append(CVistrelProcProcess node) {
    // The modules are read now, while the list is being built; the count doesn't matter here.
    node.EnumerateItems(nullptr, false, nullptr);
    processes.push_back(std::move(node));
}

bool CVistrelProcProcesses::FindImagePath(const CVistrelProcProcess& node, std::u16string* path) {
    UniqueSnapshot snapshot(
        CreateToolhelpSnapshot(toolhelp, platform::kTh32csSnapModule, node.processId));
    platform::ModuleEntry32W entry;
    entry.dwSize = sizeof(entry);
    if (snapshot && ThModule32First(toolhelp, snapshot.get(), &entry)) {
        // The image is the module named as the process; failing that, the last module stands.
        do {
            *path = FieldText(entry.szExePath, std::size(entry.szExePath));
            if (NamesFile(*path, node.name)) break;
        } while (ThModule32Next(toolhelp, snapshot.get(), &entry));
        return true;
    }
    IElevatedHelper* helper = Helper();
    if (helper != nullptr && helper->Proc_GetImagePath(node.processId, *path) >= 0) return true;
    *path = node.name;
    return false;
}

void CVistrelProcProcesses::RefreshFromToolhelp() {
    UniqueSnapshot snapshot(CreateToolhelpSnapshot(toolhelp, platform::kTh32csSnapProcess, 0));
    if (!snapshot) return;
    platform::ProcessEntry32W entry;
    entry.dwSize = sizeof(entry);
    for (bool more = ThProcess32First(toolhelp, snapshot.get(), &entry); more;
         more = ThProcess32Next(toolhelp, snapshot.get(), &entry)) {
        if (entry.th32ProcessID < kFirstListedProcessId) continue;
        CVistrelProcProcess node(FieldText(entry.szExeFile, std::size(entry.szExeFile)),
                                 entry.th32ProcessID, this);
        if (!FindImagePath(node, &node.path)) node.status |= CVistrelProcProcess::kImagePathGuessed;
        Append(std::move(node));
    }
}

void CVistrelProcProcesses::RefreshFromHelper() {
    IElevatedHelper* helper = Helper();
    std::vector<std::uint32_t> ids;
    if (helper == nullptr || helper->Proc_Enum(ids) < 0) return;
    for (std::uint32_t id : ids) {
        if (id < kFirstListedProcessId) continue;
        helper = Helper();
        if (helper == nullptr) continue;
        std::u16string path;
        if (helper->Proc_GetImagePath(id, path) < 0) continue;
        const std::size_t slash = path.find_last_of(u'\\');
        // Without a folder the answer names no file that could be described.
        if (slash == std::u16string::npos) continue;
        CVistrelProcProcess node(path.substr(slash + 1), id, this);
        node.path = std::move(path);
        Append(std::move(node));
    }
}
