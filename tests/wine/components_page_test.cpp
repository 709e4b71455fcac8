// Installed components and file-class commands end to end under Wine: fixtures in the real
// registry appear on the hosted page with their details, Remove deletes exactly the chosen
// component's whole key, and Restore writes exactly the default command into the chosen class.
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kComponents[] = L"HKLM\\SOFTWARE\\Microsoft\\Active Setup\\Installed Components";
constexpr const wchar_t* kClasses[] = {L"exefile", L"comfile", L"batfile", L"piffile"};
std::wstring CommandKey(const std::wstring& cls) {
    return L"HKLM\\Software\\CLASSES\\" + cls + L"\\shell\\open\\command";
}
std::map<std::wstring, Dump> DumpCommands() {
    std::map<std::wstring, Dump> dump;
    for (const wchar_t* cls : kClasses) dump[cls] = DumpOf(CommandKey(cls));
    return dump;
}

// The value types and odd sizes are the unit test's; here the real registry, page and helper.
class ComponentsPage : public HostedPage {
  protected:
    void SetUp() override {
        const std::wstring key = std::wstring(kComponents) + L"\\{VistrelE2E-";
        reg_.Write({{key + L"1}", L"", L"Vistrel E2E component"},
                    {key + L"1}", L"StubPath", L"C:\\windows\\system32\\kernel32.dll /install",
                     REG_EXPAND_SZ},
                    {key + L"1}\\Inner", L"x", L"y"},
                    {key + L"2}", L"", L""},
                    {key + L"2}", L"StubPath", L"%SystemRoot%\\notepad.exe /zero", REG_EXPAND_SZ},
                    {key + L"3}", L"", L"Vistrel E2E no stub"},
                    {CommandKey(L"piffile"), L"", L"C:\\vistrel_e2e\\hijack.exe \"%1\" %*",
                     REG_EXPAND_SZ}});
        ASSERT_NO_FATAL_FAILURE(Show());
    }
    HTREEITEM Pif() {
        return Child(Category(L"Program file associations"),
                     regfix::Split(CommandKey(L"piffile")).second);
    }
};

TEST_F(ComponentsPage, ComponentsWithACommandAppearAndRemoveDeletesExactlyOneKey) {
    HTREEITEM category = Category(L"Installed components");
    // Without a name the command stands for the component; without a command it is no entry.
    EXPECT_NE(Child(category, L"%SystemRoot%\\notepad.exe /zero"), nullptr);
    EXPECT_EQ(Child(category, L"Vistrel E2E no stub"), nullptr);
    EXPECT_EQ(Child(category, L"(Default)"), nullptr);
    EXPECT_NE(Details(Child(category, L"Vistrel E2E component"))
                  .find(L"Object: C:\\windows\\system32\\kernel32.dll /install\r\nFile: "
                        L"kernel32.dll\r\n"),
              std::wstring::npos)
        << Pane();

    const Dump before = DumpOf(kComponents);
    EXPECT_EQ(Remove(Child(category, L"Vistrel E2E component"), kComponents),
              Without(before, L"\\{VistrelE2E-1}"));
    Category(L"Installed components");
}

TEST_F(ComponentsPage, RestoreWritesExactlyTheDefaultCommandIntoTheChosenClass) {
    EXPECT_NE(Details(Pif()).find(L"Current command: C:\\vistrel_e2e\\hijack.exe \"%1\" %*\r\n"
                                  L"Default command: \"%1\" %*"),
              std::wstring::npos)
        << Pane();
    // Refresh, Go to and Restore (action 3); no Remove.
    EXPECT_FALSE(IsWindowVisible(Button(2)));
    ASSERT_TRUE(Offered(3));
    std::map<std::wstring, Dump> expected = DumpCommands();
    expected[L"piffile"][L"|"] = regfix::Bytes(REG_SZ, L"\"%1\" %*" + std::wstring(1, L'\0'));
    Press(3);
    PumpUntil([&] { return DumpCommands() == expected; }, std::chrono::seconds(10));
    EXPECT_EQ(DumpCommands(), expected);
    // The page reads again and shows the class with its default command.
    ASSERT_TRUE(PumpUntil([&] { return Filled() && Pif(); }));
    EXPECT_NE(Details(Pif()).find(L"Current command: \"%1\" %*\r\n"), std::wstring::npos) << Pane();
}

}  // namespace
}  // namespace hostedpage
