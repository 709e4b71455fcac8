// The offline machine: opens the hives and checks that the folder is a Windows installation,
// then answers the remaining concerns from them: environment variables and special folders as
// the hives define them, version blocks from the files' resource sections, shell links from the
// link files, and no processes or windows at all.
#include "platform/offline/offline_machine.h"

#include <dirent.h>
#include <hivex.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>

#include "platform/offline/offline_files.h"
#include "platform/offline/offline_registry.h"
#include "platform/offline/offline_text.h"
#include "platform/pe_version_resource.h"
#include "platform/process_enumeration.h"
#include "platform/shell_link_reader.h"
#include "platform/version_block_reader.h"

namespace platform::offline {
namespace {

constexpr std::uint32_t kErrorEnvVarNotFound = 203;
constexpr HResult kFileNotFoundResult = static_cast<HResult>(0x80070002u);
constexpr std::size_t kMaxPath = 260;

std::u16string TextOf(std::uint32_t type, const std::string& bytes) {
    if (type != kRegSz && type != kRegExpandSz) return {};
    std::u16string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto c = static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                             static_cast<unsigned char>(bytes[i + 1]) << 8);
        if (c == 0) break;
        text += c;
    }
    return text;
}

class OfflineEnvironment : public Environment {
  public:
    std::u16string Expand(std::u16string_view text) const {
        std::u16string out;
        std::size_t at = 0;
        while (at < text.size()) {
            if (text[at] != u'%') {
                const std::size_t next = std::min(text.find(u'%', at), text.size());
                out.append(text.substr(at, next - at));
                at = next;
                continue;
            }
            const std::size_t close = text.find(u'%', at + 1);
            if (close == std::u16string_view::npos) {
                out.append(text.substr(at));
                break;
            }
            const std::u16string_view name = text.substr(at + 1, close - at - 1);
            auto it = name.empty() ? variables_.end() : variables_.find(Fold(name));
            if (it != variables_.end())
                out.append(it->second);
            else
                out.append(text.substr(at, close - at + 1));
            at = close + 1;
        }
        return out;
    }
    void Set(std::u16string_view name, std::u16string value) {
        variables_[Fold(name)] = std::move(value);
    }

    std::uint32_t ExpandStrings(const char16_t* source, char16_t* dest,
                                std::uint32_t destChars) override {
        if (source == nullptr) {
            SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
            return 0;
        }
        const std::u16string out = Expand(source);
        const auto needed = static_cast<std::uint32_t>(out.size() + 1);
        if (needed > destChars) SetLastError(static_cast<std::uint32_t>(kErrorInsufficientBuffer));
        if (dest != nullptr && destChars > 0) {
            const std::size_t copied = std::min<std::size_t>(out.size(), destChars - 1);
            std::copy_n(out.data(), copied, dest);
            dest[copied] = 0;
        }
        return needed;
    }
    // The variables belong to this process, not to the image: changing them writes nothing.
    bool SetVariable(const char16_t* name, const char16_t* value) override {
        const std::u16string_view n = WideView(name);
        if (n.empty() || n.find(u'=') != std::u16string_view::npos) {
            SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
            return false;
        }
        if (value == nullptr)
            variables_.erase(Fold(n));
        else
            Set(n, std::u16string(value));
        return true;
    }
    bool GetVariable(const char16_t* name, std::u16string* value) override {
        auto it = variables_.find(Fold(WideView(name)));
        if (it == variables_.end()) {
            SetLastError(kErrorEnvVarNotFound);
            return false;
        }
        if (value != nullptr) *value = it->second;
        return true;
    }

  private:
    std::map<std::u16string, std::u16string> variables_;
};

class OfflineShell : public Shell {
  public:
    explicit OfflineShell(Files& files) : files_(files) {}
    std::map<int, std::u16string> folders;

