// The offline machine over a test image: its registry answers as the memory machine does with
// the same contents, it finds files and variables as the system would, refuses every change,
// and turns damaged or misplaced hives into a message instead of a crash.
#include "platform/offline/offline_machine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <random>

#include "platform/memory/memory_machine.h"
#include "tests/offline/hive_builder.h"
#include "tests/offline/offline_image.h"

namespace {

using namespace platform;
using namespace offline_test;
namespace fs = std::filesystem;

std::string Narrow(std::u16string_view text) {
    return std::string(text.begin(), text.end());
}

// Everything a read-only caller can learn of a subtree, with the size rules exercised on every
// name and value: one line per answer, so that two machines can be compared line by line.
void Dump(Registry& registry, RegKey parent, const std::u16string& path, std::string* out,
          int depth = 0) {
    RegKey key = nullptr;
    const Status opened = registry.OpenKey(parent, path.c_str(), kKeyRead, &key);
    *out += "open " + Narrow(path) + " " + std::to_string(opened) + "\n";
    if (opened != kErrorSuccess || depth > 12) return;
    for (std::uint32_t index = 0;; ++index) {
        char16_t name[256];
        std::uint32_t chars = 256, type = 0, bytes = 0;
        Status s = registry.EnumValue(key, index, name, &chars, &type, nullptr, &bytes);
        if (s != kErrorSuccess) {
            *out += "values end " + std::to_string(s) + "\n";
            break;
        }
        const std::u16string valueName(name, chars);
        std::string data(bytes + 8, '\xCC');
        std::uint32_t size = bytes;
        std::uint32_t queriedType = 0;
        const Status query =
            registry.QueryValue(key, valueName.c_str(), &queriedType, data.data(), &size);
        data.resize(size);
        *out += "value '" + Narrow(valueName) + "' " + std::to_string(type) + " " +
                std::to_string(queriedType) + " " + std::to_string(query) + " [" + data + "]\n";
        // A name buffer one character short, and a data buffer one byte short.
        std::uint32_t exact = chars;
        s = registry.EnumValue(key, index, name, &exact, nullptr, nullptr, nullptr);
        std::uint32_t shortSize = bytes == 0 ? 0 : bytes - 1;
        const Status shortQuery =
            registry.QueryValue(key, valueName.c_str(), nullptr, data.data(), &shortSize);
        *out += "  short name " + std::to_string(s) + " short data " + std::to_string(shortQuery) +
                " " + std::to_string(shortSize) + "\n";
    }
    std::uint32_t missingSize = 0;
    *out +=
        "missing value " +
        std::to_string(registry.QueryValue(key, u"NoSuchValue", nullptr, nullptr, &missingSize)) +
        " " + std::to_string(registry.QueryValue(key, u"\u00C9", nullptr, nullptr, &missingSize)) +
        "\n";
    std::vector<std::u16string> children;
    for (std::uint32_t index = 0;; ++index) {
        char16_t name[256];
        std::uint32_t chars = 256;
        Status s = registry.EnumKey(key, index, name, &chars);
        if (s != kErrorSuccess) {
            *out += "keys end " + std::to_string(s) + "\n";
            break;
        }
        std::uint32_t exact = chars;
        *out += "key '" + Narrow(std::u16string(name, chars)) + "' short " +
                std::to_string(registry.EnumKey(key, index, name, &exact)) + "\n";
        children.emplace_back(name, chars);
    }
    for (const std::u16string& child : children) Dump(registry, key, child, out, depth + 1);
    *out += "close " + std::to_string(registry.CloseKey(key)) + "\n";
}

class OfflineMachineTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        image_ = new TempFolder;
        ASSERT_TRUE(WriteImage(image_->path(), StandardContents()));
    }
    static void TearDownTestSuite() {
        delete image_;
        image_ = nullptr;
    }
    void SetUp() override {
        offline = offline::OpenOfflineMachine({image_->path(), ""}, &error);
        ASSERT_NE(offline, nullptr) << error;
        LoadImage(memory, StandardContents());
    }
    static std::string Root() { return image_->path(); }

    static TempFolder* image_;
    std::string error;
    std::unique_ptr<Machine> offline;
    memory::MemoryMachine memory;
};
TempFolder* OfflineMachineTest::image_ = nullptr;

