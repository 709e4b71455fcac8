// The memory machine's state and the classes that answer each platform concern from it.
// Internal to platform/memory: tests use memory_machine.h only.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/machine.h"
#include "platform/memory/memory_machine.h"

namespace platform::memory::detail {

// Win32 codes only the memory machine needs.
inline constexpr Status kErrorKeyDeleted = 1018;
inline constexpr Status kErrorEnvVarNotFound = 203;
inline constexpr Status kErrorDirectory = 267;
inline constexpr Status kErrorInvalidName = 123;
inline constexpr Status kErrorResourceNameNotFound = 1814;

struct MachineState;

// ---------------------------------------------------------------- registry
struct RegValue {
    std::u16string name;
    std::uint32_t type = kRegNone;
    std::string data;
};

struct RegNode {
    std::u16string name;
    RegNode* parent = nullptr;
    std::vector<RegValue> values;  // in the order they were first set
    // Keyed by the folded name: sub-keys enumerate in the system's sorted order.
    std::map<std::u16string, std::shared_ptr<RegNode>> children;
    bool deleted = false;
    bool deniedAll = false;
    bool deniedOpen = false;
    Status failEnumeration = kErrorSuccess;
    Status failWrites = kErrorSuccess;
    int openCount = 0;

    RegValue* FindValue(std::u16string_view valueName);
    RegNode* FindChild(std::u16string_view childName) const;
};

struct RegHandle {
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
};

class MemoryRegistry : public Registry {
  public:
    explicit MemoryRegistry(MachineState& state);

    Status OpenKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                   RegKey* result) override;
    Status CreateKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                     RegKey* result) override;
    Status CloseKey(RegKey key) override;
    Status QueryValue(RegKey key, const char16_t* name, std::uint32_t* type, void* data,
                      std::uint32_t* dataBytes) override;
    Status EnumValue(RegKey key, std::uint32_t index, char16_t* name, std::uint32_t* nameChars,
                     std::uint32_t* type, void* data, std::uint32_t* dataBytes) override;
    Status EnumKey(RegKey key, std::uint32_t index, char16_t* name,
                   std::uint32_t* nameChars) override;
    Status SetValue(RegKey key, const char16_t* name, std::uint32_t type, const void* data,
                    std::uint32_t dataBytes) override;
    Status DeleteValue(RegKey key, const char16_t* name) override;
    Status SetCountedValue(RegKey key, std::u16string_view name, std::uint32_t type,
                           const void* data, std::uint32_t dataBytes) override;
    Status DeleteCountedValue(RegKey key, std::u16string_view name) override;
    Status DeleteTree(RegKey parent, const char16_t* subKey) override;
    Status DenyAllAccess(RegKey parent, const char16_t* subKey) override;
    Status AllowAllAccess(RegKey parent, const char16_t* subKey) override;

    // Set-up helpers (called with the state's lock held).
    RegNode* Find(RegKey root, std::u16string_view path);
    RegNode* Ensure(RegKey root, std::u16string_view path);

  private:
    // The node behind a root or an open handle, and the handle's access.
    Status Resolve(RegKey key, std::shared_ptr<RegNode>* node, std::uint32_t* access);
    RegKey NewHandle(std::shared_ptr<RegNode> node, std::uint32_t access);
    bool IsRoot(RegKey key) const;
    static Status WriteFault(const RegNode* node);

    MachineState& state_;
    std::vector<std::pair<RegKey, std::shared_ptr<RegNode>>> roots_;
    std::map<std::uintptr_t, RegHandle> handles_;
    std::uintptr_t nextHandle_ = 0x100;
};

// ---------------------------------------------------------------- environment
class MemoryEnvironment : public Environment {
  public:
    explicit MemoryEnvironment(MachineState& state) : state_(state) {}

    std::uint32_t ExpandStrings(const char16_t* source, char16_t* dest,
                                std::uint32_t destChars) override;
    bool SetVariable(const char16_t* name, const char16_t* value) override;
    bool GetVariable(const char16_t* name, std::u16string* value) override;

