// The Winsock catalogue on the memory machine: the packed item's parser on items of every
// shape, and which catalogue entries the category lists, describes and opens.
#include "collectors/autostart/winsock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tests/unit/collector_test_support.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"
#include "tools/packed_catalog_item.h"

namespace {

using namespace std::string_literals;
using collectortest::Line;
using platform::kHkeyLocalMachine;

constexpr char16_t kEntries[] =
    u"SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters\\Protocol_Catalog9\\"
    u"Catalog_Entries";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

// An item of size bytes, zero but for the library's bytes at 0 and the name's 16-bit text at
// 376, each cut at the item's end.
std::string Packed(std::string_view library, std::u16string_view name, std::size_t size = 888) {
    std::string bytes(size, '\0');
    bytes.replace(0, std::min(library.size(), size), library.substr(0, size));
    for (std::size_t i = 0; i < name.size() && 376 + 2 * i + 1 < size; ++i) {
        bytes[376 + 2 * i] = static_cast<char>(name[i] & 0xFF);
        bytes[376 + 2 * i + 1] = static_cast<char>(name[i] >> 8);
    }
    return bytes;
}

struct ParseCase {
    const char* what;
    std::string bytes;
    bool parsed;
    std::u16string library;
    std::u16string protocol;
};

TEST(PackedCatalogItem, ReadsOnlyItemsOfTheOneSizeAndNeverPastTheirEnd) {
    std::string noNul(888, 'A');
    std::string longLibrary = Packed(std::string(376, 'L'), u"TCP");
    std::string leadingZero = Packed("a.dll", u"");
    leadingZero[377] = 'U';  // 0 at 376, 'U', then two zeros
    const ParseCase cases[] = {
        {"plain", Packed("C:\\x.dll", u"MSAFD [TCP/IP]"), true, u"C:\\x.dll", u"MSAFD [TCP/IP]"},
        {"one short", Packed("C:\\x.dll", u"TCP", 887), false, u"", u""},
        {"one long", Packed("C:\\x.dll", u"TCP", 889), false, u"", u""},
        {"empty", "", false, u"", u""},
        {"name field only", Packed("C:\\x.dll", u"TCP", 376), false, u"", u""},
        {"no NUL anywhere", noNul, true, std::u16string(888, u'A'), std::u16string(512, u'A')},
        {"library runs into the name", longLibrary, true, std::u16string(376, u'L') + u"T", u"TCP"},
        {"name all zero", Packed("b.dll", u""), true, u"b.dll", u""},
        {"zero at the name's start", leadingZero, true, u"a.dll", u"U"},
        // Stored as 41 00 41 01: each non-zero byte is a character of its own.
        {"beyond Latin", Packed("c.dll", u"A\u0141"), true, u"c.dll", u"AA\u0001"},
        {"high bytes", Packed("C:\\\xE9.dll", u"\u00E9"), true, u"C:\\\u00E9.dll", u"\u00E9"},
    };
    for (const ParseCase& c : cases) {
        SCOPED_TRACE(c.what);
        // A vector of exactly the item's bytes, so a read past its end is a read past the heap
        // block (which the sanitizer build reports).
        const std::vector<std::uint8_t> bytes(c.bytes.begin(), c.bytes.end());
        std::u16string library = u"stale", protocol = u"stale";
        EXPECT_EQ(ParsePackedCatalogItem(bytes.data(), bytes.size(), &library, &protocol),
                  c.parsed);
        EXPECT_EQ(library, c.library);
        EXPECT_EQ(protocol, c.protocol);
    }
}

class WinsockTest : public ::testing::Test {
  protected:
    void SetUp() override { CreateElevatedHelperSupport(); }
    void TearDown() override { DestroyElevatedHelperSupport(); }
    void Entry(const std::u16string& name, std::uint32_t type, const std::string& bytes) {
        machine.SetRaw(kHkeyLocalMachine, Path(name), u"PackedCatalogItem", type, bytes);
    }
    static std::u16string Path(const std::u16string& name) {
        return std::u16string(kEntries) + u"\\" + name;
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scoped{machine};
    CVistrelWinsock winsock;
};

TEST_F(WinsockTest, ListsEntriesWithAReadableItemAndDescribesTheirLibrary) {
    struct EntryCase {
        std::u16string key;
        std::uint32_t type;
        std::string bytes;
        const char16_t* text;  // null: not listed
    };
    const std::string tcp = Packed("%SystemRoot%\\system32\\mswsock.dll", u"MSAFD Tcpip [TCP/IP]");
    const EntryCase cases[] = {
        {u"000000000001", platform::kRegBinary, tcp, u"MSAFD Tcpip [TCP/IP]"},
        {u"000000000002", platform::kRegBinary, tcp, u"MSAFD Tcpip [TCP/IP]"},  // same again
        {u"000000000003", platform::kRegBinary, Packed("n.dll", u""), u""},
        {u"000000000004", platform::kRegBinary, Packed("s.dll", u"Short", 887), nullptr},
        {u"000000000005", platform::kRegBinary, Packed("l.dll", u"Long", 889), nullptr},
        {u"000000000006", platform::kRegSz, Packed("t.dll", u"Text"), nullptr},
        {u"000000000007", platform::kRegBinary, Packed("h.dll", u"Huge", 5000), nullptr},
        {u"000000000008", platform::kRegBinary, Packed("d.dll", u"Denied"), nullptr},
        // Through the NUL-terminated calls this name would reach the entry before it.
        {u"000000000009", platform::kRegBinary, Packed("p.dll", u"Plain"), u"Plain"},
        {u"000000000009\0x"s, platform::kRegBinary, Packed("z.dll", u"Hidden"), nullptr},
    };
    for (const EntryCase& c : cases) Entry(c.key, c.type, c.bytes);
    machine.SetString(kHkeyLocalMachine, Path(u"000000000010"), u"Other", u"no item");
    machine.DenyOpen(kHkeyLocalMachine, Path(u"000000000008"));

    std::int32_t result = 0;
    const auto texts = collectortest::Texts(winsock, &result);
    std::vector<std::u16string> expected;
    for (const EntryCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.key));
        const auto found =
            std::find_if(winsock.items.begin(), winsock.items.end(),
                         [&](const si_key_item& item) { return item.third == Path(c.key); });
        ASSERT_EQ(found != winsock.items.end(), c.text != nullptr);
        if (c.text == nullptr) continue;
        expected.push_back(c.text);
        EXPECT_EQ(texts[found - winsock.items.begin()], c.text);
    }
    EXPECT_EQ(texts, expected);
    EXPECT_EQ(result, 4);

    // The pane describes the library as stored; Go to opens the entry's own sub-key.
    const std::vector<Line> lines = collectortest::Details(winsock, 1);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], (Line{kDetailsTextObject, u"%SystemRoot%\\system32\\mswsock.dll"}));
    resultFlags flags;
    EXPECT_FALSE(winsock.DoAction(1, 1, &flags));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + Path(u"000000000002"));
    EXPECT_FALSE(winsock.DoAction(-1, -1, &flags));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + std::u16string(kEntries));
}

TEST_F(WinsockTest, ReadOnlyCategoryAndAMissingKeyLeavesOnlyRefresh) {
    std::int32_t result = 0;
    collectortest::Texts(winsock, &result);
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(winsock.GetActionMask(-1), 1u);

    Entry(u"000000000001", platform::kRegBinary, Packed("w.dll", u"W"));
    EXPECT_EQ(winsock.EnumerateItems(nullptr, true, nullptr), 1);
    EXPECT_EQ(winsock.GetActionCount(), 2);
    EXPECT_EQ(winsock.GetActionMask(0), 3u);
    resultFlags flags;
    EXPECT_FALSE(winsock.DoAction(2, 0, &flags));
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Path(u"000000000001")));
}

}  // namespace
