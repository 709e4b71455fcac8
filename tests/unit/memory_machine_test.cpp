// The memory machine's environment, files, shell, processes, windows and trace, against the
// answers the Win32 calls give (checked under Wine) and the set-up and logs only it has.
#include "platform/memory/memory_machine.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/version_block_builder.h"

namespace {

using namespace platform;
using platform::memory::MemoryMachine;

std::u16string Expand(Environment& env, const char16_t* text, std::uint32_t* needed) {
    char16_t out[64] = {};
    *needed = env.ExpandStrings(text, out, 64);
    return out;
}

TEST(MemoryEnvironment, ExpansionFollowsTheSystem) {
    MemoryMachine machine;
    Environment& env = machine.environment();
    machine.SetEnv(u"Foo", u"bar");
    const struct {
        const char16_t* source;
        const char16_t* expanded;
    } cases[] = {{u"%foo%\\x", u"bar\\x"},
                 {u"%UNKNOWN%", u"%UNKNOWN%"},
                 {u"%%", u"%%"},
                 {u"%FOO%%FOO%", u"barbar"},
                 {u"%UNDEF%FOO%", u"%UNDEF%FOO%"},
                 {u"%UNDEF%%FOO%", u"%UNDEF%bar"},
                 {u"x%FOO", u"x%FOO"},
                 {u"", u""}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        std::uint32_t needed = 0;
        EXPECT_EQ(Expand(env, cases[i].source, &needed), cases[i].expanded) << "case " << i;
        EXPECT_EQ(needed, std::u16string(cases[i].expanded).size() + 1) << "case " << i;
    }
    char16_t small[3] = {u'Q', u'Q', u'Q'};
    EXPECT_EQ(env.ExpandStrings(u"%FOO%xyz", small, 3), 7u);
    EXPECT_EQ(env.ExpandStrings(u"%FOO%xyz", nullptr, 0), 7u);

    std::u16string value;
    EXPECT_TRUE(env.GetVariable(u"FOO", &value));
    EXPECT_EQ(value, u"bar");
    EXPECT_TRUE(env.SetVariable(u"foo", nullptr));
    EXPECT_FALSE(env.GetVariable(u"Foo", &value));
    EXPECT_EQ(machine.LastError(), 203u);
    EXPECT_TRUE(env.SetVariable(u"never", nullptr));
    EXPECT_FALSE(env.SetVariable(u"A=B", u"x"));
    EXPECT_EQ(machine.LastError(), static_cast<std::uint32_t>(kErrorInvalidParameter));
}

class MemoryFilesTest : public testing::Test {
  protected:
    MemoryFilesTest() : files_(machine_.files()) {
        machine_.AddFile(u"C:\\Windows\\win.ini", "abc");
        machine_.AddFile(u"C:\\Windows\\Notepad.exe");
        machine_.AddFolder(u"C:\\Windows\\System32");
    }
    // Every name a search gives, in order; or the error code as "#n" when it finds nothing.
    std::vector<std::u16string> Names(const char16_t* pattern) {
        FindData data;
        FindHandle h = files_.FindFirst(pattern, &data);
        if (h == nullptr) return {u"#" + std::u16string(1, char16_t(u'0' + machine_.LastError()))};
        std::vector<std::u16string> names{data.name};
        while (files_.FindNext(h, &data)) names.push_back(data.name);
        EXPECT_EQ(machine_.LastError(), static_cast<std::uint32_t>(kErrorNoMoreFiles));
        files_.FindClose(h);
        return names;
    }