    void Set(std::u16string_view name, std::u16string_view value);
    const std::u16string* Lookup(std::u16string_view name) const;

  private:
    MachineState& state_;
    // Keyed by the folded name; the first spelling is kept.
    std::map<std::u16string, std::pair<std::u16string, std::u16string>> variables_;
};

// ---------------------------------------------------------------- trace
class MemoryTrace : public TraceSink {
  public:
    explicit MemoryTrace(MachineState& state) : state_(state) {}

    void WriteLine(std::u16string_view fileName, std::string_view line) override;
    unsigned long CurrentThreadId() override;

    std::vector<std::pair<std::u16string, std::string>> lines;

  private:
    MachineState& state_;
    std::map<std::thread::id, unsigned long> threadIds_;
};

// ---------------------------------------------------------------- files
struct LinkInfo {
    LinkStep failsAt = LinkStep::kNone;
    std::u16string target;
};

struct FileNode {
    std::u16string name;
    bool folder = false;
    std::uint32_t attributes = 0;
    std::string bytes;
    std::map<std::u16string, std::unique_ptr<FileNode>> children;  // keyed by the folded name
    Status failDelete = kErrorSuccess;
    std::optional<std::string> versionBlock;
    std::optional<LinkInfo> link;

    FileNode* FindChild(std::u16string_view childName) const;
};

// A path taken apart: the volume ("C:" or "\\server\share") and the components below it.
struct ParsedPath {
    bool valid = false;
    std::u16string volume;
    std::vector<std::u16string> parts;
    bool trailingSeparator = false;
};

class MemoryFiles : public Files {
  public:
    explicit MemoryFiles(MachineState& state);

    FindHandle FindFirst(const char16_t* pattern, FindData* data) override;
    bool FindNext(FindHandle handle, FindData* data) override;
    void FindClose(FindHandle handle) override;
    Status ReadAll(const char16_t* path, std::string* bytes) override;
    Status WriteAll(const char16_t* path, std::string_view bytes) override;
    Status Append(const char16_t* path, std::string_view bytes) override;
    Status RemoveFile(const char16_t* path) override;
    Status MakeDirectory(const char16_t* path) override;
    Status RemoveEmptyDirectory(const char16_t* path) override;
    bool GetAttributes(const char16_t* path, std::uint32_t* attributes) override;
    std::u16string CurrentDirectory() override;
    std::uint32_t ReadProfileSection(const char16_t* fileName, const char16_t* section,
                                     char16_t* buffer, std::uint32_t chars) override;

    ParsedPath Parse(std::u16string_view path) const;
    // The node at the path, or null with *status kErrorFileNotFound (last piece missing) or
    // kErrorPathNotFound (a folder on the way missing or not a folder).
    FileNode* Lookup(const ParsedPath& path, Status* status);
    // The folder that holds the path's last piece, or null (kErrorPathNotFound).
    FileNode* Parent(const ParsedPath& path, Status* status);
    FileNode* EnsureFolder(std::u16string_view path);
    FileNode* EnsureFile(std::u16string_view path);
    void SetCurrent(std::u16string_view path);

    int findFirstCount = 0;

  private:
    struct Search {
        std::vector<FindData> entries;
        std::size_t next = 0;
    };
    FileNode* Volume(std::u16string_view volume, bool create);
    Status Store(const char16_t* path, std::string_view bytes, bool append);

    MachineState& state_;
    std::map<std::u16string, std::unique_ptr<FileNode>> volumes_;  // keyed by the folded volume
    std::u16string current_ = u"C:\\";
    std::map<std::uintptr_t, Search> searches_;
    std::uintptr_t nextSearch_ = 0x40;
};

// ---------------------------------------------------------------- shell, version, resources
class MemoryShell : public Shell {
  public:
    explicit MemoryShell(MachineState& state) : state_(state) {}

