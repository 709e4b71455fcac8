// What only the memory machine has: its set-up, injected faults, call logs and per-thread state.
// Its answers to the Win32 calls themselves are checked by the contract suite, next to Win32's.
#include "platform/memory/memory_machine.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/version_block_builder.h"

namespace {

using namespace platform;
using platform::memory::MemoryMachine;
using Names = std::vector<std::u16string>;

// Every name a search gives, in order; or the error code as "#n" when it finds nothing.
Names Find(MemoryMachine& machine, const char16_t* pattern) {
    FindData data;
    FindHandle h = machine.files().FindFirst(pattern, &data);
    if (h == nullptr) return {u"#" + std::u16string(1, char16_t(u'0' + machine.LastError()))};
    Names names{data.name};
    while (machine.files().FindNext(h, &data)) names.push_back(data.name);
    machine.files().FindClose(h);
    return names;
}

TEST(MemoryFiles, VolumesCurrentFolderAndInjectedFaults) {
    MemoryMachine machine;
    Files& files = machine.files();
    machine.AddFile(u"C:\\Windows\\win.ini", "abc");
    machine.AddFolder(u"C:\\Windows\\System32");
    // A drive's root has no dot entries.
    EXPECT_EQ(Find(machine, u"C:\\*"), Names{u"Windows"});
    EXPECT_EQ(Find(machine, u""), Names{u"#3"});
    EXPECT_EQ(Find(machine, u"D:\\*"), Names{u"#3"});

    EXPECT_EQ(files.CurrentDirectory(), u"C:");
    machine.SetCurrentDirectory(u"C:\\Windows\\");
    EXPECT_EQ(files.CurrentDirectory(), u"C:\\Windows");
    EXPECT_EQ(Find(machine, u"win.*"), Names{u"win.ini"});
    EXPECT_EQ(Find(machine, u"..\\Windows\\System32"), Names{u"System32"});
    EXPECT_EQ(Find(machine, u"\\Windows\\win.ini"), Names{u"win.ini"});
    machine.AddFile(u"\\\\Server\\Share\\Tools\\t.exe");
    EXPECT_TRUE(machine.HasFile(u"\\\\server\\share\\tools\\T.EXE"));
    EXPECT_FALSE(machine.HasFile(u"C:\\Windows"));
    EXPECT_EQ(Find(machine, u"\\\\SERVER\\share\\*"), Names{u"Tools"});

    FindData data;
    FindHandle h = files.FindFirst(u"win.ini", &data);
    ASSERT_NE(h, nullptr);
    files.FindClose(h);
    EXPECT_FALSE(files.FindNext(h, &data));
    EXPECT_EQ(machine.LastError(), static_cast<std::uint32_t>(kErrorInvalidHandle));

    machine.FailDelete(u"C:\\Windows\\win.ini", kErrorAccessDenied);
    EXPECT_EQ(files.RemoveFile(u"C:\\Windows\\win.ini"), kErrorAccessDenied);
    EXPECT_TRUE(machine.HasFile(u"C:\\windows\\WIN.INI"));
}

// Links, their faults and special folder faults show through the tools that read them.
TEST(MemoryShell, SpecialFoldersAndComPerThread) {
    MemoryMachine machine;
    Shell& shell = machine.shell();
    EXPECT_EQ(shell.GetSpecialFolder(kCsidlStartup).locationResult,
              HResultFromWin32(kErrorFileNotFound));
    machine.SetSpecialFolder(kCsidlWindows, u"C:\\Windows\\");
    const SpecialFolder folder = shell.GetSpecialFolder(kCsidlWindows);
    EXPECT_EQ(folder.locationResult, kSOk);
    EXPECT_TRUE(folder.pathFound);
    EXPECT_EQ(folder.path, u"C:\\Windows");

    EXPECT_EQ(shell.ComInitialize(), kSOk);
    EXPECT_EQ(shell.ComInitialize(), kSFalse);
    HResult other = 99;
    std::thread([&] { other = shell.ComInitialize(); }).join();
    EXPECT_EQ(other, kSOk);
}

TEST(MemoryProcesses, IdsAndTerminations) {
    MemoryMachine machine;
    Processes& processes = machine.processes();
    ShellExecuteInfo info;
    info.cbSize = sizeof info;
    info.fMask = kSeeMaskNoCloseProcess;
    info.lpFile = u"regedit.exe";
    machine.AddProcess(1000, u"taken.exe");
    std::uint32_t id = 0;
    ASSERT_EQ(processes.Start(info, &id), kErrorSuccess);
    EXPECT_GT(id, 1000u);  // new ids go past the processes the machine has
    EXPECT_TRUE(processes.IsRunning(id));
    info.fMask = 0;
    std::uint32_t unknown = 5;
    ASSERT_EQ(processes.Start(info, &unknown), kErrorSuccess);
    EXPECT_EQ(unknown, 0u);  // no process handle asked for, so no id
    machine.FailStart(kErrorFileNotFound);
    EXPECT_EQ(processes.Start(info, &unknown), kErrorFileNotFound);
    EXPECT_EQ(machine.Started().size(), 2u);

    EXPECT_EQ(processes.Terminate(id), kErrorSuccess);
    EXPECT_FALSE(processes.IsRunning(id));
    EXPECT_EQ(processes.Terminate(id), kErrorInvalidParameter);
    EXPECT_EQ(machine.Terminated(), std::vector<std::uint32_t>{id});
}

TEST(MemoryWindows, FindRulesAndTheCallLog) {
    MemoryMachine machine;
    Windows& windows = machine.windows();
    WindowHandle main = machine.AddWindow(u"EditorClass", u"Editor", 77);
    WindowHandle second = machine.AddWindow(u"EditorClass", u"Other", 78);
    WindowHandle tree = machine.AddWindow(u"SysTreeView32", u"", 77, main);
    WindowHandle list = machine.AddWindow(u"SysTreeView32", u"", 77, main);
    EXPECT_EQ(windows.Find(u"editorclass", nullptr), main);
    EXPECT_EQ(windows.Find(nullptr, u"Other"), second);
    EXPECT_EQ(windows.Find(u"EditorClass", u"OTHER"), second);
    EXPECT_EQ(windows.Find(u"EditorClass", u"Edit"), nullptr);    // titles match whole
    EXPECT_EQ(windows.Find(u"SysTreeView32", nullptr), nullptr);  // children aren't top-level
    EXPECT_EQ(windows.FindChild(main, nullptr, u"SysTreeView32", nullptr), tree);
    EXPECT_EQ(windows.FindChild(main, tree, u"SysTreeView32", nullptr), list);
    EXPECT_EQ(windows.FindChild(main, list, u"SysTreeView32", nullptr), nullptr);
    EXPECT_EQ(windows.GetProcessId(second), 78u);

    EXPECT_FALSE(windows.IsWindow(reinterpret_cast<WindowHandle>(99)));

    // The log lines of the calls that change nothing (the others are checked where they are
    // used); a null text shows as "(null)".
    const std::vector<std::string>& calls = machine.WindowCalls();
    ASSERT_GE(calls.size(), 6u);
    EXPECT_EQ(calls[0], "Find editorclass (null)");
    EXPECT_EQ(calls[5], "FindChild 0x1 0x0 SysTreeView32 (null)");
    EXPECT_EQ(calls.back(), "IsWindow 0x63");
}

TEST(MemoryTrace, MessagesLoseTheirStampAndThreadButLinesKeepThem) {
    MemoryMachine machine;
    TraceSink& trace = machine.trace();
    const unsigned long mine = trace.CurrentThreadId();
    EXPECT_EQ(trace.CurrentThreadId(), mine);
    unsigned long other = mine;
    std::thread([&] { other = trace.CurrentThreadId(); }).join();
    EXPECT_NE(other, mine);

    trace.WriteLine(u"vistrel.log", "12:00:00.000 [260] [vistrel] a [b] c");
    trace.WriteLine(u"other.log", "no prefix");
    EXPECT_EQ(machine.TraceLines(),
              (std::vector<std::string>{"12:00:00.000 [260] [vistrel] a [b] c", "no prefix"}));
    EXPECT_EQ(machine.TraceMessages(),
              (std::vector<std::string>{"[vistrel] a [b] c", "no prefix"}));
}

TEST(MemoryResources, StringsByIdAndLastErrorPerThread) {
    MemoryMachine machine;
    machine.SetStringResource(22206, u"Version");
    std::u16string text = u"old";
    EXPECT_EQ(machine.resources().LoadText(22206, &text), 7);
    EXPECT_EQ(text, u"Version");
    EXPECT_EQ(machine.resources().LoadText(1, &text), 0);
    EXPECT_TRUE(text.empty());

    std::string bytes;
    machine.files().ReadAll(u"C:\\missing", &bytes);
    std::uint32_t seenElsewhere = 99;
    std::thread([&] { seenElsewhere = machine.LastError(); }).join();
    EXPECT_EQ(seenElsewhere, 0u);
    EXPECT_EQ(machine.LastError(), static_cast<std::uint32_t>(kErrorFileNotFound));
}

// What Win32 can't be made to show: a root that refuses to go, an injected enumeration failure.
TEST(MemoryRegistry, RootsStayAndEnumerationFaultsReachSubKeysToo) {
    MemoryMachine machine;
    Registry& reg = machine.registry();
    machine.AddKey(kHkeyLocalMachine, u"Software\\Vendor");
    EXPECT_EQ(reg.DeleteTree(kHkeyLocalMachine, u""), kErrorAccessDenied);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, u"Software\\Vendor"));
    machine.FailEnumeration(kHkeyLocalMachine, u"Software", kErrorGenFailure);
    RegKey key = nullptr;
    ASSERT_EQ(reg.OpenKey(kHkeyLocalMachine, u"Software", kKeyRead, &key), kErrorSuccess);
    char16_t name[8];
    std::uint32_t chars = 8;
    EXPECT_EQ(reg.EnumKey(key, 0, name, &chars), kErrorGenFailure);
    reg.CloseKey(key);
}

