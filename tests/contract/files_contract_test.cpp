// Files: finding with and without wildcards, whole-file reads and writes, folders, error codes.
#include <algorithm>
#include <string>
#include <vector>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;

class FilesContract : public PlatformContract {
  protected:
    // Every name that FindFirst/FindNext deliver for the pattern, sorted; the find handle is
    // closed. LastError after the last FindNext goes to *endError.
    std::vector<std::u16string> FindAll(const std::u16string& pattern,
                                        std::uint32_t* endError = nullptr) {
        std::vector<std::u16string> names;
        FindData data;
        FindHandle find = files().FindFirst(pattern.c_str(), &data);
        if (find == nullptr) return names;
        do {
            names.push_back(data.name);
        } while (files().FindNext(find, &data));
        if (endError != nullptr) *endError = machine().LastError();
        files().FindClose(find);
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_P(FilesContract, FindFirstOnExactPaths) {
    WriteFile(u"Program.EXE", "12345");
    ASSERT_EQ(files().MakeDirectory(InFolder(u"Sub").c_str()), kErrorSuccess);

    FindData data;
    FindHandle find = files().FindFirst(InFolder(u"program.exe").c_str(), &data);
    ASSERT_NE(find, nullptr);
    // The name comes back as the file system spells it.
    EXPECT_EQ(data.name, u"Program.EXE");
    EXPECT_EQ(data.size, 5u);
    EXPECT_EQ(data.attributes & kFileAttributeDirectory, 0u);
    EXPECT_FALSE(files().FindNext(find, &data));
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorNoMoreFiles));
    files().FindClose(find);

    find = files().FindFirst(InFolder(u"SUB").c_str(), &data);
    ASSERT_NE(find, nullptr);
    EXPECT_EQ(data.name, u"Sub");
    EXPECT_NE(data.attributes & kFileAttributeDirectory, 0u);
    files().FindClose(find);
}

TEST_P(FilesContract, FindFirstFailuresGiveTheirCodes) {
    ASSERT_EQ(files().MakeDirectory(InFolder(u"Sub").c_str()), kErrorSuccess);
    FindData data;
    EXPECT_EQ(files().FindFirst(InFolder(u"missing.txt").c_str(), &data), nullptr);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorFileNotFound));
    EXPECT_EQ(files().FindFirst(InFolder(u"missing*.txt").c_str(), &data), nullptr);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorFileNotFound));
    EXPECT_EQ(files().FindFirst(InFolder(u"NoFolder\\x.txt").c_str(), &data), nullptr);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorPathNotFound));
    // A folder named with a trailing backslash is not found.
    EXPECT_EQ(files().FindFirst(InFolder(u"Sub\\").c_str(), &data), nullptr);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorFileNotFound));
}

TEST_P(FilesContract, WildcardsInTheLastComponent) {
    for (const char16_t* name : {u"a1.txt", u"a2.txt", u"ab.log", u"b.txt"}) WriteFile(name, "x");
    ASSERT_EQ(files().MakeDirectory(InFolder(u"aDir").c_str()), kErrorSuccess);

    EXPECT_EQ(FindAll(InFolder(u"a*.txt")), (std::vector<std::u16string>{u"a1.txt", u"a2.txt"}));
    EXPECT_EQ(FindAll(InFolder(u"A?.*")),
              (std::vector<std::u16string>{u"a1.txt", u"a2.txt", u"ab.log"}));
    EXPECT_EQ(FindAll(InFolder(u"a*")),
              (std::vector<std::u16string>{u"a1.txt", u"a2.txt", u"aDir", u"ab.log"}));
    // "*" in a folder that isn't a drive's root also yields the entries "." and "..".
    std::uint32_t endError = 0;
    EXPECT_EQ(FindAll(InFolder(u"*"), &endError),
              (std::vector<std::u16string>{u".", u"..", u"a1.txt", u"a2.txt", u"aDir", u"ab.log",
                                           u"b.txt"}));
    EXPECT_EQ(endError, static_cast<std::uint32_t>(kErrorNoMoreFiles));
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
    EXPECT_EQ(files().WriteAll(InFolder(u"NoFolder\\f").c_str(), "x"), kErrorPathNotFound);
    EXPECT_EQ(read, "untouched");
}

TEST_P(FilesContract, FoldersAndRemoval) {
    const std::u16string folder = InFolder(u"Dir");
    ASSERT_EQ(files().MakeDirectory(folder.c_str()), kErrorSuccess);
    EXPECT_EQ(files().MakeDirectory(folder.c_str()), kErrorAlreadyExists);
    EXPECT_EQ(files().MakeDirectory(InFolder(u"No\\Such").c_str()), kErrorPathNotFound);

    const std::u16string file = folder + u"\\f.txt";
    ASSERT_EQ(files().WriteAll(file.c_str(), "x"), kErrorSuccess);
    std::uint32_t attributes = 0;
    ASSERT_TRUE(files().GetAttributes(folder.c_str(), &attributes));
    EXPECT_NE(attributes & kFileAttributeDirectory, 0u);
    ASSERT_TRUE(files().GetAttributes(file.c_str(), &attributes));
    EXPECT_EQ(attributes & kFileAttributeDirectory, 0u);

    EXPECT_EQ(files().RemoveEmptyDirectory(folder.c_str()), kErrorDirNotEmpty);
    EXPECT_EQ(files().RemoveFile(file.c_str()), kErrorSuccess);
    EXPECT_EQ(files().RemoveFile(file.c_str()), kErrorFileNotFound);
    EXPECT_FALSE(files().GetAttributes(file.c_str(), &attributes));
    EXPECT_EQ(files().RemoveEmptyDirectory(folder.c_str()), kErrorSuccess);
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
    FindData data;
    FindHandle find = files().FindFirst((current + u"\\*").c_str(), &data);
    ASSERT_NE(find, nullptr);
    std::u16string entry;
    do {
        if (data.name != u"." && data.name != u"..") entry = data.name;
    } while (entry.empty() && files().FindNext(find, &data));
    files().FindClose(find);
    ASSERT_FALSE(entry.empty());
    std::uint32_t direct = 0;
    ASSERT_TRUE(files().GetAttributes((current + u"\\" + entry).c_str(), &direct));
    ASSERT_TRUE(files().GetAttributes(entry.c_str(), &attributes));
    EXPECT_EQ(attributes, direct);
    find = files().FindFirst(entry.c_str(), &data);
    ASSERT_NE(find, nullptr);
    EXPECT_EQ(data.name, entry);
    files().FindClose(find);
}

INSTANTIATE_TEST_SUITE_P(Backends, FilesContract, testing::ValuesIn(AllBackends()), BackendName);

}  // namespace
}  // namespace contract