    SpecialFolder GetSpecialFolder(int csidl) override;
    HResult ComInitialize() override;
    LinkStep ReadLink(const char16_t* linkPath, std::u16string* target) override;
    HResult CreateLink(const char16_t* linkPath, const char16_t* target) override;

    std::map<int, SpecialFolder> folders;
    std::optional<HResult> comFailure;

  private:
    MachineState& state_;
    std::set<std::thread::id> comThreads_;
};

class MemoryVersion : public VersionInfo {
  public:
    explicit MemoryVersion(MachineState& state) : state_(state) {}

    std::uint32_t GetSize(const char16_t* path) override;
    bool Get(const char16_t* path, std::uint32_t size, void* block) override;
    bool Query(const void* block, const char16_t* subBlock, const void** buffer,
               std::uint32_t* length) override;

  private:
    const std::string* Block(const char16_t* path);
    MachineState& state_;
    // The bytes Get wrote into each buffer it filled: a query reads no further, whatever the
    // block's first word claims.
    std::map<const void*, std::uint32_t> filled_;
};

class MemoryResources : public Resources {
  public:
    explicit MemoryResources(MachineState& state) : state_(state) {}
    int LoadText(std::uint32_t id, std::u16string* text) override;

    std::map<std::uint32_t, std::u16string> strings;

  private:
    MachineState& state_;
};

// ---------------------------------------------------------------- processes, windows
class MemoryProcesses : public Processes {
  public:
    explicit MemoryProcesses(MachineState& state) : state_(state) {}

    Status Start(const ShellExecuteInfo& info, std::uint32_t* processId) override;
    Status Terminate(std::uint32_t processId) override;
    bool IsRunning(std::uint32_t processId) override;
    bool GetOsVersion(std::uint32_t* major, std::uint32_t* minor) override;
    bool GetTokenElevation(bool* elevated, int* elevationType) override;
    std::uint32_t TickCount() override;

    // The process table, in id order: the order the snapshots and the id query deliver.
    std::map<std::uint32_t, MemoryProcess> running;
    std::vector<StartedProcess> started;
    std::vector<std::uint32_t> terminated;
    std::map<std::uint32_t, Status> failTerminate;
    Status failStart = kErrorSuccess;
    std::uint32_t nextProcessId = 1000;
    bool osVersionReadable = true;
    std::uint32_t osMajor = 10;
    std::uint32_t osMinor = 0;
    bool elevated = false;
    // TokenElevationTypeDefault: an account without a split token, as with UAC turned off.
    int elevationType = 1;
    std::uint32_t ticks = 0, tickStep = 0;

  private:
    MachineState& state_;
};

class MemoryProcessEnumeration : public ProcessEnumeration {
  public:
    explicit MemoryProcessEnumeration(MachineState& state);

    ModuleHandle LoadSystemLibrary(const char16_t* name) override;
    void FreeSystemLibrary(ModuleHandle module) override;
    FunctionHandle FindFunction(ModuleHandle module, const char* name) override;
    std::uint32_t VersionWord() override;
    bool VersionEx(OsVersionEx* version) override;
    SnapshotHandle CallCreateSnapshot(FunctionHandle create, std::uint32_t flags,
                                      std::uint32_t processId) override;
    bool CallSnapshotWalk(FunctionHandle walk, SnapshotHandle snapshot, void* entry) override;
    void CloseSnapshot(SnapshotHandle snapshot) override;
    int LocaleInfoA(std::uint32_t lcType, char* buffer, int capacity) override;
    std::uint32_t AnsiCodePage() override;
    int ToWide(std::uint32_t codePage, std::uint32_t flags, const char* bytes, int byteCount,
               char16_t* out, int outChars) override;
    Status ProcessIds(std::vector<std::uint32_t>* ids) override;
    Status ProcessImagePath(std::uint32_t processId, std::u16string* path) override;
    Status ProcessModulePaths(std::uint32_t processId, std::vector<std::u16string>* paths) override;