TEST(MemoryVersion, BlocksAreHandedOutAsStoredAndReadOnlyWithinTheirBytes) {
    MemoryMachine machine;
    VersionInfo& version = machine.version();
    const std::string block = testsupport::BuildVersionBlock({});
    machine.AddFile(u"C:\\App\\plain.exe");
    EXPECT_EQ(version.GetSize(u"C:\\App\\plain.exe"), 0u);
    EXPECT_EQ(machine.LastError(), static_cast<std::uint32_t>(kErrorResourceTypeNotFound));

    // Each copy lands in a buffer that holds a whole block from before: a query must not read
    // those stale bytes behind what was really copied, whatever the block's first word claims.
    const struct {
        std::string stored;
        std::uint32_t asked;  // 0: the size GetSize gives
        bool readable;
    } cases[] = {{block, 0, true},
                 {block, 8, false},  // a copy cut short
                 {block.substr(0, 1), 0, false},
                 {block.substr(0, block.size() - 4), 0, false}};  // claims more than it holds
    for (const auto& c : cases) {
        machine.SetVersionBlock(u"C:\\App\\app.exe", c.stored);
        const std::uint32_t size = version.GetSize(u"c:\\app\\APP.EXE");
        ASSERT_EQ(size, c.stored.size());
        std::string buffer = block;
        ASSERT_TRUE(version.Get(u"C:\\App\\app.exe", c.asked ? c.asked : size, buffer.data()));
        const void* value = nullptr;
        std::uint32_t length = 0;
        EXPECT_EQ(version.Query(buffer.data(), u"\\", &value, &length), c.readable) << c.asked;
    }
}

}  // namespace
