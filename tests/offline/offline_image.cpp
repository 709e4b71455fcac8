#include "tests/offline/offline_image.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/offline/hive_builder.h"
#include "tests/support/pe_image_builder.h"
#include "tests/support/shell_link_builder.h"
#include "tests/support/version_block_builder.h"

namespace offline_test {
namespace {

constexpr char kSystemIni[] = "[boot]\r\n; comment\r\n shell = explorer.exe \r\n[Other]\r\nx=1\r\n";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

}  // namespace

ImageContents StandardContents() {
    return {R"(Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\SYSTEM\Select]
"Current"=dword:00000002
"Default"=dword:00000002

[HKEY_LOCAL_MACHINE\SYSTEM\ControlSet001\Services\Stale]
"ImagePath"="C:\\old\\stale.exe"
"Start"=dword:00000002
"Type"=dword:00000010

[HKEY_LOCAL_MACHINE\SYSTEM\ControlSet002\Control\Session Manager\Environment]
"OS"="Windows_NT"
"Path"=str(2):"%SystemRoot%\\system32;%SystemRoot%"
"TOOLS"=str(2):"%ProgramFiles%\\Tools"

[HKEY_LOCAL_MACHINE\SYSTEM\ControlSet002\Services\Alpha]
"DisplayName"="Alpha Service"
"ImagePath"="\"C:\\Program Files\\App\\app.exe\" -service"
"Start"=dword:00000002
"Type"=dword:00000010

[HKEY_LOCAL_MACHINE\SYSTEM\ControlSet002\Services\beep]
"ImagePath"=str(2):"\\SystemRoot\\System32\\drivers\\beep.sys"
"Start"=dword:00000001
"Type"=dword:00000001

[HKEY_LOCAL_MACHINE\SYSTEM\ControlSet002\Services\Gamma]
"DisplayName"=str(2):"%SystemRoot%"
"ImagePath"=str(2):"%SystemRoot%\\System32\\svchost.exe -k netsvcs"
"Start"=dword:00000003
"Type"=dword:00000020

[HKEY_LOCAL_MACHINE\SYSTEM\ControlSet002\Services\NoType]
"ImagePath"="C:\\x.exe"

[HKEY_LOCAL_MACHINE\SYSTEM\ControlSet002\Services\TextStart]
"ImagePath"="c:\\PROGRAM FILES\\app\\APP.EXE"
"Start"="2"
"Type"=dword:00000010
)",
            R"(Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\SOFTWARE\Classes\CLSID\{00000000-0000-0000-0000-000000000001}\InprocServer32]
@="C:\\Program Files\\App\\app.exe"
"ThreadingModel"="Both"

[HKEY_LOCAL_MACHINE\SOFTWARE\Classes\txtfilŜ\shell\open\command]
@=str(2):"%SystemRoot%\\system32\\NOTEPAD.EXE %1"

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion]
"CurrentMajorVersionNumber"=dword:0000000a
"CurrentMinorVersionNumber"=dword:00000000
"SystemRoot"="C:\\Windows"

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion\ProfileList]
"ProgramData"=str(2):"%SystemDrive%\\ProgramData"

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion]
"CommonFilesDir"="C:\\Program Files\\Common Files"
"ProgramFilesDir"="C:\\Program Files"

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Run]
"App"="\"C:\\Program Files\\App\\app.exe\" /tray"
"Beep"=str(2):"%windir%\\System32\\drivers\\beep.sys"
"Missing"="C:\\nowhere\\gone.exe"
"Number"=hex(4):01,00,00,00

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\RunOnce]
"Lower"="c:\\program files\\app\\app.exe"
)",
            R"(Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\Environment]
"TEMP"=str(2):"%USERPROFILE%\\Temp"

[HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Explorer\User Shell Folders]
"Startup"=str(2):"%USERPROFILE%\\Start"

[HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Run]
"Mine"="C:\\Users\\alice\\tool.exe"
@="default value"
)",
            R"(Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\Software\Classes\userfile\shell\open\command]
@="C:\\Users\\alice\\tool.exe %1"
)"};
}

