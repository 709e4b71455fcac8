// The hosts file collector on the memory machine: where the file is looked for, what a read
// lists and how failures show.
#include "collectors/files/hosts.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/tools_test_support.h"

namespace {

constexpr char16_t kHosts[] = u"C:\\WINDOWS\\system32\\drivers\\etc\\hosts";

std::u16string ToU16(const std::string& ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

bool CollectLine(std::int32_t index, std::int32_t labelId, const char16_t* value,
                 std::int32_t flags, void* context) {
    static_cast<std::vector<std::u16string>*>(context)->push_back(
        ToU16(std::to_string(index) + ":" + std::to_string(labelId) + ":" + std::to_string(flags) +
              ":") +
        std::u16string(value));
    return true;
}

bool CollectName(std::int32_t, const char16_t* name, CVistrelPlugin*, CVistrelPlugin*,
                 void* context) {
    static_cast<std::vector<std::u16string>*>(context)->push_back(name);
    return true;
}

class HostsTest : public ToolsTest {
  protected:
    HostsTest() { InstallWindowsFolders(); }
};

TEST_F(HostsTest, ReadListsHostNamesAndFailsOnlyWithoutAFile) {
    const struct {
        const char* bytes;  // null: no file
        std::int32_t result;
        std::vector<std::u16string> names;
    } cases[] = {
        {"127.0.0.1 localhost\r\n::1 ip6 alias\r\n# x\r\n10.1.1.1", 2, {u"localhost", u"ip6"}},
        {"# comments only\n\n", 0, {}},
        {"", 0, {}},
        {nullptr, -1, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes ? c.bytes : "(none)");
        machine_.AddFile(u"C:\\WINDOWS\\system32\\drivers\\etc\\keep");
        if (c.bytes) machine_.AddFile(kHosts, c.bytes);
        CVistrelHosts hosts;
        EXPECT_EQ(hosts.hostsPath, kHosts);
        std::vector<std::u16string> names;
        EXPECT_EQ(hosts.EnumerateItems(CollectName, false, &names), c.result);
        EXPECT_EQ(names, c.names);
        EXPECT_EQ(hosts.GetActionMask(0), c.result < 0 ? 1u : 3u);
        if (c.bytes) machine_.files().RemoveFile(kHosts);
    }
}

TEST_F(HostsTest, DetailsActionsAndAnUnknownSystemFolder) {
    machine_.AddFile(kHosts, "1.2.3.4 alpha beta");
    CVistrelHosts hosts;
    ASSERT_EQ(hosts.EnumerateItems(nullptr, true, nullptr), 1);
    std::vector<std::u16string> lines;
    EXPECT_EQ(hosts.GetItemDetails(0, CollectLine, &lines), 2);
    EXPECT_EQ(lines, (std::vector<std::u16string>{u"0:22219:0:1.2.3.4", u"0:22220:0:alpha"}));
    EXPECT_EQ(hosts.GetItemDetails(1, CollectLine, &lines), 0);
    EXPECT_EQ(lines.size(), 2u);

    resultFlags flags;
    EXPECT_FALSE(hosts.DoAction(-1, 7, &flags));
    ASSERT_EQ(machine_.Started().size(), 1u);
    EXPECT_EQ(machine_.Started()[0].file, u"notepad.exe");
    EXPECT_EQ(machine_.Started()[0].parameters, kHosts);
    EXPECT_EQ(machine_.Started()[0].show, 1);
    EXPECT_FALSE(hosts.DoAction(2, 0, &flags));
    // Refresh reads again but leaves the category's state to the next population.
    machine_.files().RemoveFile(kHosts);
    EXPECT_TRUE(hosts.DoAction(0, -1, &flags));
    EXPECT_TRUE(hosts.items.empty());
    EXPECT_FALSE(hosts.failed);

    machine_.FailSpecialFolderLocation(platform::kCsidlSystem, platform::kEFail);
    CVistrelHosts lost;
    EXPECT_TRUE(lost.hostsPath.empty());
    EXPECT_EQ(lost.EnumerateItems(nullptr, false, nullptr), kEnumNotFound);
    EXPECT_TRUE(Logged("[vistrel] EnumerateHostEntries_: hosts file not found"));
}

}  // namespace