TEST_F(OfflineMachineTest, RegistryAnswersAsTheMemoryMachineWithTheSameContents) {
    const struct {
        RegKey root;
        const char16_t* path;
    } subtrees[] = {
        {kHkeyLocalMachine, u"SYSTEM\\CurrentControlSet"},
        {kHkeyLocalMachine, u"system\\currentcontrolset\\SERVICES\\ALPHA"},
        {kHkeyLocalMachine, u"SOFTWARE"},
        {kHkeyClassesRoot, u""},
        {kHkeyCurrentUser, u""},
        {kHkeyLocalMachine, u"SOFTWARE\\Nowhere"},
        {kHkeyLocalMachine, u"\\SOFTWARE"},
        {kHkeyLocalMachine, u"SOFTWARE\\\\Microsoft\\"},
    };
    std::string all;
    for (const auto& subtree : subtrees) {
        SCOPED_TRACE(Narrow(subtree.path));
        std::string expected, actual;
        Dump(memory.registry(), subtree.root, subtree.path, &expected);
        Dump(offline->registry(), subtree.root, subtree.path, &actual);
        EXPECT_EQ(actual, expected);
        all += actual;
    }
    // HKCU\Software\Classes is the user's own hive; HKCR shows the machine's classes only.
    for (const char* seen : {"key 'Alpha'", "value 'ThreadingModel'", "value 'Mine'", "'userfile'",
                             "open \\SOFTWARE 161", "open SOFTWARE\\Nowhere 2"})
        EXPECT_NE(all.find(seen), std::string::npos) << seen;
    // The stale control set is not the current one.
    Registry& registry = offline->registry();
    RegKey key = nullptr;
    EXPECT_EQ(registry.OpenKey(kHkeyLocalMachine, u"SYSTEM\\CurrentControlSet\\Services\\Stale",
                               kKeyRead, &key),
              kErrorFileNotFound);
    // Handles are checked as the system checks them, also once another key took a closed one's.
    ASSERT_EQ(registry.OpenKey(kHkeyLocalMachine, u"SOFTWARE", kKeyEnumerateSubKeys, &key),
              kErrorSuccess);
    EXPECT_EQ(registry.QueryValue(key, u"x", nullptr, nullptr, nullptr), kErrorAccessDenied);
    EXPECT_EQ(registry.CloseKey(key), kErrorSuccess);
    const RegKey closed = key;
    ASSERT_EQ(registry.OpenKey(kHkeyLocalMachine, u"SOFTWARE", kKeyRead, &key), kErrorSuccess);
    EXPECT_EQ(registry.EnumKey(closed, 0, nullptr, nullptr), kErrorInvalidHandle);
    EXPECT_EQ(registry.CloseKey(closed), kErrorInvalidHandle);
}