std::string AppVersionBlock() {
    testsupport::VersionBlockContents contents;
    contents.fileVersion = {1, 2, 3, 4};
    contents.productVersion = {1, 2, 0, 0};
    contents.tables.push_back({0x0409,
                               0x04B0,
                               {{u"CompanyName", u"Example"},
                                {u"FileDescription", u"Example app"},
                                {u"FileVersion", u"1.2.3.4"}}});
    contents.translations = {{0x0409, 0x04B0}};
    return testsupport::BuildVersionBlock(contents);
}

std::string AppImage() {
    return testsupport::BuildPeImage(AppVersionBlock());
}

TempFolder::TempFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "vistrel-offline-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

bool WriteHive(const std::string& path, const std::string& regText, const std::string& prefix) {
    std::string error;
    if (!WriteEmptyHive(path) || !MergeReg(path, regText, prefix, &error)) {
        ADD_FAILURE() << path << ": " << error;
        return false;
    }
    return true;
}

bool WriteImage(const std::string& root, const ImageContents& contents) {
    namespace fs = std::filesystem;
    const std::string config = root + "/Windows/System32/config";
    fs::create_directories(config);
    fs::create_directories(root + "/Windows/System32/drivers");
    const std::string classes = root + "/Users/alice/AppData/Local/Microsoft/Windows";
    fs::create_directories(classes);
    fs::create_directories(root + "/Users/alice/Start");
    fs::create_directories(root + "/Users/Public");
    fs::create_directories(root + "/Program Files/App");
    if (!WriteText(root + "/Program Files/App/app.exe", AppImage()) ||
        !WriteText(root + "/Windows/System32/drivers/beep.sys", "MZ") ||
        !WriteText(root + "/Windows/system.ini", kSystemIni) ||
        !WriteText(root + "/Users/alice/Start/App.lnk",
                   testsupport::BuildShellLink("C:\\Program Files\\App\\app.exe")))
        return false;
    return WriteHive(config + "/SYSTEM", contents.system, "HKEY_LOCAL_MACHINE\\SYSTEM") &&
           WriteHive(config + "/SOFTWARE", contents.software, "HKEY_LOCAL_MACHINE\\SOFTWARE") &&
           WriteHive(root + "/Users/alice/NTUSER.DAT", contents.user, "HKEY_CURRENT_USER") &&
           WriteHive(classes + "/UsrClass.dat", contents.userClasses,
                     "HKEY_CURRENT_USER\\Software\\Classes");
}

void LoadImage(platform::memory::MemoryMachine& machine, const ImageContents& contents) {
    using namespace platform;
    LoadReg(machine, Replace(contents.system, "\\ControlSet002\\", "\\CurrentControlSet\\"));
    LoadReg(machine, contents.software);
    LoadReg(machine, Replace(contents.software, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes",
                             "HKEY_CLASSES_ROOT"));
    LoadReg(machine, contents.user);
    LoadReg(machine, contents.userClasses);
    machine.AddLink(u"C:\\Users\\alice\\Start\\App.lnk", u"C:\\Program Files\\App\\app.exe");
    machine.SetSpecialFolder(kCsidlStartup, u"C:\\Users\\alice\\Start");
    machine.AddFile(u"C:\\Program Files\\App\\app.exe", AppImage());
    machine.SetVersionBlock(u"C:\\Program Files\\App\\app.exe", AppVersionBlock());
    machine.AddFile(u"C:\\Windows\\System32\\drivers\\beep.sys", "MZ");
    machine.AddFile(u"C:\\Windows\\system.ini", kSystemIni);
    machine.AddFolder(u"C:\\Users\\alice");
    machine.SetSpecialFolder(kCsidlWindows, u"C:\\Windows");
    machine.SetSpecialFolder(kCsidlSystem, u"C:\\Windows\\System32");
    machine.SetCurrentDirectory(u"C:\\Windows\\System32");
    for (const auto& [name, value] :
         {std::pair<const char16_t*, const char16_t*>{u"SystemRoot", u"C:\\Windows"},
          {u"windir", u"C:\\Windows"},
          {u"SystemDrive", u"C:"},
          {u"ProgramFiles", u"C:\\Program Files"},
          {u"USERPROFILE", u"C:\\Users\\alice"}})
        machine.SetEnv(name, value);
}

}  // namespace offline_test