    SpecialFolder GetSpecialFolder(int csidl) override {
        SpecialFolder result;
        auto it = folders.find(csidl);
        if (it == folders.end()) {
            result.locationResult = kFileNotFoundResult;
            return result;
        }
        result.locationResult = kSOk;
        result.pathFound = true;
        result.path = it->second;
        return result;
    }
    HResult ComInitialize() override { return kSOk; }
    // The link file is read as the link object would load it. Resolving needs the running
    // system (it searches for a moved target), so the stored path is handed out as it is.
    LinkStep ReadLink(const char16_t* linkPath, std::u16string* target) override {
        std::string bytes;
        if (linkPath == nullptr || files_.ReadAll(linkPath, &bytes) != kErrorSuccess)
            return LinkStep::kLoad;
        const std::optional<ShellLinkData> link = ReadShellLink(bytes);
        if (!link) return LinkStep::kLoad;
        // The caller's path buffer has the classic path size, terminator included.
        if (target != nullptr) *target = LinkTargetPath(*link, linkPath, kMaxPath - 1);
        return LinkStep::kNone;
    }
    HResult CreateLink(const char16_t*, const char16_t*) override { return kEAccessDenied; }

  private:
    Files& files_;
};

class OfflineVersion : public VersionInfo {
  public:
    explicit OfflineVersion(Files& files) : files_(files) {}

    std::uint32_t GetSize(const char16_t* path) override {
        std::string image;
        const std::string_view block = Block(path, &image);
        return static_cast<std::uint32_t>(block.size());
    }
    bool Get(const char16_t* path, std::uint32_t size, void* out) override {
        std::string image;
        const std::string_view block = Block(path, &image);
        if (block.empty()) return false;
        if (out == nullptr) {
            SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
            return false;
        }
        std::memcpy(out, block.data(), std::min<std::size_t>(size, block.size()));
        return true;
    }
    bool Query(const void* block, const char16_t* subBlock, const void** buffer,
               std::uint32_t* length) override {
        if (block == nullptr || subBlock == nullptr || buffer == nullptr || length == nullptr)
            return false;
        return QueryVersionBlock(block, subBlock, buffer, length);
    }

  private:
    std::string_view Block(const char16_t* path, std::string* image) {
        if (files_.ReadAll(path, image) != kErrorSuccess) return {};
        const std::string_view block = FindVersionResource(*image);
        if (block.empty()) SetLastError(static_cast<std::uint32_t>(kErrorResourceTypeNotFound));
        return block;
    }
    Files& files_;
};

class OfflineProcesses : public Processes {
  public:
    std::uint32_t major = 0, minor = 0;
    // Nothing runs in an image; starting something from it is refused.
    Status Start(const ShellExecuteInfo&, std::uint32_t* processId) override {
        if (processId != nullptr) *processId = 0;
        return kErrorAccessDenied;
    }
    Status Terminate(std::uint32_t) override { return kErrorInvalidParameter; }
    bool IsRunning(std::uint32_t) override { return false; }
    bool GetOsVersion(std::uint32_t* outMajor, std::uint32_t* outMinor) override {
        if (major == 0) return false;
        *outMajor = major;
        *outMinor = minor;
        return true;
    }
    bool GetTokenElevation(bool*, int*) override { return false; }
    // The image isn't running: the time that passes is this system's.
    std::uint32_t TickCount() override {
        return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                              std::chrono::steady_clock::now().time_since_epoch())
                                              .count());
    }
};