TEST_F(OfflineMachineTest, EveryChangeIsRefusedAndTheImageStaysAsItWas) {
    const std::string hive = Root() + "/Windows/System32/config/SOFTWARE";
    const std::string before = ReadText(hive);
    Registry& registry = offline->registry();
    Files& files = offline->files();
    RegKey run = nullptr;
    ASSERT_EQ(
        registry.OpenKey(kHkeyLocalMachine, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
                         kKeyRead, &run),
        kErrorSuccess);
    const std::uint32_t one = 1;
    RegKey key = nullptr;
    const struct {
        const char* what;
        std::function<Status()> call;
    } writes[] = {
        {"open for writing",
         [&] { return registry.OpenKey(kHkeyLocalMachine, u"SOFTWARE", kKeyAllAccess, &key); }},
        {"create",
         [&] { return registry.CreateKey(kHkeyLocalMachine, u"SOFTWARE\\New", kKeyRead, &key); }},
        {"set", [&] { return registry.SetValue(run, u"App", kRegDword, &one, 4); }},
        {"delete value", [&] { return registry.DeleteValue(run, u"App"); }},
        {"delete tree",
         [&] { return registry.DeleteTree(kHkeyLocalMachine, u"SOFTWARE\\Classes"); }},
        {"deny", [&] { return registry.DenyAllAccess(kHkeyLocalMachine, u"SOFTWARE"); }},
        {"write file", [&] { return files.WriteAll(u"C:\\new.txt", "x"); }},
        {"append", [&] { return files.Append(u"C:\\Program Files\\App\\app.exe", "x"); }},
        {"remove file", [&] { return files.RemoveFile(u"C:\\Program Files\\App\\app.exe"); }},
        {"make folder", [&] { return files.MakeDirectory(u"C:\\New"); }},
        {"remove folder", [&] { return files.RemoveEmptyDirectory(u"C:\\Users\\Public"); }},
        {"start",
         [&] {
             ShellExecuteInfo info;
             info.lpFile = u"C:\\Program Files\\App\\app.exe";
             std::uint32_t id = 7;
             return offline->processes().Start(info, &id);
         }},
    };
    for (const auto& write : writes) {
        SCOPED_TRACE(write.what);
        EXPECT_EQ(write.call(), kErrorAccessDenied);
    }
    // A missing target is still reported as missing, before the refusal.
    EXPECT_EQ(registry.DeleteTree(kHkeyLocalMachine, u"SOFTWARE\\Nowhere"), kErrorFileNotFound);
    EXPECT_EQ(offline->shell().CreateLink(u"C:\\a.lnk", u"C:\\b.exe"), kEAccessDenied);
    registry.CloseKey(run);
    offline.reset();
    EXPECT_EQ(ReadText(hive), before);
    EXPECT_TRUE(fs::exists(Root() + "/Program Files/App/app.exe"));
    EXPECT_FALSE(fs::exists(Root() + "/new.txt"));
}

TEST_F(OfflineMachineTest, PathsVariablesAndFoldersAreTheImagesOwn) {
    fs::create_symlink("/etc", Root() + "/Windows/linked");
    const struct {
        const char16_t* path;
        bool found;
        std::uint32_t attributesOrError;
    } paths[] = {
        {u"C:\\PROGRAM FILES\\app\\APP.EXE", true, kFileAttributeArchive},
        {u"c:/program files/app/app.exe", true, kFileAttributeArchive},
        {u"\\SystemRoot\\system32\\DRIVERS\\beep.sys", false, kErrorPathNotFound},
        {u"\\??\\C:\\Windows\\System32\\drivers\\beep.sys", true, kFileAttributeArchive},
        {u"\\\\?\\C:\\Windows", true, kFileAttributeDirectory},
        {u"drivers\\beep.sys", true, kFileAttributeArchive},
        {u"\\Windows\\System32", true, kFileAttributeDirectory},
        {u"C:\\..\\..\\..\\Windows", true, kFileAttributeDirectory},
        {u"D:\\Windows", false, kErrorPathNotFound},
        {u"\\\\server\\share\\x", false, kErrorPathNotFound},
        {u"C:\\Windows\\missing.dll", false, kErrorFileNotFound},
        {u"C:\\Missing\\x.dll", false, kErrorPathNotFound},
        {u"C:\\Program Files\\App\\app.exe\\x", false, kErrorPathNotFound},
        {u"C:\\Windows\\linked\\passwd", false, kErrorPathNotFound},
        {u"C:\\Windows\\linked", false, kErrorFileNotFound},
    };
    for (const auto& p : paths) {
        SCOPED_TRACE(Narrow(p.path));
        std::uint32_t attributes = 0;
        EXPECT_EQ(offline->files().GetAttributes(p.path, &attributes), p.found);
        EXPECT_EQ(p.found ? attributes : offline->LastError(), p.attributesOrError);
    }
    std::string bytes;
    EXPECT_EQ(offline->files().ReadAll(u"C:\\program files\\APP\\app.exe", &bytes), kErrorSuccess);
    EXPECT_EQ(bytes, AppImage());
    EXPECT_EQ(offline->files().ReadAll(u"C:\\Windows", &bytes), kErrorAccessDenied);

    std::vector<std::string> listed;
    FindData data;
    FindHandle find = offline->files().FindFirst(u"C:\\PROGRAM FILES\\App\\*", &data);
    ASSERT_NE(find, nullptr);
    do listed.push_back(Narrow(data.name));
    while (offline->files().FindNext(find, &data));
    offline->files().FindClose(find);
    EXPECT_EQ(listed, (std::vector<std::string>{".", "..", "app.exe"}));
    EXPECT_EQ(offline->files().FindFirst(u"C:\\Windows\\*.none", &data), nullptr);
    EXPECT_EQ(offline->LastError(), static_cast<std::uint32_t>(kErrorFileNotFound));

    const struct {
        const char16_t* text;
        const char16_t* expanded;
    } variables[] = {
        {u"%SystemRoot%\\x", u"C:\\Windows\\x"},
        {u"%windir%|%SYSTEMDRIVE%", u"C:\\Windows|C:"},
        {u"%Path%", u"C:\\Windows\\system32;C:\\Windows"},
        {u"%TOOLS%", u"C:\\Program Files\\Tools"},
        {u"%TEMP%", u"C:\\Users\\alice\\Temp"},
        {u"%ProgramData%|%ALLUSERSPROFILE%", u"C:\\ProgramData|C:\\ProgramData"},
        {u"%USERNAME%|%APPDATA%", u"alice|C:\\Users\\alice\\AppData\\Roaming"},
        {u"%OS%%Nope%%", u"Windows_NT%Nope%%"},
    };
    for (const auto& v : variables) {
        SCOPED_TRACE(Narrow(v.text));
        char16_t out[256];
        const std::uint32_t needed = offline->environment().ExpandStrings(v.text, out, 256);
        EXPECT_EQ(std::u16string(out), v.expanded);
        EXPECT_EQ(needed, std::u16string_view(v.expanded).size() + 1);
    }
    // The folders the image defines are proved by the recorded scans; others are unknown.
    EXPECT_LT(offline->shell().GetSpecialFolder(5).locationResult, 0);
    std::uint32_t major = 0, minor = 9;
    EXPECT_TRUE(offline->processes().GetOsVersion(&major, &minor));
    EXPECT_EQ(major * 100 + minor, 1000u);
}

