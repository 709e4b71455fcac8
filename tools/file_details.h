// The lines of the details pane for a stored text: the file behind it and its version block.
#pragma once

#include <cstdint>
#include <string>

#include "sources/plugin.h"

// Catalogue ids of the lines' labels.
inline constexpr std::int32_t kDetailsTextFileVersion = 22206;     // IDS_VISTREL_FILE_VERSION
inline constexpr std::int32_t kDetailsTextProductVersion = 22207;  // IDS_VISTREL_PRODUCT_VERSION
inline constexpr std::int32_t kDetailsTextPublisher = 22208;       // IDS_VISTREL_PUBLISHER
inline constexpr std::int32_t kDetailsTextDescription = 22209;     // IDS_VISTREL_DESCRIPTION
inline constexpr std::int32_t kDetailsTextFile = 22210;            // IDS_VISTREL_FILE
inline constexpr std::int32_t kDetailsTextPath = 22211;            // IDS_VISTREL_PATH
inline constexpr std::int32_t kDetailsTextObject = 22212;          // IDS_VISTREL_OBJECT
inline constexpr std::int32_t kDetailsTextNoFileInfo = 22472;      // IDS_VISTREL_ERR_NO_FILE_INFO
inline constexpr std::int32_t kDetailsTextMaybeWrong = 22487;  // IDS_VISTREL_FILE_INFO_MAYBE_WRONG

// What a file's version block says. Numbers are most significant first and 0 until read.
struct FileVersionRecord {
    std::u16string Comments;
    std::u16string CompanyName;
    std::u16string FileDescription;
    std::u16string FileVersion;
    std::u16string InternalName;
    std::u16string LegalCopyright;
    std::u16string LegalTrademarks;
    std::u16string OriginalFilename;
    std::u16string PrivateBuild;
    std::u16string ProductName;
    std::u16string ProductVersion;
    std::u16string SpecialBuild;
    std::u16string OLESelfRegister;
    std::uint16_t fileVersion[4] = {0, 0, 0, 0};
    std::uint16_t productVersion[4] = {0, 0, 0, 0};
};

// Resolves text (ResolveCommandLine, then ResolveLink for a ".lnk") and delivers to lineCallback,
// in order: object (text), file (name and extension), "may be wrong" (flags 4, no value; only
// when the resolution succeeded, mayBeWrong is true and text holds no backslash), path; then
// either file version, product version, publisher and description, or the "no file info" line
// with the path. Returns 6 when the version block was read, otherwise 0. A null lineCallback
// returns 0 before anything is looked up. A null text counts as empty.
std::int32_t GetFileDetails(const char16_t* text, std::int32_t itemIndex, LineCallback lineCallback,
                            void* context, bool mayBeWrong);

// Reads blockSize bytes of path's version block into record: the fixed numbers, and the
// thirteen strings of the first language/code page pair of the translation table (all empty
// when there is no table). False when the block can't be allocated or read.
bool ReadVersionInfo(const char16_t* path, FileVersionRecord& record, std::uint32_t blockSize);
// Copies the numbers of the block's VS_FIXEDFILEINFO; leaves them alone when the block has none.
void QueryFixedVersion(const void* block, std::uint16_t fileVersion[4],
                       std::uint16_t productVersion[4]);
// "\StringFileInfo\LLLLCCCC\name" of the block into out; out is empty when the block has none.
void QueryVersionString(const void* block, std::uint16_t language, std::uint16_t codePage,
                        const char16_t* name, std::u16string& out);