// Nothing runs in an image: no system library loads, so the process list has nothing to walk,
// and the helper's queries find no process. The version words are the image's.
class OfflineProcessEnumeration : public ProcessEnumeration {
  public:
    explicit OfflineProcessEnumeration(const OfflineProcesses& processes) : processes_(processes) {}
    ModuleHandle LoadSystemLibrary(const char16_t*) override {
        SetLastError(static_cast<std::uint32_t>(kErrorModNotFound));
        return nullptr;
    }
    void FreeSystemLibrary(ModuleHandle) override {}
    FunctionHandle FindFunction(ModuleHandle, const char*) override {
        SetLastError(static_cast<std::uint32_t>(kErrorProcNotFound));
        return nullptr;
    }
    std::uint32_t VersionWord() override { return processes_.major | processes_.minor << 8; }
    bool VersionEx(OsVersionEx* version) override {
        if (processes_.major == 0) return false;
        *version = {processes_.major, processes_.minor, 0, kVerPlatformWin32Nt};
        return true;
    }
    SnapshotHandle CallCreateSnapshot(FunctionHandle, std::uint32_t, std::uint32_t) override {
        SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
        return nullptr;
    }
    bool CallSnapshotWalk(FunctionHandle, SnapshotHandle, void*) override {
        SetLastError(static_cast<std::uint32_t>(kErrorNoMoreFiles));
        return false;
    }
    void CloseSnapshot(SnapshotHandle) override {}
    int LocaleInfoA(std::uint32_t, char*, int) override { return 0; }
    std::uint32_t AnsiCodePage() override { return 1252; }
    int ToWide(std::uint32_t, std::uint32_t, const char*, int, char16_t*, int) override {
        SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
        return 0;
    }
    Status ProcessIds(std::vector<std::uint32_t>* ids) override {
        ids->clear();
        return kErrorSuccess;
    }
    Status ProcessImagePath(std::uint32_t, std::u16string* path) override {
        path->clear();
        return kErrorInvalidParameter;
    }
    Status ProcessModulePaths(std::uint32_t, std::vector<std::u16string>* paths) override {
        paths->clear();
        return kErrorInvalidParameter;
    }

  private:
    const OfflineProcesses& processes_;
};

class OfflineWindows : public Windows {
  public:
    WindowHandle Find(const char16_t*, const char16_t*) override { return nullptr; }
    WindowHandle FindChild(WindowHandle, WindowHandle, const char16_t*, const char16_t*) override {
        return nullptr;
    }
    bool IsWindow(WindowHandle) override { return false; }
    std::uint32_t GetProcessId(WindowHandle) override { return 0; }
    bool GetShowCommand(WindowHandle, std::uint32_t*) override { return false; }
    bool Show(WindowHandle, int) override { return false; }
    bool SetForeground(WindowHandle) override { return false; }
    bool SetFocus(WindowHandle) override { return false; }
    std::intptr_t Send(WindowHandle, std::uint32_t, std::uintptr_t, std::intptr_t) override {
        return 0;
    }
    void Sleep(std::uint32_t) override {}
};

class OfflineResources : public Resources {
  public:
    int LoadText(std::uint32_t, std::u16string* text) override {
        text->clear();
        return 0;
    }
};

// Log lines of an offline run are not written into the image.
class OfflineTrace : public TraceSink {
  public:
    void WriteLine(std::u16string_view, std::string_view) override {}
    unsigned long CurrentThreadId() override { return 0; }
};

class OfflineMachine : public Machine {
  public:
    OfflineMachine(std::string root, std::unique_ptr<Hive> system, std::size_t controlSet,
                   std::unique_ptr<Hive> software, std::unique_ptr<Hive> user,
                   std::unique_ptr<Hive> userClasses)
        : system_(std::move(system)),
          software_(std::move(software)),
          user_(std::move(user)),
          userClasses_(std::move(userClasses)),
          registry_(*system_, controlSet, *software_, user_.get(), userClasses_.get()),
          files_(std::move(root)),
          version_(files_) {}

    Registry& registry() override { return registry_; }
    Environment& environment() override { return environment_; }
    Files& files() override { return files_; }
    Shell& shell() override { return shell_; }
    VersionInfo& version() override { return version_; }
    Processes& processes() override { return processes_; }
    ProcessEnumeration& processEnumeration() override { return processEnumeration_; }
    Windows& windows() override { return windows_; }
    Resources& resources() override { return resources_; }
    TraceSink& trace() override { return trace_; }
    std::uint32_t LastError() override { return offline::LastError(); }