    MemoryMachine machine_;
    Files& files_;
};

TEST_F(MemoryFilesTest, FindGivesDotEntriesSortedNamesAndSystemErrors) {
    using V = std::vector<std::u16string>;
    EXPECT_EQ(Names(u"c:/windows/*"), (V{u".", u"..", u"Notepad.exe", u"System32", u"win.ini"}));
    EXPECT_EQ(Names(u"C:\\*"), (V{u"Windows"}));  // a drive's root has no dot entries
    EXPECT_EQ(Names(u"C:\\Windows\\*.ini"), (V{u"win.ini"}));
    EXPECT_EQ(Names(u"C:\\Windows\\*.*"),
              (V{u".", u"..", u"Notepad.exe", u"System32", u"win.ini"}));
    EXPECT_EQ(Names(u"C:\\Windows\\w?n.INI"), (V{u"win.ini"}));
    EXPECT_EQ(Names(u"C:\\WINDOWS"), (V{u"Windows"}));
    EXPECT_EQ(Names(u"C:\\Windows\\System32\\..\\win.ini"), (V{u"win.ini"}));
    EXPECT_EQ(Names(u"C:\\Windows\\"), (V{u"#2"}));
    EXPECT_EQ(Names(u"C:\\Windows\\nothing"), (V{u"#2"}));
    EXPECT_EQ(Names(u"C:\\Nowhere\\*"), (V{u"#3"}));
    EXPECT_EQ(Names(u""), (V{u"#3"}));
    // Wildcards outside the last component make the name invalid (123).
    EXPECT_EQ(machine_.files().FindFirst(u"C:\\Win*\\win.ini", nullptr), nullptr);
    EXPECT_EQ(machine_.LastError(), 123u);

    FindData data;
    FindHandle h = files_.FindFirst(u"C:\\Windows\\win.ini", &data);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(data.size, 3u);
    EXPECT_EQ(data.attributes, kFileAttributeArchive);
    files_.FindClose(h);
    EXPECT_FALSE(files_.FindNext(h, &data));
    EXPECT_EQ(machine_.LastError(), static_cast<std::uint32_t>(kErrorInvalidHandle));
}

TEST_F(MemoryFilesTest, FileCallsAnswerWithTheSystemCodes) {
    std::string bytes;
    EXPECT_EQ(files_.ReadAll(u"c:\\WINDOWS\\WIN.INI", &bytes), kErrorSuccess);
    EXPECT_EQ(bytes, "abc");
    EXPECT_EQ(files_.ReadAll(u"C:\\Windows\\none.ini", &bytes), kErrorFileNotFound);
    EXPECT_EQ(files_.ReadAll(u"C:\\None\\none.ini", &bytes), kErrorPathNotFound);
    EXPECT_EQ(files_.ReadAll(u"C:\\Windows", &bytes), kErrorAccessDenied);
    EXPECT_EQ(files_.WriteAll(u"C:\\None\\a.txt", "x"), kErrorPathNotFound);
    EXPECT_EQ(files_.Append(u"C:\\Windows\\win.ini", "de"), kErrorSuccess);
    EXPECT_EQ(files_.Append(u"C:\\Windows\\new.log", "1"), kErrorSuccess);
    files_.ReadAll(u"C:\\Windows\\win.ini", &bytes);
    EXPECT_EQ(bytes, "abcde");

    EXPECT_EQ(files_.RemoveFile(u"C:\\Windows"), kErrorAccessDenied);
    EXPECT_EQ(files_.RemoveFile(u"C:\\Windows\\gone"), kErrorFileNotFound);
    EXPECT_EQ(files_.RemoveFile(u"C:\\Gone\\gone"), kErrorPathNotFound);
    machine_.FailDelete(u"C:\\Windows\\new.log", kErrorAccessDenied);
    EXPECT_EQ(files_.RemoveFile(u"C:\\Windows\\new.log"), kErrorAccessDenied);
    EXPECT_TRUE(machine_.HasFile(u"C:\\windows\\NEW.LOG"));

    EXPECT_EQ(files_.MakeDirectory(u"C:\\Windows"), kErrorAlreadyExists);
    EXPECT_EQ(files_.MakeDirectory(u"C:\\Windows\\win.ini"), kErrorAlreadyExists);
    EXPECT_EQ(files_.MakeDirectory(u"C:\\A\\B"), kErrorPathNotFound);
    EXPECT_EQ(files_.RemoveEmptyDirectory(u"C:\\Windows"), kErrorDirNotEmpty);
    EXPECT_EQ(files_.RemoveEmptyDirectory(u"C:\\Windows\\win.ini"), 267);
    EXPECT_EQ(files_.RemoveEmptyDirectory(u"C:\\Windows\\System32"), kErrorSuccess);
    EXPECT_EQ(files_.RemoveEmptyDirectory(u"C:\\Windows\\System32"), kErrorFileNotFound);

    std::uint32_t attributes = 0;
    EXPECT_TRUE(files_.GetAttributes(u"C:\\Windows\\", &attributes));
    EXPECT_EQ(attributes, kFileAttributeDirectory);
    EXPECT_FALSE(files_.GetAttributes(u"C:\\Windows\\win.ini\\", &attributes));
    EXPECT_EQ(machine_.LastError(), static_cast<std::uint32_t>(kErrorPathNotFound));
}

TEST_F(MemoryFilesTest, RelativePathsAndOtherVolumes) {
    EXPECT_EQ(files_.CurrentDirectory(), u"C:");
    machine_.SetCurrentDirectory(u"C:\\Windows\\");
    EXPECT_EQ(files_.CurrentDirectory(), u"C:\\Windows");
    EXPECT_EQ(Names(u"win.*"), (std::vector<std::u16string>{u"win.ini"}));
    EXPECT_EQ(Names(u"..\\Windows\\notepad.exe"), (std::vector<std::u16string>{u"Notepad.exe"}));
    EXPECT_EQ(Names(u"\\Windows\\win.ini"), (std::vector<std::u16string>{u"win.ini"}));

    machine_.AddFile(u"\\\\Server\\Share\\Tools\\t.exe");
    EXPECT_TRUE(machine_.HasFile(u"\\\\server\\share\\tools\\T.EXE"));
    EXPECT_EQ(Names(u"\\\\SERVER\\share\\*"), (std::vector<std::u16string>{u"Tools"}));
    EXPECT_EQ(Names(u"D:\\*"), (std::vector<std::u16string>{u"#3"}));
    const int before = machine_.FindFirstCount();
    Names(u"x");
    EXPECT_EQ(machine_.FindFirstCount(), before + 1);
}

TEST(MemoryShell, SpecialFoldersLinksAndCom) {
    MemoryMachine machine;
    Shell& shell = machine.shell();
    EXPECT_EQ(shell.GetSpecialFolder(kCsidlStartup).locationResult,
              HResultFromWin32(kErrorFileNotFound));
    machine.SetSpecialFolder(kCsidlWindows, u"C:\\Windows\\");
    SpecialFolder folder = shell.GetSpecialFolder(kCsidlWindows);
    EXPECT_EQ(folder.locationResult, kSOk);
    EXPECT_TRUE(folder.pathFound);
    EXPECT_EQ(folder.path, u"C:\\Windows");
    machine.FailSpecialFolderPath(kCsidlSystem);
    folder = shell.GetSpecialFolder(kCsidlSystem);
    EXPECT_EQ(folder.locationResult, kSOk);
    EXPECT_FALSE(folder.pathFound);

    EXPECT_EQ(shell.ComInitialize(), kSOk);
    EXPECT_EQ(shell.ComInitialize(), kSFalse);
    HResult other = 99;
    std::thread([&] { other = shell.ComInitialize(); }).join();
    EXPECT_EQ(other, kSOk);

    std::u16string target = u"kept";
    EXPECT_EQ(shell.ReadLink(u"C:\\none.lnk", &target), LinkStep::kLoad);
    EXPECT_EQ(shell.CreateLink(u"C:\\Missing\\a.lnk", u"C:\\a.exe"),
              HResultFromWin32(kErrorPathNotFound));
    EXPECT_EQ(shell.CreateLink(u"C:\\a.lnk", u"%windir%\\a.exe"), kSOk);
    EXPECT_EQ(shell.ReadLink(u"c:\\A.LNK", &target), LinkStep::kNone);
    EXPECT_EQ(target, u"%windir%\\a.exe");
    machine.AddBrokenLink(u"C:\\a.lnk", LinkStep::kResolve);
    target = u"kept";
    EXPECT_EQ(shell.ReadLink(u"C:\\a.lnk", &target), LinkStep::kResolve);
    EXPECT_EQ(target, u"kept");
}

TEST(MemoryProcesses, StartsTerminationsAndSystemFacts) {
    MemoryMachine machine;
    Processes& processes = machine.processes();
    ShellExecuteInfo info;
    info.cbSize = sizeof info;
    info.fMask = kSeeMaskNoCloseProcess;
    info.lpFile = u"regedit.exe";
    info.lpParameters = u"-m";
    info.nShow = kSwShow;
    machine.AddProcess(1000, u"taken.exe");
    std::uint32_t id = 0;
    ASSERT_EQ(processes.Start(info, &id), kErrorSuccess);
    EXPECT_GE(id, 1000u);
    EXPECT_NE(id, 1000u);
    EXPECT_TRUE(processes.IsRunning(id));
    info.fMask = 0;
    std::uint32_t unknown = 5;
    ASSERT_EQ(processes.Start(info, &unknown), kErrorSuccess);
    EXPECT_EQ(unknown, 0u);  // no process handle asked for, so no id
    ASSERT_EQ(machine.Started().size(), 2u);
    EXPECT_EQ(machine.Started()[0].file, u"regedit.exe");
    EXPECT_EQ(machine.Started()[0].parameters, u"-m");
    EXPECT_EQ(machine.Started()[0].processId, id);
    EXPECT_EQ(machine.Started()[0].show, kSwShow);

    machine.FailStart(kErrorFileNotFound);
    std::uint32_t failed = 5;
    EXPECT_EQ(processes.Start(info, &failed), kErrorFileNotFound);
    EXPECT_EQ(failed, 0u);
    EXPECT_EQ(machine.Started().size(), 2u);
    EXPECT_EQ(processes.Terminate(id), kErrorSuccess);
    EXPECT_FALSE(processes.IsRunning(id));
    EXPECT_EQ(processes.Terminate(id), kErrorInvalidParameter);
    machine.FailTerminate(1000, kErrorAccessDenied);
    EXPECT_EQ(processes.Terminate(1000), kErrorAccessDenied);
    EXPECT_EQ(machine.Terminated(), std::vector<std::uint32_t>{id});

    std::uint32_t major = 0, minor = 9;
    EXPECT_TRUE(processes.GetOsVersion(&major, &minor));
    EXPECT_EQ(major * 100 + minor, 1000u);
    machine.FailOsVersion();
    EXPECT_FALSE(processes.GetOsVersion(&major, &minor));
    bool elevated = true;
    int type = 0;
    EXPECT_TRUE(processes.GetTokenElevation(&elevated, &type));
    EXPECT_FALSE(elevated);
    EXPECT_EQ(type, 1);
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
    EXPECT_EQ(windows.Find(u"EditorClass", u"editor"), nullptr);  // titles compare exactly
    EXPECT_EQ(windows.Find(u"SysTreeView32", nullptr), nullptr);  // children aren't top-level
    EXPECT_EQ(windows.FindChild(main, nullptr, u"SysTreeView32", nullptr), tree);
    EXPECT_EQ(windows.FindChild(main, tree, u"SysTreeView32", nullptr), list);
    EXPECT_EQ(windows.FindChild(main, list, u"SysTreeView32", nullptr), nullptr);
    EXPECT_EQ(windows.GetProcessId(second), 78u);

    machine.SetShowCommand(main, kSwShowMinimized);
    std::uint32_t show = 0;
    EXPECT_TRUE(windows.GetShowCommand(main, &show));
    EXPECT_EQ(show, static_cast<std::uint32_t>(kSwShowMinimized));
    windows.Show(main, kSwRestore);
    EXPECT_TRUE(windows.GetShowCommand(main, &show));
    EXPECT_EQ(show, 1u);
    machine.FailSetFocus(tree);
    EXPECT_FALSE(windows.SetFocus(tree));
    EXPECT_TRUE(windows.SetForeground(main));
    windows.Send(tree, kWmKeyDown, kVkLeft, 0);
    windows.Sleep(100);
    EXPECT_FALSE(windows.IsWindow(reinterpret_cast<WindowHandle>(99)));

    const std::vector<std::string>& calls = machine.WindowCalls();
    ASSERT_GE(calls.size(), 8u);
    EXPECT_EQ(calls[0], "Find editorclass (null)");
    EXPECT_EQ(calls[4], "FindChild 0x1 0x0 SysTreeView32 (null)");
    const std::vector<std::string> tail(calls.end() - 7, calls.end());
    EXPECT_EQ(tail, (std::vector<std::string>{"Show 0x1 9", "GetShowCommand 0x1", "SetFocus 0x3",
                                              "SetForeground 0x1", "Send 0x3 256 37 0", "Sleep 100",
                                              "IsWindow 0x63"}));
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
    machine.ClearTrace();
    EXPECT_TRUE(machine.TraceLines().empty());
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

TEST(MemoryVersion, BlocksAreHandedOutAsStoredAndQueriedThroughTheReader) {
    MemoryMachine machine;
    VersionInfo& version = machine.version();
    testsupport::VersionBlockContents contents;
    contents.fileVersion = {1, 2, 3, 4};
    contents.tables.push_back({0x0409, 0x04B0, {{u"CompanyName", u"Maker"}}});
    contents.translations = {{0x0409, 0x04B0}};
    const std::string block = testsupport::BuildVersionBlock(contents);
    machine.SetVersionBlock(u"C:\\App\\app.exe", block);
    machine.AddFile(u"C:\\App\\plain.exe");

    EXPECT_EQ(version.GetSize(u"C:\\App\\missing.exe"), 0u);
    EXPECT_EQ(machine.LastError(), static_cast<std::uint32_t>(kErrorFileNotFound));
    EXPECT_EQ(version.GetSize(u"C:\\App\\plain.exe"), 0u);
    EXPECT_EQ(machine.LastError(), static_cast<std::uint32_t>(kErrorResourceTypeNotFound));
    const std::uint32_t size = version.GetSize(u"c:\\app\\APP.EXE");
    ASSERT_EQ(size, block.size());

    std::vector<char> copy(size);
    ASSERT_TRUE(version.Get(u"C:\\App\\app.exe", size, copy.data()));
    const void* value = nullptr;
    std::uint32_t length = 0;
    ASSERT_TRUE(
        version.Query(copy.data(), u"\\StringFileInfo\\040904B0\\CompanyName", &value, &length));
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(value)), u"Maker");
    ASSERT_TRUE(version.Query(copy.data(), u"\\", &value, &length));
    EXPECT_EQ(length, 52u);  // sizeof(VS_FIXEDFILEINFO)
    EXPECT_FALSE(
        version.Query(copy.data(), u"\\StringFileInfo\\04070000\\CompanyName", &value, &length));

    // A copy cut short holds only the bytes asked for; the rest of it can't be read as a block.
    std::vector<char> cut(size, 0);
    ASSERT_TRUE(version.Get(u"C:\\App\\app.exe", 8, cut.data()));
    EXPECT_EQ(std::string(cut.data(), 8), block.substr(0, 8));
    EXPECT_EQ(cut[8], 0);
    EXPECT_FALSE(version.Query(cut.data(), u"\\", &value, &length));
}

}  // namespace
