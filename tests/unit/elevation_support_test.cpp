// The two helpers of the support: creation on first request, fallback, release, the global
// instance and the factory's truth about elevation; and what the in-process helper does.
#include <gtest/gtest.h>

#include "sources/plugin.h"
#include "tests/unit/tools_test_support.h"

namespace {

// The factory's creation function for these tests: counts, can fail, hands out recorders.
struct FakeFactory {
    static inline bool failProper = false;
    static inline bool failDirect = false;
    static inline int releases = 0;
    static inline std::vector<ElevatedHelperRequest> requests;

    static std::int32_t Create(const ElevatedHelperRequest& request, IElevatedHelper** helper) {
        requests.push_back(request);
        if ((request.elevated && failProper) || (!request.elevated && failDirect)) {
            return platform::kEAccessDenied;
        }
        *helper = new RecordingHelper(&releases);
        return platform::kSOk;
    }
};

class ElevationSupport : public ToolsTest {
  protected:
    ElevationSupport() {
        FakeFactory::failProper = false;
        FakeFactory::failDirect = false;
        FakeFactory::releases = 0;
        FakeFactory::requests.clear();
        CElevatedHelperFactory::SetCreateFunction(&FakeFactory::Create);
        CreateElevatedHelperSupport();
        CElevatedHelperFactory::ResetRequestCounts();
    }
    CElevatedHelperSupport& support() { return *g_elevatedHelperSupport; }
    static std::uint32_t Proper() { return CElevatedHelperFactory::ProperHelperRequests(); }
    static std::uint32_t Direct() { return CElevatedHelperFactory::DirectHelperRequests(); }
};

TEST_F(ElevationSupport, RepeatedRequestsGiveTheSameHelperFromOneFactoryCall) {
    IElevatedHelper* elevated = support().GetElevatedHelper(true, false);
    ASSERT_NE(elevated, nullptr);
    EXPECT_EQ(support().GetElevatedHelper(true, true), elevated);
    IElevatedHelper* direct = support().GetElevatedHelper(false, false);
    ASSERT_NE(direct, nullptr);
    EXPECT_NE(direct, elevated);
    EXPECT_EQ(support().GetElevatedHelper(false, true), direct);
    EXPECT_EQ(Proper(), 1u);
    EXPECT_EQ(Direct(), 1u);
    ASSERT_EQ(FakeFactory::requests.size(), 2u);
    EXPECT_TRUE(FakeFactory::requests[0].elevated);
    EXPECT_EQ(FakeFactory::requests[0].parentWindow, nullptr);
}

TEST_F(ElevationSupport, FallbackFillsTheElevatedFieldWithADirectHelperUntilReleased) {
    FakeFactory::failProper = true;
    machine_.ClearTrace();
    IElevatedHelper* helper = support().GetElevatedHelper(true, true);
    ASSERT_NE(helper, nullptr);
    EXPECT_EQ(Proper(), 1u);
    EXPECT_EQ(Direct(), 1u);
    std::vector<std::string> lines = machine_.TraceMessages();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], "CElevatedHelperSupport::GetElevatedHelper: => 1,1");
    EXPECT_EQ(lines[1], "CElevatedHelperSupport::GetElevatedHelper_Impl: Getting proper helper.");
    EXPECT_EQ(lines[2],
              "CElevatedHelperSupport:GetElevatedHelper: Failed getting helper. bElevated = 1");
    EXPECT_EQ(lines[3],
              "CElevatedHelperSupport:GetElevatedHelper: Trying to return a direct unelevated "
              "helper, as requested");
    EXPECT_EQ(lines[4], "CElevatedHelperSupport::GetElevatedHelper_Impl: Getting direct helper.");
    EXPECT_EQ(lines[5].rfind("CElevatedHelperSupport::GetElevatedHelper: <=", 0), 0u);
    EXPECT_NE(lines[5], "CElevatedHelperSupport::GetElevatedHelper: <=0000000000000000");

    // Kept: neither factory is asked again, and the direct field is still empty.
    EXPECT_EQ(support().GetElevatedHelper(true, false), helper);
    EXPECT_EQ(Proper(), 1u);
    IElevatedHelper* direct = support().GetElevatedHelper(false, false);
    EXPECT_NE(direct, helper);
    EXPECT_EQ(Direct(), 2u);

    support().ReleaseElevatedHelper();
    EXPECT_EQ(FakeFactory::releases, 1);
    EXPECT_NE(support().GetElevatedHelper(true, true), nullptr);
    EXPECT_EQ(Proper(), 2u);
    EXPECT_EQ(Direct(), 3u);
}