// The blocks found in programs are proved by the recorded scans; these files have none.
TEST_F(OfflineMachineTest, FilesWithoutAVersionResourceHaveNoBlock) {
    char block[16];
    for (const char16_t* none :
         {u"C:\\Windows\\System32\\drivers\\beep.sys", u"C:\\missing.exe", u"C:\\Windows"}) {
        SCOPED_TRACE(Narrow(none));
        EXPECT_EQ(offline->version().GetSize(none), 0u);
        EXPECT_FALSE(offline->version().Get(none, 16, block));
    }
}

// A copy of the good image with one thing changed, opened.
class BrokenImageTest : public OfflineMachineTest {
  protected:
    std::string Copy() {
        fs::copy(Root(), copy_.path(), fs::copy_options::recursive);
        return copy_.path();
    }
    TempFolder copy_;
};

TEST_F(BrokenImageTest, BadInputGivesAClearMessageAndNoMachine) {
    const std::string config = "/Windows/System32/config/";
    auto truncate = [](const std::string& path, std::size_t size) {
        std::string bytes = ReadText(path);
        bytes.resize(size);
        WriteText(path, bytes);
    };
    auto rewrite = [](const std::string& path, std::function<void(std::string&)> change) {
        std::string bytes = ReadText(path);
        change(bytes);
        WriteText(path, bytes);
    };
    const struct {
        const char* what;
        std::function<void(const std::string&)> damage;
        std::string user;
        const char* message;
    } cases[] = {
        {"no such folder", [](const std::string& r) { fs::remove_all(r); }, "",
         "not the root of a Windows installation"},
        {"no config folder",
         [](const std::string& r) { fs::remove_all(r + "/Windows/System32/config"); }, "",
         "not the root of a Windows installation"},
        {"no SYSTEM hive", [&](const std::string& r) { fs::remove(r + config + "SYSTEM"); }, "",
         "the SYSTEM hive is missing"},
        {"SYSTEM cut inside its base block",
         [&](const std::string& r) { truncate(r + config + "SYSTEM", 100); }, "",
         "not a readable registry hive"},
        {"SYSTEM cut inside its bins",
         [&](const std::string& r) { truncate(r + config + "SYSTEM", 4096 + 2000); }, "",
         "not a readable registry hive"},
        {"SYSTEM with a bad checksum",
         [&](const std::string& r) {
             rewrite(r + config + "SYSTEM", [](std::string& b) { b[508] ^= 1; });
         },
         "", "not a readable registry hive"},
        {"SOFTWARE as SYSTEM",
         [&](const std::string& r) {
             fs::copy_file(r + config + "SOFTWARE", r + config + "SYSTEM",
                           fs::copy_options::overwrite_existing);
         },
         "", "not a SYSTEM hive"},
        {"SYSTEM as SOFTWARE",
         [&](const std::string& r) {
             fs::copy_file(r + config + "SYSTEM", r + config + "SOFTWARE",
                           fs::copy_options::overwrite_existing);
         },
         "", "not a SOFTWARE hive"},
        {"current control set missing",
         [&](const std::string& r) {
             WriteHive(r + config + "SYSTEM",
                       "Windows Registry Editor Version 5.00\n"
                       "[HKEY_LOCAL_MACHINE\\SYSTEM\\Select]\n\"Current\"=dword:00000003\n\n"
                       "[HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001]\n",
                       "HKEY_LOCAL_MACHINE\\SYSTEM");
         },
         "", "not a SYSTEM hive"},
        {"user without a profile", [](const std::string&) {}, "bob", "the user bob has no profile"},
        {"user hive of text",
         [](const std::string& r) { WriteText(r + "/Users/alice/NTUSER.DAT", "not a hive"); }, "",
         "not a readable registry hive"},
        {"user classes hive of text",
         [](const std::string& r) {
             WriteText(r + "/Users/alice/AppData/Local/Microsoft/Windows/UsrClass.dat", "x");
         },
         "", "UsrClass.dat: not a readable registry hive"},
        {"SYSTEM as user hive",
         [&](const std::string& r) {
             fs::copy_file(r + config + "SYSTEM", r + "/Users/alice/NTUSER.DAT",
                           fs::copy_options::overwrite_existing);
         },
         "alice", "not a user hive"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string root = Copy();
        c.damage(root);
        std::string message;
        EXPECT_EQ(offline::OpenOfflineMachine({root, c.user}, &message), nullptr);
        EXPECT_NE(message.find(c.message), std::string::npos) << message;
        fs::remove_all(root);
    }
    // A user who never had classes of their own has no such hive, and that is no damage.
    const std::string root = Copy();
    fs::remove(root + "/Users/alice/AppData/Local/Microsoft/Windows/UsrClass.dat");
    EXPECT_NE(offline::OpenOfflineMachine({root, ""}, &error), nullptr) << error;
}

// Bytes of the SOFTWARE hive's bins overwritten at random: opening may fail, but whatever opens
// is walked to its end without reading outside the file (the sanitizer build checks that).
TEST_F(BrokenImageTest, CorruptedHivesAreWalkedWithoutHarm) {
    const std::string root = Copy();
    const std::string path = root + "/Windows/System32/config/SOFTWARE";
    const std::string good = ReadText(path);
    std::mt19937 random(14);
    int opened = 0;
    for (int round = 0; round < 60; ++round) {
        std::string bytes = good;
        for (int hit = 0; hit < 1 + round % 8; ++hit) {
            const std::size_t at = 4096 + random() % (bytes.size() - 4096);
            bytes[at] = static_cast<char>(random());
        }
        // Some rounds also cut the file short.
        if (round % 5 == 4) bytes.resize(4096 + random() % (bytes.size() - 4096));
        WriteText(path, bytes);
        std::string message;
        std::unique_ptr<Machine> machine = offline::OpenOfflineMachine({root, ""}, &message);
        if (machine == nullptr) {
            EXPECT_FALSE(message.empty());
            continue;
        }
        ++opened;
        std::string transcript;
        Dump(machine->registry(), kHkeyLocalMachine, u"SOFTWARE", &transcript);
        Dump(machine->registry(), kHkeyClassesRoot, u"", &transcript);
        EXPECT_NE(transcript.find("open SOFTWARE 0"), std::string::npos);
    }
    EXPECT_GT(opened, 0);
}

}  // namespace