    void Configure(const std::u16string& userName);

  private:
    std::u16string Text(RegKey root, std::u16string_view path, std::u16string_view name) {
        std::uint32_t type = 0;
        std::string bytes;
        if (!registry_.ReadValue(root, path, name, &type, &bytes)) return {};
        return TextOf(type, bytes);
    }
    std::uint32_t Number(RegKey root, std::u16string_view path, std::u16string_view name) {
        std::uint32_t type = 0;
        std::string bytes;
        if (!registry_.ReadValue(root, path, name, &type, &bytes) || type != kRegDword ||
            bytes.size() != 4)
            return 0;
        std::uint32_t value = 0;
        std::memcpy(&value, bytes.data(), 4);
        return value;
    }
    // Every string value of a key, expanded against what is set so far.
    void SetAllFrom(RegKey root, std::u16string_view path);

    std::unique_ptr<Hive> system_, software_, user_, userClasses_;
    OfflineRegistry registry_;
    OfflineFiles files_;
    OfflineEnvironment environment_;
    OfflineShell shell_{files_};
    OfflineVersion version_;
    OfflineProcesses processes_;
    OfflineProcessEnumeration processEnumeration_{processes_};
    OfflineWindows windows_;
    OfflineResources resources_;
    OfflineTrace trace_;
};

void OfflineMachine::SetAllFrom(RegKey root, std::u16string_view path) {
    RegKey key = nullptr;
    if (registry_.OpenKey(root, std::u16string(path).c_str(), kKeyRead, &key) != kErrorSuccess)
        return;
    for (std::uint32_t index = 0;; ++index) {
        char16_t name[256];
        std::uint32_t chars = 256;
        std::uint32_t type = 0;
        if (registry_.EnumValue(key, index, name, &chars, &type, nullptr, nullptr) ==
            kErrorNoMoreItems)
            break;
        const std::u16string text = Text(key, u"", std::u16string_view(name, chars));
        if (chars > 0 && (type == kRegSz || type == kRegExpandSz))
            environment_.Set(std::u16string_view(name, chars), environment_.Expand(text));
    }
    registry_.CloseKey(key);
}