TEST_F(ElevationSupport, FailureWithoutFallbackGivesNullAndAsksAgainNextTime) {
    FakeFactory::failProper = true;
    machine_.ClearTrace();
    EXPECT_EQ(support().GetElevatedHelper(true, false), nullptr);
    EXPECT_TRUE(Logged("CElevatedHelperSupport::GetElevatedHelper: <=0000000000000000"));
    EXPECT_EQ(support().GetElevatedHelper(true, false), nullptr);
    EXPECT_EQ(Proper(), 2u);
    EXPECT_EQ(Direct(), 0u);
    FakeFactory::failProper = false;
    EXPECT_NE(support().GetElevatedHelper(true, false), nullptr);
    EXPECT_EQ(Proper(), 3u);
}

TEST_F(ElevationSupport, FallbackDoesNothingForADirectRequest) {
    FakeFactory::failDirect = true;
    EXPECT_EQ(support().GetElevatedHelper(false, true), nullptr);
    EXPECT_EQ(Direct(), 1u);
    EXPECT_EQ(Proper(), 0u);
    EXPECT_EQ(support().GetElevatedHelper(false, true), nullptr);
    EXPECT_EQ(Direct(), 2u);
}

TEST_F(ElevationSupport, ReleasesFollowTheLifecycle) {
    IElevatedHelper* elevated = support().GetElevatedHelper(true, false);
    ASSERT_NE(elevated, nullptr);
    ASSERT_NE(support().GetElevatedHelper(false, false), nullptr);

    ReleaseElevatedHelper();
    EXPECT_EQ(FakeFactory::releases, 1);
    ReleaseElevatedHelper();  // nothing left to release
    EXPECT_EQ(FakeFactory::releases, 1);
    EXPECT_NE(support().GetElevatedHelper(true, false), nullptr);
    EXPECT_EQ(Proper(), 2u);
    EXPECT_EQ(Direct(), 1u);

    // A new instance clears the old one as its destruction would.
    CreateElevatedHelperSupport();
    EXPECT_EQ(FakeFactory::releases, 3);
    ASSERT_NE(g_elevatedHelperSupport, nullptr);
    EXPECT_NE(support().GetElevatedHelper(false, false), nullptr);
    DestroyElevatedHelperSupport();
    EXPECT_EQ(FakeFactory::releases, 4);
    EXPECT_EQ(g_elevatedHelperSupport, nullptr);
    EXPECT_EQ(GetGlobalElevatedHelper(false, false), nullptr);
    ReleaseElevatedHelper();
    DestroyElevatedHelperSupport();
}

TEST_F(ElevationSupport, SourcesGetTheHelperTheirFlagNames) {
    CVistrelPlugin plain;
    CVistrelPlugin machineWide;
    machineWide.NeedsElevation = true;
    IElevatedHelper* direct = GetHelperForSource(&plain);
    IElevatedHelper* elevated = GetHelperForSource(&machineWide);
    ASSERT_NE(direct, nullptr);
    ASSERT_NE(elevated, nullptr);
    EXPECT_NE(direct, elevated);
    EXPECT_EQ(Proper(), 1u);
    EXPECT_EQ(Direct(), 1u);
    EXPECT_EQ(GetHelperForSource(nullptr), nullptr);

    // No fallback for sources.
    support().ReleaseElevatedHelper();
    FakeFactory::failProper = true;
    EXPECT_EQ(GetHelperForSource(&machineWide), nullptr);
    DestroyElevatedHelperSupport();
    EXPECT_EQ(GetHelperForSource(&plain), nullptr);
}

