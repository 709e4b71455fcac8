// Shell: special folders and shell links written and read back.
#include <string>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;

class ShellContract : public PlatformContract {
  protected:
    void SetUp() override {
        PlatformContract::SetUp();
        if (HasFatalFailure()) return;
        const HResult init = shell().ComInitialize();
        ASSERT_TRUE(init == kSOk || init == kSFalse) << init;
    }
    Shell& shell() { return machine().shell(); }
};

TEST_P(ShellContract, WindowsFolderIsFoundWithoutTrailingBackslash) {
    const SpecialFolder folder = shell().GetSpecialFolder(kCsidlWindows);
    EXPECT_EQ(folder.locationResult, kSOk);
    ASSERT_TRUE(folder.pathFound);
    ASSERT_GE(folder.path.size(), 3u);
    EXPECT_EQ(folder.path[1], u':');
    EXPECT_NE(folder.path.back(), u'\\');
    std::uint32_t attributes = 0;
    ASSERT_TRUE(files().GetAttributes(folder.path.c_str(), &attributes));
    EXPECT_NE(attributes & kFileAttributeDirectory, 0u);
}

TEST_P(ShellContract, LinkToAnAbsolutePathReadsBackItsTarget) {
    WriteFile(u"Target.exe", "MZ");
    const std::u16string target = InFolder(u"Target.exe");
    const std::u16string link = InFolder(u"Shortcut.lnk");
    ASSERT_EQ(shell().CreateLink(link.c_str(), target.c_str()), kSOk);
    std::uint32_t attributes = 0;
    EXPECT_TRUE(files().GetAttributes(link.c_str(), &attributes));

    std::u16string read = u"old";
    EXPECT_EQ(shell().ReadLink(InFolder(u"SHORTCUT.LNK").c_str(), &read), LinkStep::kNone);
    EXPECT_EQ(read, target);
    EXPECT_EQ(shell().CreateLink(InFolder(u"No\\a.lnk").c_str(), target.c_str()),
              HResultFromWin32(kErrorPathNotFound));
}

TEST_P(ShellContract, LinkThroughAVariableKeepsItUnexpanded) {
    // Windows keeps a target written with a variable as written and hands it back raw; Wine's
    // link object takes it for a path relative to the current folder.
    if (RunsUnderWine()) GTEST_SKIP() << "Wine's shell link expands no variables in SetPath";
    const std::u16string link = InFolder(u"Notepad.lnk");
    ASSERT_EQ(shell().CreateLink(link.c_str(), u"%windir%\\notepad.exe"), kSOk);
    std::u16string read;
    EXPECT_EQ(shell().ReadLink(link.c_str(), &read), LinkStep::kNone);
    EXPECT_EQ(read, u"%windir%\\notepad.exe");
}

TEST_P(ShellContract, MissingOrDamagedLinksStopAtLoading) {
    std::u16string read = u"untouched";
    EXPECT_EQ(shell().ReadLink(InFolder(u"missing.lnk").c_str(), &read), LinkStep::kLoad);
    WriteFile(u"damaged.lnk", "this is not a shell link");
    EXPECT_EQ(shell().ReadLink(InFolder(u"damaged.lnk").c_str(), &read), LinkStep::kLoad);
    WriteFile(u"empty.lnk", "");
    EXPECT_EQ(shell().ReadLink(InFolder(u"empty.lnk").c_str(), &read), LinkStep::kLoad);
    EXPECT_EQ(read, u"untouched");
}

INSTANTIATE_TEST_SUITE_P(Backends, ShellContract, testing::ValuesIn(AllBackends()), BackendName);

}  // namespace
}  // namespace contract
