#include "tests/offline/offline_image.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tests/offline/hive_builder.h"
#include "tests/support/pe_image_builder.h"
#include "tests/support/shell_link_builder.h"
#include "tests/support/version_block_builder.h"

namespace offline_test {
namespace {

constexpr char kSystemIni[] = "[boot]\r\n; comment\r\n shell = explorer.exe \r\n[Other]\r\nx=1\r\n";

std::string Escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\\' || c == '"') out += '\\';
        out += c;
    }
    return out;
}

std::string Utf16(const std::string& ascii) {
    std::string out;
    for (char c : ascii) {
        out += c;
        out += '\0';
    }
    return out + std::string(2, '\0');
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

}  // namespace

RegText& RegText::Key(const std::string& path) {
    text_ += "\n[" + path + "]\n";
    return *this;
}
RegText& RegText::Sz(const std::string& name, const std::string& text) {
    text_ += (name.empty() ? "@" : "\"" + Escaped(name) + "\"") + "=\"" + Escaped(text) + "\"\n";
    return *this;
}
RegText& RegText::ExpandSz(const std::string& name, const std::string& text) {
    return Hex(name, 2, Utf16(text));
}
RegText& RegText::Dword(const std::string& name, std::uint32_t value) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%08x", value);
    text_ += "\"" + Escaped(name) + "\"=dword:" + hex + "\n";
    return *this;
}
RegText& RegText::Hex(const std::string& name, std::uint32_t type, const std::string& bytes) {
    char head[16];
    std::snprintf(head, sizeof head, "hex(%x):", type);
    text_ += (name.empty() ? "@" : "\"" + Escaped(name) + "\"") + "=" + head;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char byte[4];
        std::snprintf(byte, sizeof byte, "%02x", static_cast<unsigned char>(bytes[i]));
        text_ += (i ? "," : "") + std::string(byte);
    }
    text_ += "\n";
    return *this;
}

ImageContents StandardContents() {
    const std::string lm = "HKEY_LOCAL_MACHINE\\SYSTEM";
    const std::string services = lm + "\\ControlSet002\\Services\\";
    RegText system;
    system.Key(lm + "\\Select").Dword("Current", 2).Dword("Default", 2);
    system.Key(lm + "\\ControlSet001\\Services\\Stale")
        .Sz("ImagePath", "C:\\old\\stale.exe")
        .Dword("Start", 2)
        .Dword("Type", 16);
    system.Key(lm + "\\ControlSet002\\Control\\Session Manager\\Environment")
        .Sz("OS", "Windows_NT")
        .ExpandSz("Path", "%SystemRoot%\\system32;%SystemRoot%")
        .ExpandSz("TOOLS", "%ProgramFiles%\\Tools");
    system.Key(services + "Alpha")
        .Sz("DisplayName", "Alpha Service")
        .Sz("ImagePath", "\"C:\\Program Files\\App\\app.exe\" -service")
        .Dword("Start", 2)
        .Dword("Type", 16);
    system.Key(services + "beep")
        .ExpandSz("ImagePath", "\\SystemRoot\\System32\\drivers\\beep.sys")
        .Dword("Start", 1)
        .Dword("Type", 1);
    system.Key(services + "Gamma")
        .ExpandSz("DisplayName", "%SystemRoot%")
        .ExpandSz("ImagePath", "%SystemRoot%\\System32\\svchost.exe -k netsvcs")
        .Dword("Start", 3)
        .Dword("Type", 32);
    system.Key(services + "NoType").Sz("ImagePath", "C:\\x.exe");
    system.Key(services + "TextStart")
        .Sz("ImagePath", "c:\\PROGRAM FILES\\app\\APP.EXE")
        .Sz("Start", "2")
        .Dword("Type", 16);

    const std::string sw = "HKEY_LOCAL_MACHINE\\SOFTWARE";
    RegText software;
    software.Key(sw + "\\Classes\\CLSID\\{00000000-0000-0000-0000-000000000001}\\InprocServer32")
        .Sz("", "C:\\Program Files\\App\\app.exe")
        .Sz("ThreadingModel", "Both");
    software.Key(sw + "\\Classes\\txtfil\xC5\x9C\\shell\\open\\command")
        .ExpandSz("", "%SystemRoot%\\system32\\NOTEPAD.EXE %1");
    software.Key(sw + "\\Microsoft\\Windows NT\\CurrentVersion")
        .Dword("CurrentMajorVersionNumber", 10)
        .Dword("CurrentMinorVersionNumber", 0)
        .Sz("SystemRoot", "C:\\Windows");
    software.Key(sw + "\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList")
        .ExpandSz("ProgramData", "%SystemDrive%\\ProgramData");
    software.Key(sw + "\\Microsoft\\Windows\\CurrentVersion")
        .Sz("CommonFilesDir", "C:\\Program Files\\Common Files")
        .Sz("ProgramFilesDir", "C:\\Program Files");
    software.Key(sw + "\\Microsoft\\Windows\\CurrentVersion\\Run")
        .Sz("App", "\"C:\\Program Files\\App\\app.exe\" /tray")
        .ExpandSz("Beep", "%windir%\\System32\\drivers\\beep.sys")
        .Sz("Missing", "C:\\nowhere\\gone.exe")
        .Hex("Number", 4, std::string("\x01\0\0\0", 4));
    software.Key(sw + "\\Microsoft\\Windows\\CurrentVersion\\RunOnce")
        .Sz("Lower", "c:\\program files\\app\\app.exe");

    const std::string cu = "HKEY_CURRENT_USER";
    RegText user;
    user.Key(cu + "\\Environment").ExpandSz("TEMP", "%USERPROFILE%\\Temp");
    user.Key(cu + "\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders")
        .ExpandSz("Startup", "%USERPROFILE%\\Start");
    user.Key(cu + "\\Software\\Microsoft\\Windows\\CurrentVersion\\Run")
        .Sz("Mine", "C:\\Users\\alice\\tool.exe")
        .Sz("", "default value");
    RegText classes;
    classes.Key(cu + "\\Software\\Classes\\userfile\\shell\\open\\command")
        .Sz("", "C:\\Users\\alice\\tool.exe %1");
    return {system.text(), software.text(), user.text(), classes.text()};
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
