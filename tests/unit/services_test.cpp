// Services and drivers on the memory machine: which sub-keys each leaf lists and how, what the
// details say of the start mode, and that Remove takes exactly the chosen service's key.
#include "collectors/autostart/services.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tests/unit/collector_test_support.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"

namespace {

using namespace std::string_literals;

using collectortest::Bytes;
using collectortest::Dword;
using collectortest::Line;
using platform::kHkeyLocalMachine;
using platform::kRegDword;
using platform::kRegExpandSz;
using platform::kRegSz;

constexpr char16_t kServices[] = u"SYSTEM\\CurrentControlSet\\Services";
constexpr char16_t kImage[] = u"C:\\svc\\a.exe";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

std::u16string Path(std::u16string_view name) {
    return std::u16string(kServices) + u"\\" + std::u16string(name);
}
std::string Sz(std::u16string_view text) {
    return Bytes(std::u16string(text) + u'\0');
}

struct Value {
    const char16_t* name;
    std::uint32_t type;
    std::string bytes;
};
Value Image(std::u16string_view text = kImage, std::uint32_t type = kRegSz) {
    return {u"ImagePath", type, Sz(text)};
}
Value Type(std::uint32_t type) {
    return {u"Type", kRegDword, Dword(type)};
}
Value Start(std::uint32_t start) {
    return {u"Start", kRegDword, Dword(start)};
}
Value Display(std::u16string_view text, std::uint32_t type = kRegSz) {
    return {u"DisplayName", type, Sz(text)};
}

struct ServiceCase {
    const char16_t* key;
    std::vector<Value> values;
    bool process;
    bool driver;
    std::u16string text;   // when listed
    std::u16string start;  // the startup line's value when listed
    bool warnsNoType = false;
};

class ServicesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        g_trace.SetMode(1);
        CreateElevatedHelperSupport();
    }
    void TearDown() override {
        DestroyElevatedHelperSupport();
        g_trace.SetMode(0);
    }
    bool Logged(const std::string& line) const {
        const auto lines = machine.TraceMessages();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    // Index of the service with this key in a leaf's list.
    static std::optional<std::size_t> Find(const CVistrelServices_Base& leaf,
                                           std::u16string_view name) {
        for (std::size_t i = 0; i < leaf.items.size(); ++i)
            if (leaf.items[i].keyPath == Path(name)) return i;
        return std::nullopt;
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scoped{machine};
    CVistrelServices_Process processes;
    CVistrelServices_Driver drivers;
};

TEST_F(ServicesTest, EachLeafListsTheServicesOfItsTypesWithTextAndStartMode) {
    const std::u16string huge(2048, u'x');  // with its terminator 4098 bytes: unreadable
    const ServiceCase cases[] = {
        {u"Own",
         {Image(), Type(16), Display(u"Alpha"), Start(2)},
         true,
         false,
         u"Alpha",
         u"<id 22395>"},
        {u"Interactive", {Image(), Type(272), Start(3)}, true, false, kImage, u"<id 22396>"},
        {u"Adapter", {Image(), Type(4), Display(u"Ad"), Start(3)}, false, false, {}, {}},
        {u"Kernel", {Image(), Type(1), Start(0)}, false, true, kImage, u"<id 22393>"},
        {u"Recognizer", {Image(), Type(8), Start(1)}, false, true, kImage, u"<id 22394>"},
        {u"Both", {Image(), Type(0x22), Start(4)}, true, true, kImage, u"<id 22397>"},
        {u"NoStart", {Image(), Type(32), Display(u"Shared")}, true, false, u"Shared", u"<null>"},
        {u"StartFive", {Image(), Type(16), Start(5)}, true, false, kImage, u"<null>"},
        {u"StartText",
         {Image(), Type(16), {u"Start", kRegSz, Sz(u"2")}},
         true,
         false,
         kImage,
         u"<null>"},
        {u"ExpandDisplay",
         {Image(), Type(16), Display(u"%X%", kRegExpandSz)},
         true,
         false,
         kImage,
         u"<null>"},
        {u"HugeDisplay", {Image(), Type(16), Display(huge)}, true, false, kImage, u"<null>"},
        {u"NulDisplay",
         {Image(), Type(16), {u"DisplayName", kRegSz, Bytes(u"Shown\0Hidden"s)}},
         true,
         false,
         u"Shown",
         u"<null>"},
        {u"ExpandImage",
         {Image(u"%SystemRoot%\\b.exe -k", kRegExpandSz), Type(16)},
         true,
         false,
         u"%SystemRoot%\\b.exe -k",
         u"<null>"},
        {u"OddImage",
         {{u"ImagePath", kRegSz, Bytes(u"C:\\u.exe") + "!"}, Type(16)},
         true,
         false,
         u"C:\\u.exe",
         u"<null>"},
        {u"NoImage", {Type(16), Display(u"Gone"), Start(2)}, false, false, {}, {}},
        {u"DwordImage", {{u"ImagePath", kRegDword, Dword(1)}, Type(16)}, false, false, {}, {}},
        {u"HugeImage", {Image(huge), Type(16)}, false, false, {}, {}},
        {u"ShortType", {Image(), {u"Type", kRegDword, "\x10"}}, true, false, kImage, u"<null>"},
        {u"NoType", {Image(), Display(u"N")}, false, false, {}, {}, true},
        {u"TextType", {Image(), {u"Type", kRegSz, Sz(u"16")}}, false, false, {}, {}, true},
        {u"WideType",
         {Image(), {u"Type", kRegDword, Dword(16) + Dword(0)}},
         false,
         false,
         {},
         {},
         true},
    };
    for (const ServiceCase& c : cases)
        for (const Value& v : c.values)
            machine.SetRaw(kHkeyLocalMachine, Path(c.key), v.name, v.type, v.bytes);

    std::int32_t processCount = 0, driverCount = 0;
    const auto processTexts = collectortest::Texts(processes, &processCount);
    const auto driverTexts = collectortest::Texts(drivers, &driverCount);
    ASSERT_EQ(processCount, static_cast<std::int32_t>(processes.items.size()));
    ASSERT_EQ(driverCount, static_cast<std::int32_t>(drivers.items.size()));

    int expectedProcesses = 0, expectedDrivers = 0;
    for (const ServiceCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::u16string(c.key)));
        expectedProcesses += c.process;
        expectedDrivers += c.driver;
        using Leaf = std::tuple<CVistrelServices_Base*, const std::vector<std::u16string>*, bool>;
        for (auto [leaf, texts, wanted] :
             {Leaf{&processes, &processTexts, c.process}, Leaf{&drivers, &driverTexts, c.driver}}) {
            const auto at = Find(*leaf, c.key);
            ASSERT_EQ(at.has_value(), wanted);
            if (!at) continue;
            EXPECT_EQ((*texts)[*at], c.text);
            const std::vector<Line> lines = collectortest::Details(*leaf, static_cast<int>(*at));
            ASSERT_GE(lines.size(), 2u);
            EXPECT_EQ(lines[0], (Line{22398, c.start}));
            // The image path goes to the file's lines as stored.
            EXPECT_EQ(lines[1], (Line{kDetailsTextObject, leaf->items[*at].imagePath}));
        }
        const std::u16string wide = Path(c.key);
        const std::string path(wide.begin(), wide.end());
        EXPECT_EQ(Logged("[vistrel] [warning] services.Open('" + path + "') failed: no type"),
                  c.warnsNoType);
    }
    EXPECT_EQ(processCount, expectedProcesses);
    EXPECT_EQ(driverCount, expectedDrivers);
}