void OfflineMachine::Configure(const std::u16string& userName) {
    const std::u16string windowsNt = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    const std::u16string windows = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
    std::u16string systemRoot = Text(kHkeyLocalMachine, windowsNt, u"SystemRoot");
    if (systemRoot.empty()) systemRoot = u"C:\\Windows";
    environment_.Set(u"SystemDrive", u"C:");
    environment_.Set(u"SystemRoot", systemRoot);
    environment_.Set(u"windir", systemRoot);
    const std::pair<const char16_t*, const char16_t*> programFolders[] = {
        {u"ProgramFiles", u"ProgramFilesDir"},
        {u"ProgramFiles(x86)", u"ProgramFilesDir (x86)"},
        {u"CommonProgramFiles", u"CommonFilesDir"}};
    for (const auto& [variable, value] : programFolders) {
        const std::u16string text = Text(kHkeyLocalMachine, windows, value);
        if (!text.empty()) environment_.Set(variable, environment_.Expand(text));
    }
    std::u16string programData =
        Text(kHkeyLocalMachine, windowsNt + u"\\ProfileList", u"ProgramData");
    programData = programData.empty() ? u"C:\\ProgramData" : environment_.Expand(programData);
    environment_.Set(u"ProgramData", programData);
    environment_.Set(u"ALLUSERSPROFILE", programData);
    SetAllFrom(kHkeyLocalMachine,
               u"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment");
    if (!userName.empty()) {
        const std::u16string profile = u"C:\\Users\\" + userName;
        environment_.Set(u"USERNAME", userName);
        environment_.Set(u"USERPROFILE", profile);
        environment_.Set(u"APPDATA", profile + u"\\AppData\\Roaming");
        environment_.Set(u"LOCALAPPDATA", profile + u"\\AppData\\Local");
        environment_.Set(u"TEMP", profile + u"\\AppData\\Local\\Temp");
        environment_.Set(u"TMP", profile + u"\\AppData\\Local\\Temp");
        SetAllFrom(kHkeyCurrentUser, u"Environment");
    }

    shell_.folders[kCsidlWindows] = systemRoot;
    shell_.folders[kCsidlSystem] = systemRoot + u"\\System32";
    const std::u16string shellFolders = windows + u"\\Explorer\\User Shell Folders";
    std::u16string common = Text(kHkeyLocalMachine, shellFolders, u"Common Startup");
    if (common.empty())
        common = u"%ProgramData%\\Microsoft\\Windows\\Start Menu\\Programs\\StartUp";
    shell_.folders[kCsidlCommonStartup] = environment_.Expand(common);
    if (!userName.empty()) {
        std::u16string startup = Text(kHkeyCurrentUser, shellFolders, u"Startup");
        if (startup.empty())
            startup = u"%APPDATA%\\Microsoft\\Windows\\Start Menu\\Programs\\Startup";
        shell_.folders[kCsidlStartup] = environment_.Expand(startup);
    }

    processes_.major = Number(kHkeyLocalMachine, windowsNt, u"CurrentMajorVersionNumber");
    processes_.minor = Number(kHkeyLocalMachine, windowsNt, u"CurrentMinorVersionNumber");
    if (processes_.major == 0) {
        // Before Windows 10 the version was only kept as text, "6.1".
        const std::u16string text = Text(kHkeyLocalMachine, windowsNt, u"CurrentVersion");
        const std::size_t dot = text.find(u'.');
        if (dot != std::u16string::npos && dot > 0 && dot + 1 < text.size()) {
            for (std::size_t i = 0; i < dot; ++i)
                processes_.major = processes_.major * 10 + (text[i] - u'0');
            for (std::size_t i = dot + 1; i < text.size() && i < dot + 4; ++i)
                processes_.minor = processes_.minor * 10 + (text[i] - u'0');
        }
    }
}

bool IsFolder(const std::string& path) {
    struct stat st {};
    return !path.empty() && lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The hive's key at path, by name without regard to case; 0 when it is missing.
hive_node_h Child(Hive& hive, hive_node_h node, const char* path) {
    std::string rest = path;
    while (node != 0 && !rest.empty()) {
        const std::size_t cut = rest.find('\\');
        node = hivex_node_get_child(hive.handle(), node, rest.substr(0, cut).c_str());
        rest = cut == std::string::npos ? std::string() : rest.substr(cut + 1);
    }
    return node;
}

// The control set that Select\Current names, or 0.
hive_node_h CurrentControlSet(Hive& system) {
    const hive_node_h select = Child(system, system.root(), "Select");
    if (select == 0) return 0;
    const hive_value_h current = hivex_node_get_value(system.handle(), select, "Current");
    // Kept as a number: a crafted hive's type need not be one the library's enum names.
    std::uint32_t type = 0;
    std::size_t length = 0;
    if (current == 0 ||
        hivex_value_type(system.handle(), current, reinterpret_cast<hive_type*>(&type), &length) !=
            0 ||
        type != kRegDword || length != 4)
        return 0;
    const auto number = static_cast<std::uint32_t>(hivex_value_dword(system.handle(), current));
    if (number == 0 || number > 999) return 0;
    char name[32];
    std::snprintf(name, sizeof name, "ControlSet%03u", number);
    return Child(system, system.root(), name);
}

// The first profile folder under Users that holds an NTUSER.DAT, by name; the shared profiles
// are not users.
std::string FirstProfile(const std::string& users) {
    std::vector<std::string> names;
    if (DIR* dir = opendir(users.c_str())) {
        while (dirent* entry = readdir(dir)) names.emplace_back(entry->d_name);
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const std::u16string folded = Fold(FromUtf8(name));
        if (name == "." || name == ".." || folded == u"DEFAULT" || folded == u"PUBLIC" ||
            folded == u"DEFAULT USER" || folded == u"ALL USERS")
            continue;
        if (IsFolder(users + "/" + name) &&
            !FindEntryNoCase(users + "/" + name, u"NTUSER.DAT").empty())
            return name;
    }
    return {};
}

}  // namespace

