// The Winsock catalogue on the memory machine: the packed item's parser on items of every
// shape, entries that can't be opened by their name, and Go to. Which entries are listed and
// described is recorded in tests/golden/winsock.
#include "collectors/autostart/winsock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tests/unit/collector_test_support.h"
#include "tools/elevation_support.h"
#include "tools/packed_catalog_item.h"

namespace {

using namespace std::string_literals;
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

TEST_F(WinsockTest, DeniedAndNulNamedEntriesAreLeftOutAndGoToOpensTheEntrysKey) {
    Entry(u"000000000001", platform::kRegBinary, Packed("a.dll", u"A"));
    Entry(u"000000000002", platform::kRegBinary, Packed("d.dll", u"Denied"));
    // Through the NUL-terminated calls this name would reach the entry before it.
    Entry(u"000000000003", platform::kRegBinary, Packed("p.dll", u"Plain"));
    Entry(u"000000000003\0x"s, platform::kRegBinary, Packed("z.dll", u"Hidden"));
    machine.DenyOpen(kHkeyLocalMachine, Path(u"000000000002"));
    std::int32_t result = 0;
    EXPECT_EQ(collectortest::Texts(winsock, &result),
              (std::vector<std::u16string>{u"A", u"Plain"}));
    EXPECT_EQ(result, 2);

    resultFlags flags;
    EXPECT_FALSE(winsock.DoAction(1, 1, &flags));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + Path(u"000000000003"));
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
