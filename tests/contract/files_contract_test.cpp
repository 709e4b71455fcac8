// Files: finding with and without wildcards, whole-file reads and writes, folders, error codes.
#include <string>
#include <vector>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;
using Names = std::vector<std::u16string>;

constexpr Status kErrorDirectory = 267;

class FilesContract : public PlatformContract {
  protected:
    void SetUp() override {
        PlatformContract::SetUp();
        if (HasFatalFailure()) return;
        for (const char16_t* name : {u"a1.txt", u"A2.txt", u"ab.log", u"b.txt"}) {
            WriteFile(name, "x");
        }
        WriteFile(u"Program.EXE", "12345");
        ASSERT_EQ(files().MakeDirectory(InFolder(u"aDir").c_str()), kErrorSuccess);
    }
    // Every name FindFirst/FindNext deliver for the pattern, in their order, which must end
    // with ERROR_NO_MORE_FILES; or the error code as "#n" when nothing is found.
    Names Find(const std::u16string& pattern) {
        FindData data;
        FindHandle find = files().FindFirst(pattern.c_str(), &data);
        if (find == nullptr) return {ToU16("#" + std::to_string(machine().LastError()))};
        Names names{data.name};
        while (files().FindNext(find, &data)) names.push_back(data.name);
        EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorNoMoreFiles));
        files().FindClose(find);
        return names;
    }
};

