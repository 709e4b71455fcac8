// The helpers of the support: creation on first request, fallback, release, the global instance
// and the in-process helper's own operations. The factory's reading of the token shows in the
// statuses of the processes test.
#include <gtest/gtest.h>

#include "sources/plugin.h"
#include "tests/unit/tools_test_support.h"

namespace {

bool s_failProper = false;
bool s_failDirect = false;

// A failing creation hands out an object all the same, which the factory must not pass on.
IElevatedHelper* s_leftOver = nullptr;
platform::WindowHandle s_parent = nullptr;  // of the last request

std::int32_t FailingCreate(const ElevatedHelperRequest& request, IElevatedHelper** helper) {
    s_parent = request.parentWindow;
    CElevatedHelperFactory::CreateInProcessHelper(request, helper);
    if (!(request.elevated ? s_failProper : s_failDirect)) return platform::kSOk;
    if (s_leftOver) s_leftOver->Release();
    s_leftOver = *helper;
    return platform::kEAccessDenied;
}

class ElevationSupport : public ToolsTest {
  protected:
    ElevationSupport() {
        s_failProper = s_failDirect = false;
        CElevatedHelperFactory::SetCreateFunction(&FailingCreate);
        CreateElevatedHelperSupport();
    }
    ~ElevationSupport() override {
        if (s_leftOver) s_leftOver->Release();
        s_leftOver = nullptr;
    }
    static IElevatedHelper* Get(bool elevated, bool fallBack) {
        return g_elevatedHelperSupport->GetElevatedHelper(elevated, fallBack);
    }
};

TEST_F(ElevationSupport, FallbackKeepsADirectHelperInTheElevatedFieldUntilReleased) {
    s_failProper = true;
    IElevatedHelper* helper = Get(true, true);
    ASSERT_NE(helper, nullptr);
    EXPECT_TRUE(
        Logged("CElevatedHelperSupport:GetElevatedHelper: Trying to return a direct "
               "unelevated helper, as requested"));
    EXPECT_EQ(Get(true, false), helper);
    EXPECT_EQ(Calls(), Counts(1, 1));
    EXPECT_NE(Get(false, false), helper);  // the direct field was still empty
    EXPECT_EQ(Calls(), Counts(1, 2));

    ReleaseElevatedHelper();
    EXPECT_NE(Get(true, true), nullptr);
    EXPECT_EQ(Calls(), Counts(2, 3));

    // Without fallback a failure gives null, and the next request asks again. The factory clears
    // what the failing creation handed out.
    ReleaseElevatedHelper();
    EXPECT_EQ(Get(true, false), nullptr);
    EXPECT_EQ(Get(true, false), nullptr);
    EXPECT_EQ(Calls(), Counts(4, 3));

    // A direct request with fallBack set has nothing to fall back to.
    s_failDirect = true;
    CreateElevatedHelperSupport();  // the direct field empty again
    EXPECT_EQ(Get(false, true), nullptr);
    EXPECT_EQ(Calls(), Counts(4, 4));
}

TEST_F(ElevationSupport, EachHelperIsMadeOnceAndReleaseDropsOnlyTheElevatedOne) {
    // The elevation prompt is owned by the page's window.
    const auto page = reinterpret_cast<platform::WindowHandle>(0x77);
    g_pageWindow.store(page);
    IElevatedHelper* elevated = Get(true, false);
    EXPECT_EQ(s_parent, page);
    g_pageWindow.store(nullptr);
    IElevatedHelper* direct = Get(false, false);
    EXPECT_EQ(s_parent, nullptr);
    ASSERT_NE(elevated, nullptr);
    ASSERT_NE(direct, nullptr);
    EXPECT_NE(direct, elevated);
    EXPECT_EQ(Get(true, true), elevated);
    EXPECT_EQ(Get(false, true), direct);
    EXPECT_EQ(Calls(), Counts(1, 1));

    ReleaseElevatedHelper();
    ReleaseElevatedHelper();
    EXPECT_NE(Get(true, false), nullptr);
    EXPECT_EQ(Get(false, false), direct);
    EXPECT_EQ(Calls(), Counts(2, 1));

    CreateElevatedHelperSupport();  // a new dialog clears the old instance
    ASSERT_NE(Get(false, false), nullptr);
    EXPECT_EQ(Calls(), Counts(2, 2));
    DestroyElevatedHelperSupport();
    EXPECT_EQ(g_elevatedHelperSupport, nullptr);
    EXPECT_EQ(GetGlobalElevatedHelper(false, false), nullptr);
}

TEST_F(ElevationSupport, SourcesGetTheHelperTheirFlagNamesWithoutFallback) {
    CVistrelPlugin plain, machineWide;
    machineWide.NeedsElevation = true;
    EXPECT_EQ(GetHelperForSource(&plain), Get(false, false));
    EXPECT_EQ(GetHelperForSource(&machineWide), Get(true, false));
    EXPECT_EQ(Calls(), Counts(1, 1));
    ReleaseElevatedHelper();
    s_failProper = true;
    EXPECT_EQ(GetHelperForSource(&machineWide), nullptr);
    EXPECT_EQ(GetHelperForSource(nullptr), nullptr);
}

TEST_F(ToolsTest, InProcessHelperOperations) {
    using platform::kSOk;
    const platform::RegKey hkcu = platform::kHkeyCurrentUser;
    const std::int32_t notFound = platform::HResultFromWin32(platform::kErrorFileNotFound);
    IElevatedHelper* helper = nullptr;
    ASSERT_EQ(CElevatedHelperFactory::GetDirectHelper(&helper), kSOk);
    std::vector<std::uint8_t> data;
    std::uint32_t type = 0;
    EXPECT_EQ(helper->Reg_DeleteKey(hkcu, u""), platform::kEInvalidArg);  // not the whole root
    EXPECT_EQ(helper->Reg_DeleteKey(hkcu, u"Nowhere"), notFound);
    EXPECT_EQ(helper->Reg_CreateKey(hkcu, u"T\\U"), kSOk);
    machine_.SetRaw(hkcu, u"T", u"big", platform::kRegBinary, std::string(10000, 'b'));
    machine_.SetString(hkcu, u"T", u"s", u"text");
    machine_.AddKey(hkcu, u"T\\V\\W");
    // Value names are whole: one hidden behind a NUL is written, and emptied, as itself.
    const std::u16string hidden(u"s\0x", 3);
    EXPECT_EQ(helper->Reg_SetValue(hkcu, u"T", hidden, "h", 1, platform::kRegBinary, 0), kSOk);
    EXPECT_EQ(helper->Reg_QueryValue(hkcu, u"T", hidden, &type, data), platform::kEInvalidArg);

    EXPECT_EQ(helper->Reg_QueryValue(hkcu, u"T", u"big", &type, data), kSOk);
    EXPECT_EQ(data.size(), 10000u);
    EXPECT_EQ(type, platform::kRegBinary);
    std::vector<std::u16string> names;
    EXPECT_EQ(helper->Reg_EnumValues(hkcu, u"T", names), kSOk);
    EXPECT_EQ(names, (std::vector<std::u16string>{u"big", u"s", hidden}));
    EXPECT_EQ(helper->Reg_EnumKeys(hkcu, u"T", names), kSOk);
    EXPECT_EQ(names, (std::vector<std::u16string>{u"U", u"V"}));
    // The tree empties; the key itself stays.
    EXPECT_EQ(helper->Reg_DeleteTree(hkcu, u"T"), kSOk);
    EXPECT_TRUE(machine_.HasKey(hkcu, u"T"));
    EXPECT_FALSE(machine_.HasKey(hkcu, u"T\\V"));
    EXPECT_TRUE(machine_.ValueNames(hkcu, u"T").empty());
    // A sub key hidden behind a NUL stops the tree before anything goes: deleting it by its
    // C name would take the key of the name before the NUL.
    machine_.AddKey(hkcu, std::u16string(u"N\\k\0x", 6));
    machine_.AddKey(hkcu, u"N\\k");
    EXPECT_EQ(helper->Reg_DeleteTree(hkcu, u"N"), platform::kEInvalidArg);
    EXPECT_TRUE(machine_.HasKey(hkcu, u"N\\k"));

    platform::ShellExecuteInfo info{};
    std::uint32_t processId = 99;
    EXPECT_EQ(helper->Proc_Create(nullptr, &processId), platform::kEInvalidArg);
    machine_.FailStart(platform::kErrorFileNotFound);
    EXPECT_EQ(helper->Proc_Create(&info, &processId), notFound);
    EXPECT_EQ(processId, 0u);
    helper->Release();
}

}  // namespace