TEST_F(ElevationSupport, FactoryRefusesANullAddressAndClearsOnFailure) {
    EXPECT_EQ(CElevatedHelperFactory::GetDirectHelper(nullptr), platform::kEInvalidArg);
    FakeFactory::failProper = true;
    IElevatedHelper* helper = reinterpret_cast<IElevatedHelper*>(0x1234);
    EXPECT_EQ(CElevatedHelperFactory::GetProperHelperForOS(nullptr, &helper),
              platform::kEAccessDenied);
    EXPECT_EQ(helper, nullptr);
}

class ElevationTruth : public ToolsTest {};

TEST_F(ElevationTruth, CanElevateAndIsElevatedFollowTheToken) {
    const struct {
        bool elevated;
        int type;
        bool canElevate;
    } cases[] = {
        {true, 2, true}, {true, 1, true}, {false, 3, true}, {false, 1, false}, {false, 2, false}};
    for (const auto& c : cases) {
        machine_.SetTokenElevation(c.elevated, c.type);
        EXPECT_EQ(CElevatedHelperFactory::CanElevate(), c.canElevate) << c.elevated << c.type;
        IElevatedHelper* proper = nullptr;
        ASSERT_EQ(CElevatedHelperFactory::GetProperHelperForOS(nullptr, &proper), platform::kSOk);
        EXPECT_EQ(proper->IsElevated(), c.elevated);
        proper->Release();
    }
}

class InProcessHelper : public ToolsTest {
  protected:
    InProcessHelper() { EXPECT_EQ(CElevatedHelperFactory::GetDirectHelper(&helper_), 0); }
    ~InProcessHelper() override { helper_->Release(); }
    IElevatedHelper* helper_ = nullptr;
};

TEST_F(InProcessHelper, DeleteKeyTakesTheSubtreeAndRefusesARoot) {
    machine_.SetString(platform::kHkeyCurrentUser, u"A\\B\\C", u"v", u"x");
    EXPECT_EQ(helper_->Reg_DeleteKey(platform::kHkeyCurrentUser, u""), platform::kEInvalidArg);
    EXPECT_EQ(helper_->Reg_DeleteKey(platform::kHkeyCurrentUser, u"A\\B"), platform::kSOk);
    EXPECT_TRUE(machine_.HasKey(platform::kHkeyCurrentUser, u"A"));
    EXPECT_FALSE(machine_.HasKey(platform::kHkeyCurrentUser, u"A\\B"));
    EXPECT_EQ(helper_->Reg_DeleteKey(platform::kHkeyCurrentUser, u"A\\B"),
              platform::HResultFromWin32(platform::kErrorFileNotFound));
}