TEST_F(ServicesTest, RemoveDeletesTheChosenKeyWithItsSubtreeAndNothingElse) {
    for (const char16_t* name : {u"Sv", u"Svc", u"Svc2"}) {
        machine.SetString(kHkeyLocalMachine, Path(name), u"ImagePath", kImage);
        machine.SetDword(kHkeyLocalMachine, Path(name), u"Type", 16);
    }
    machine.SetString(kHkeyLocalMachine, Path(u"Svc\\Parameters\\Deep"), u"ServiceDll", u"x.dll");
    machine.SetString(kHkeyLocalMachine, kServices, u"Own", u"value of the services key");
    machine.AddFile(kImage, "MZ");
    ASSERT_EQ(processes.EnumerateItems(nullptr, true, nullptr), 3);
    const std::size_t svc = Find(processes, u"Svc").value();
    EXPECT_EQ(processes.GetActionMask(static_cast<int>(svc)), 7u);
    EXPECT_EQ(processes.GetActionMask(-1), 3u);

    resultFlags flags;
    ASSERT_TRUE(processes.DoAction(2, static_cast<int>(svc), &flags));
    EXPECT_EQ(flags.deleteItem, 1);
    EXPECT_EQ(flags.localUpdate, 1);
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, Path(u"Svc")));
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, Path(u"Svc\\Parameters")));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Path(u"Sv")));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Path(u"Svc2")));
    EXPECT_TRUE(machine.HasValue(kHkeyLocalMachine, kServices, u"Own"));
    EXPECT_TRUE(machine.HasFile(kImage));
    EXPECT_EQ(processes.items.size(), 3u);  // indexes of the others stay right

    // Go to: the service's own key; the category: the services key.
    const std::size_t svc2 = Find(processes, u"Svc2").value();
    EXPECT_FALSE(processes.DoAction(1, static_cast<int>(svc2), &flags));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + Path(u"Svc2"));
    EXPECT_FALSE(processes.DoAction(-1, -1, &flags));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + std::u16string(kServices));

    // A refused deletion is said and changes nothing.
    const std::size_t sv = Find(processes, u"Sv").value();
    machine.FailWrites(kHkeyLocalMachine, Path(u"Sv"));
    resultFlags refused;
    EXPECT_FALSE(processes.DoAction(2, static_cast<int>(sv), &refused));
    EXPECT_EQ(refused.succeeded, 0);
    EXPECT_EQ(refused.deleteItem, 0);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Path(u"Sv")));
}

TEST_F(ServicesTest, UnreadableKeysAreLeftOutAndOnlyAMissingServicesKeyFails) {
    std::int32_t result = 0;
    EXPECT_TRUE(collectortest::Texts(processes, &result).empty());
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(processes.GetActionMask(-1), 1u);

    for (const std::u16string& name : {u"Denied"s, u"Open"s, u"Open\0x"s}) {
        machine.SetString(kHkeyLocalMachine, Path(name), u"ImagePath", name);
        machine.SetDword(kHkeyLocalMachine, Path(name), u"Type", 16);
    }
    machine.DenyOpen(kHkeyLocalMachine, Path(u"Denied"));
    // A name with a NUL inside would reach "Open" through the NUL-terminated calls.
    EXPECT_EQ(collectortest::Texts(processes, &result), std::vector<std::u16string>{u"Open"});
    EXPECT_EQ(result, 1);
    EXPECT_FALSE(processes.failed);
    EXPECT_TRUE(
        Logged("[vistrel] [error] services.Open('SYSTEM\\CurrentControlSet\\Services\\"
               "Denied') failed: 5"));
}

}  // namespace
