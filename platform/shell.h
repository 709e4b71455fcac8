// Shell concern: special folders and shell links (the COM link object on Windows).
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace platform {

// The outcome of SHGetSpecialFolderLocation + SHGetPathFromIDListW + CoTaskMemFree.
struct SpecialFolder {
    HResult locationResult = kEFail;  // what SHGetSpecialFolderLocation returned
    bool pathFound = false;           // what SHGetPathFromIDListW returned (only if located)
    std::u16string path;              // without trailing backslash; empty unless pathFound
};

// Where reading a shell link stopped. kNone: all steps worked.
enum class LinkStep {
    kNone,
    kCreate,
    kQueryPersistFile,
    kLoad,
    kResolve,
    kGetPath,
    kGetDescription
};

class Shell {
  public:
    virtual ~Shell() = default;

    virtual SpecialFolder GetSpecialFolder(int csidl) = 0;

    // CoInitialize(null) on the calling thread; its HRESULT (S_FALSE when already initialised).
    virtual HResult ComInitialize() = 0;

    // Creates the shell link object, loads linkPath through IPersistFile, resolves it with
    // SLR_NO_UI | SLR_UPDATE and no window, reads the path with SLGP_RAWPATH (variables stay
    // unexpanded) and the description. On kNone *target holds the stored path; otherwise it is
    // untouched. Every object acquired is released on every way out.
    virtual LinkStep ReadLink(const char16_t* linkPath, std::u16string* target) = 0;

    // Writes a shell link at linkPath pointing at target. For tests.
    virtual HResult CreateLink(const char16_t* linkPath, const char16_t* target) = 0;
};

}  // namespace platform