TEST_F(InProcessHelper, SetValueChecksItsSizeAndWritesExactBytes) {
    machine_.AddKey(platform::kHkeyCurrentUser, u"K");
    const std::uint8_t bytes[] = {1, 2, 3};
    EXPECT_EQ(helper_->Reg_SetValue(platform::kHkeyCurrentUser, u"K", u"v", bytes, -1, 3, 0),
              platform::kEInvalidArg);
    EXPECT_EQ(helper_->Reg_SetValue(platform::kHkeyCurrentUser, u"K", u"v", nullptr, 3, 3, 0),
              platform::kEInvalidArg);
    EXPECT_EQ(
        helper_->Reg_SetValue(platform::kHkeyCurrentUser, u"K", u"v", bytes, 0x100000000LL, 3, 0),
        platform::kEInvalidArg);
    EXPECT_EQ(helper_->Reg_SetValue(platform::kHkeyCurrentUser, u"K", u"v", bytes, 3, 3, 0),
              platform::kSOk);
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
    EXPECT_EQ(helper_->Reg_QueryValue(platform::kHkeyCurrentUser, u"K", u"v", &type, data),
              platform::kSOk);
    EXPECT_EQ(type, platform::kRegBinary);
    EXPECT_EQ(data, (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(InProcessHelper, FurtherRegistryOperationsDoWhatTheySay) {
    const platform::RegKey hkcu = platform::kHkeyCurrentUser;
    EXPECT_EQ(helper_->Reg_CreateKey(hkcu, u"T\\U"), platform::kSOk);
    EXPECT_TRUE(machine_.HasKey(hkcu, u"T\\U"));
    machine_.SetRaw(hkcu, u"T", u"big", platform::kRegBinary, std::string(10000, 'b'));
    machine_.SetString(hkcu, u"T", u"s", u"text");
    machine_.AddKey(hkcu, u"T\\V\\W");

    std::vector<std::uint8_t> data;
    EXPECT_EQ(helper_->Reg_QueryValue(hkcu, u"T", u"big", nullptr, data), platform::kSOk);
    EXPECT_EQ(data.size(), 10000u);
    EXPECT_EQ(helper_->Reg_QueryValue(hkcu, u"T", u"none", nullptr, data),
              platform::HResultFromWin32(platform::kErrorFileNotFound));
    EXPECT_TRUE(data.empty());

    std::vector<std::u16string> names;
    EXPECT_EQ(helper_->Reg_EnumValues(hkcu, u"T", names), platform::kSOk);
    EXPECT_EQ(names, (std::vector<std::u16string>{u"big", u"s"}));
    EXPECT_EQ(helper_->Reg_EnumKeys(hkcu, u"T", names), platform::kSOk);
    EXPECT_EQ(names, (std::vector<std::u16string>{u"U", u"V"}));

    EXPECT_EQ(helper_->Reg_DeleteTree(hkcu, u"T"), platform::kSOk);
    EXPECT_TRUE(machine_.HasKey(hkcu, u"T"));
    EXPECT_FALSE(machine_.HasKey(hkcu, u"T\\U"));
    EXPECT_TRUE(machine_.ValueNames(hkcu, u"T").empty());

    machine_.DenyOpen(hkcu, u"T");
    EXPECT_EQ(helper_->Reg_OpenTest(hkcu, u"T", platform::kKeyRead), platform::kEAccessDenied);
    EXPECT_EQ(helper_->Reg_OpenTest(hkcu, u"Nowhere", platform::kKeyRead),
              platform::HResultFromWin32(platform::kErrorFileNotFound));
}

TEST_F(InProcessHelper, ProcessAndFileOperations) {
    platform::ShellExecuteInfo info{};
    info.cbSize = 112;
    info.fMask = platform::kSeeMaskNoCloseProcess;
    info.lpFile = u"regedit.exe";
    info.nShow = platform::kSwShowDefault;
    std::uint32_t processId = 99;
    EXPECT_EQ(helper_->Proc_Create(nullptr, &processId), platform::kEInvalidArg);
    EXPECT_EQ(helper_->Proc_Create(&info, &processId), platform::kSOk);
    ASSERT_EQ(machine_.Started().size(), 1u);
    EXPECT_EQ(machine_.Started()[0].processId, processId);
    machine_.FailStart(platform::kErrorFileNotFound);
    EXPECT_EQ(helper_->Proc_Create(&info, &processId),
              platform::HResultFromWin32(platform::kErrorFileNotFound));
    EXPECT_EQ(processId, 0u);

    machine_.AddProcess(500, u"x.exe");
    EXPECT_EQ(helper_->Proc_Kill(500), platform::kSOk);
    EXPECT_EQ(machine_.Terminated(), std::vector<std::uint32_t>{500});

    std::vector<std::uint32_t> ids{1};
    EXPECT_EQ(helper_->Proc_Enum(ids), platform::kENotImpl);
    EXPECT_TRUE(ids.empty());
    std::u16string image = u"x";
    EXPECT_EQ(helper_->Proc_GetImagePath(500, image), platform::kENotImpl);
    EXPECT_TRUE(image.empty());

    machine_.AddFile(u"C:\\Startup\\a.lnk");
    EXPECT_EQ(helper_->File_Delete(u"C:\\Startup\\a.lnk"), platform::kSOk);
    EXPECT_FALSE(machine_.HasFile(u"C:\\Startup\\a.lnk"));
    EXPECT_EQ(helper_->File_Delete(u"C:\\Startup\\a.lnk"),
              platform::HResultFromWin32(platform::kErrorFileNotFound));
}

}  // namespace