    struct Library {
        bool loadable = true;
        std::set<std::string> exports;
        int references = 0;
    };
    // Keyed by the folded name.
    std::map<std::u16string, Library> libraries;
    Status failProcessSnapshot = kErrorSuccess;
    Status failProcessIds = kErrorSuccess;
    std::optional<std::uint32_t> versionWord;
    std::uint32_t platformId = kVerPlatformWin32Nt;
    std::uint32_t localeCodePage = 1252;
    std::uint32_t acp = 1252;
    int calls = 0;

    int LoadedLibraries() const;
    int OpenSnapshots() const { return static_cast<int>(snapshots_.size()); }

  private:
    struct Snapshot {
        bool modules = false;
        std::uint32_t processId = 0;
        std::vector<std::pair<std::uint32_t, MemoryProcess>> processes;  // a process list
        std::vector<std::u16string> modulePaths;                         // a module list
        std::size_t next = 0;
    };
    struct Function {
        std::u16string library;
        std::string name;
    };
    Status Fail(Status status);
    bool Walk(const Function& function, Snapshot& snapshot, void* entry);

    MachineState& state_;
    std::map<std::uintptr_t, std::u16string> modules_;  // handle -> folded library name
    std::map<std::uintptr_t, Function> functions_;
    std::map<std::uintptr_t, Snapshot> snapshots_;
    std::uintptr_t nextHandle_ = 0x7000;
};

struct WindowRecord {
    std::uintptr_t id = 0;
    std::u16string className;
    std::u16string title;
    std::uint32_t processId = 0;
    std::uintptr_t parent = 0;
    std::uint32_t showCmd = 1;  // SW_SHOWNORMAL
    bool failSetFocus = false;
};

class MemoryWindows : public Windows {
  public:
    explicit MemoryWindows(MachineState& state) : state_(state) {}

    WindowHandle Find(const char16_t* className, const char16_t* title) override;
    WindowHandle FindChild(WindowHandle parent, WindowHandle after, const char16_t* className,
                           const char16_t* title) override;
    bool IsWindow(WindowHandle window) override;
    std::uint32_t GetProcessId(WindowHandle window) override;
    bool GetShowCommand(WindowHandle window, std::uint32_t* showCmd) override;
    bool Show(WindowHandle window, int command) override;
    bool SetForeground(WindowHandle window) override;
    bool SetFocus(WindowHandle window) override;
    std::intptr_t Send(WindowHandle window, std::uint32_t message, std::uintptr_t wParam,
                       std::intptr_t lParam) override;
    void Sleep(std::uint32_t milliseconds) override;

    WindowRecord* Record(WindowHandle window);
    // Windows are added in Z order from the top: the first added is found first.
    std::vector<WindowRecord> windows;
    std::vector<std::string> calls;
    std::uintptr_t nextWindow = 1;

  private:
    WindowHandle Search(std::uintptr_t parent, WindowHandle after, const char16_t* className,
                        const char16_t* title);
    void Log(std::string call);
    MachineState& state_;
};

std::string HandleText(WindowHandle window);

// ---------------------------------------------------------------- the whole machine
struct MachineState {
    MachineState();

    void SetLastError(std::uint32_t code);
    std::uint32_t LastError();

    // One lock for the whole machine: tests drive it from a worker thread and the test thread.
    std::recursive_mutex mutex;
    std::map<std::thread::id, std::uint32_t> lastErrors;

    MemoryRegistry registry;
    MemoryEnvironment environment;
    MemoryFiles files;
    MemoryShell shell;
    MemoryVersion version;
    MemoryProcesses processes;
    MemoryProcessEnumeration processEnumeration;
    MemoryWindows windows;
    MemoryResources resources;
    MemoryTrace trace;
};

using Lock = std::lock_guard<std::recursive_mutex>;

}  // namespace platform::memory::detail

namespace platform::memory {
struct MemoryMachine::State : detail::MachineState {};
}  // namespace platform::memory