std::unique_ptr<Machine> OpenOfflineMachine(const OfflineOptions& options, std::string* error) {
    std::string scratch;
    if (error == nullptr) error = &scratch;
    std::string root = options.root;
    while (root.size() > 1 && root.back() == '/') root.pop_back();
    std::string config = IsFolder(root) ? FindEntryNoCase(root, u"Windows") : std::string();
    if (!config.empty()) config = FindEntryNoCase(config, u"System32");
    if (!config.empty()) config = FindEntryNoCase(config, u"config");
    if (!IsFolder(config)) {
        *error = options.root +
                 ": not the root of a Windows installation (no Windows/System32/config folder)";
        return nullptr;
    }
    auto openHive = [&](const char16_t* name, const char* what) -> std::unique_ptr<Hive> {
        const std::string path = FindEntryNoCase(config, name);
        if (path.empty()) {
            *error = config + ": the " + what + " hive is missing";
            return nullptr;
        }
        return Hive::Open(path, error);
    };
    std::unique_ptr<Hive> system = openHive(u"SYSTEM", "SYSTEM");
    if (!system) return nullptr;
    const hive_node_h controlSet = CurrentControlSet(*system);
    if (controlSet == 0) {
        *error = system->path() +
                 ": not a SYSTEM hive (no Select\\Current naming an existing control set)";
        return nullptr;
    }
    std::unique_ptr<Hive> software = openHive(u"SOFTWARE", "SOFTWARE");
    if (!software) return nullptr;
    if (Child(*software, software->root(), "Microsoft") == 0) {
        *error = software->path() + ": not a SOFTWARE hive (no Microsoft key)";
        return nullptr;
    }

    const std::string users = FindEntryNoCase(root, u"Users");
    std::string userName = options.user;
    std::string profile;
    if (!userName.empty()) {
        profile = IsFolder(users) ? FindEntryNoCase(users, FromUtf8(userName)) : std::string();
        if (!IsFolder(profile) || FindEntryNoCase(profile, u"NTUSER.DAT").empty()) {
            *error = options.root + ": the user " + userName + " has no profile with NTUSER.DAT";
            return nullptr;
        }
        userName = profile.substr(profile.rfind('/') + 1);
    } else if (IsFolder(users)) {
        userName = FirstProfile(users);
        if (!userName.empty()) profile = users + "/" + userName;
    }
    std::unique_ptr<Hive> user, userClasses;
    if (!profile.empty()) {
        user = Hive::Open(FindEntryNoCase(profile, u"NTUSER.DAT"), error);
        if (!user) return nullptr;
        if (Child(*user, user->root(), "Software") == 0) {
            *error = user->path() + ": not a user hive (no Software key)";
            return nullptr;
        }
        // The user's own classes; a profile that never had any has no such hive.
        std::string classes = profile;
        for (const char16_t* step :
             {u"AppData", u"Local", u"Microsoft", u"Windows", u"UsrClass.dat"}) {
            if (!classes.empty()) classes = FindEntryNoCase(classes, step);
        }
        if (!classes.empty()) {
            userClasses = Hive::Open(classes, error);
            if (!userClasses) return nullptr;
        }
    }
    auto machine =
        std::make_unique<OfflineMachine>(root, std::move(system), controlSet, std::move(software),
                                         std::move(user), std::move(userClasses));
    machine->Configure(FromUtf8(userName));
    error->clear();
    return machine;
}

}  // namespace platform::offline