TEST_P(FilesContract, FindGivesSortedNamesAndSystemErrors) {
    const struct {
        const char16_t* pattern;
        Names names;
    } cases[] = {
        // The name comes back as the file system spells it.
        {u"program.exe", {u"Program.EXE"}},
        {u"ADIR", {u"aDir"}},
        {u"a*.txt", {u"a1.txt", u"A2.txt"}},
        {u"A?.*", {u"a1.txt", u"A2.txt", u"ab.log"}},
        // "x.*" takes names without a dot as well.
        {u"a*.*", {u"a1.txt", u"A2.txt", u"ab.log", u"aDir"}},
        // "*" in a folder that isn't a drive's root also yields the entries "." and "..".
        {u"*", {u".", u"..", u"a1.txt", u"A2.txt", u"ab.log", u"aDir", u"b.txt", u"Program.EXE"}},
        {u"aDir\\..\\b.txt", {u"b.txt"}},
        {u"missing.txt", {u"#2"}},
        {u"missing*.txt", {u"#2"}},
        {u"NoFolder\\x.txt", {u"#3"}},
        {u"NoFolder\\*", {u"#3"}},
        // A folder named with a trailing backslash is not found.
        {u"aDir\\", {u"#2"}},
        // Wildcards belong in the last component only.
        {u"a*\\x.txt", {u"#123"}},
        // Blanks and dots that end a path go; a folder's name loses one dot.
        {u"b.txt. .", {u"b.txt"}},
        {u"aDir.\\..\\Program.EXE..", {u"Program.EXE"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Narrow(c.pattern));
        EXPECT_EQ(Find(InFolder(c.pattern)), c.names);
    }

    std::u16string slashed = InFolder(u"b.txt");
    for (char16_t& c : slashed) c = c == u'\\' ? u'/' : c;
    EXPECT_EQ(Find(slashed), Names{u"b.txt"});

    FindData data;
    FindHandle find = files().FindFirst(InFolder(u"Program.EXE").c_str(), &data);
    ASSERT_NE(find, nullptr);
    EXPECT_EQ(data.size, 5u);
    EXPECT_EQ(data.attributes, kFileAttributeArchive);
    files().FindClose(find);
    find = files().FindFirst(InFolder(u"aDir").c_str(), &data);
    ASSERT_NE(find, nullptr);
    EXPECT_NE(data.attributes & kFileAttributeDirectory, 0u);
    files().FindClose(find);
}

TEST_P(FilesContract, VerbatimPathsAreTakenAsTheyStand) {
    const char16_t* const prefixes[] = {u"\\\\?\\", u"\\??\\"};
    for (const char16_t* prefix : prefixes)
        EXPECT_EQ(Find(prefix + InFolder(u"b.txt")), Names{u"b.txt"});
    if (RunsUnderWine())
        GTEST_SKIP() << "Wine trims a verbatim path's trailing dots, Windows does not";
    for (const char16_t* prefix : prefixes)
        EXPECT_EQ(Find(prefix + InFolder(u"b.txt.")), Names{u"#2"});
}

TEST_P(FilesContract, WholeFileReadsWritesAndAppends) {
    const std::u16string path = InFolder(u"data.bin");
    const std::string bytes("a\0b\r\n\xFF", 6);
    ASSERT_EQ(files().WriteAll(path.c_str(), bytes), kErrorSuccess);
    std::string read;
    EXPECT_EQ(files().ReadAll(InFolder(u"DATA.BIN").c_str(), &read), kErrorSuccess);
    EXPECT_EQ(read, bytes);

    ASSERT_EQ(files().WriteAll(path.c_str(), "new"), kErrorSuccess);
    ASSERT_EQ(files().Append(path.c_str(), "+more"), kErrorSuccess);
    EXPECT_EQ(files().ReadAll(path.c_str(), &read), kErrorSuccess);
    EXPECT_EQ(read, "new+more");

    const std::u16string fresh = InFolder(u"log.txt");
    ASSERT_EQ(files().Append(fresh.c_str(), "line"), kErrorSuccess);
    EXPECT_EQ(files().ReadAll(fresh.c_str(), &read), kErrorSuccess);
    EXPECT_EQ(read, "line");

    read = "untouched";
    EXPECT_EQ(files().ReadAll(InFolder(u"missing").c_str(), &read), kErrorFileNotFound);
    EXPECT_EQ(files().ReadAll(InFolder(u"NoFolder\\f").c_str(), &read), kErrorPathNotFound);
    EXPECT_EQ(files().ReadAll(InFolder(u"aDir").c_str(), &read), kErrorAccessDenied);
    EXPECT_EQ(files().WriteAll(InFolder(u"NoFolder\\f").c_str(), "x"), kErrorPathNotFound);
    EXPECT_EQ(read, "untouched");
}

TEST_P(FilesContract, FoldersAndRemoval) {
    const std::u16string folder = InFolder(u"Dir");
    const std::u16string file = folder + u"\\f.txt";
    ASSERT_EQ(files().MakeDirectory(folder.c_str()), kErrorSuccess);
    ASSERT_EQ(files().WriteAll(file.c_str(), "x"), kErrorSuccess);
    EXPECT_EQ(files().MakeDirectory(folder.c_str()), kErrorAlreadyExists);
    EXPECT_EQ(files().MakeDirectory(file.c_str()), kErrorAlreadyExists);
    EXPECT_EQ(files().MakeDirectory(InFolder(u"No\\Such").c_str()), kErrorPathNotFound);

    std::uint32_t attributes = 0;
    ASSERT_TRUE(files().GetAttributes((folder + u"\\").c_str(), &attributes));
    EXPECT_NE(attributes & kFileAttributeDirectory, 0u);
    ASSERT_TRUE(files().GetAttributes(file.c_str(), &attributes));
    EXPECT_EQ(attributes & kFileAttributeDirectory, 0u);
    EXPECT_FALSE(files().GetAttributes((file + u"\\").c_str(), &attributes));
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorPathNotFound));

    EXPECT_EQ(files().RemoveEmptyDirectory(folder.c_str()), kErrorDirNotEmpty);
    EXPECT_EQ(files().RemoveEmptyDirectory(file.c_str()), kErrorDirectory);
    EXPECT_EQ(files().RemoveFile(folder.c_str()), kErrorAccessDenied);
    EXPECT_EQ(files().RemoveFile(file.c_str()), kErrorSuccess);
    EXPECT_EQ(files().RemoveFile(file.c_str()), kErrorFileNotFound);
    EXPECT_EQ(files().RemoveFile(InFolder(u"No\\Such").c_str()), kErrorPathNotFound);
    EXPECT_FALSE(files().GetAttributes(file.c_str(), &attributes));
    EXPECT_EQ(files().RemoveEmptyDirectory(folder.c_str()), kErrorSuccess);
    EXPECT_EQ(files().RemoveEmptyDirectory(folder.c_str()), kErrorFileNotFound);
    EXPECT_FALSE(files().GetAttributes(folder.c_str(), &attributes));
}

TEST_P(FilesContract, RelativePathsStartAtTheCurrentFolder) {
    const std::u16string current = files().CurrentDirectory();
    ASSERT_FALSE(current.empty());
    EXPECT_NE(current.back(), u'\\');
    std::uint32_t attributes = 0;
    ASSERT_TRUE(files().GetAttributes(current.c_str(), &attributes));
    EXPECT_NE(attributes & kFileAttributeDirectory, 0u);

    // Whatever the current folder holds is found by its bare name too.
    Names entries = Find(current + u"\\*");
    std::erase_if(entries, [](const std::u16string& name) { return name[0] == u'.'; });
    ASSERT_FALSE(entries.empty());
    std::uint32_t direct = 0;
    ASSERT_TRUE(files().GetAttributes((current + u"\\" + entries[0]).c_str(), &direct));
    ASSERT_TRUE(files().GetAttributes(entries[0].c_str(), &attributes));
    EXPECT_EQ(attributes, direct);
    EXPECT_EQ(Find(entries[0]), Names{entries[0]});
}

INSTANTIATE_TEST_SUITE_P(Backends, FilesContract, testing::ValuesIn(AllBackends()), BackendName);

}  // namespace
}  // namespace contract
