// The shell concern: special folders through item id lists, shell links through the link object.
#include "platform/shell.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

// The link object's path and description buffers have the classic path size.
constexpr int kLinkTextChars = MAX_PATH;

struct BstrOwner {
    explicit BstrOwner(const wchar_t* text) : value(::SysAllocString(text)) {}
    ~BstrOwner() { ::SysFreeString(value); }
    BstrOwner(const BstrOwner&) = delete;
    BstrOwner& operator=(const BstrOwner&) = delete;
    BSTR value;
};

class Win32Shell final : public Shell {
  public:
    SpecialFolder GetSpecialFolder(int csidl) override {
        SpecialFolder folder;
        LPITEMIDLIST list = nullptr;
        folder.locationResult = ::SHGetSpecialFolderLocation(nullptr, csidl, &list);
        if (FAILED(folder.locationResult)) return folder;
        wchar_t path[MAX_PATH] = {};
        folder.pathFound = ::SHGetPathFromIDListW(list, path) != FALSE;
        ::CoTaskMemFree(list);
        if (folder.pathFound) {
            folder.path.assign(Utf16(path));
            if (!folder.path.empty() && folder.path.back() == u'\\') folder.path.pop_back();
        }
        return folder;
    }

    HResult ComInitialize() override { return ::CoInitialize(nullptr); }

    LinkStep ReadLink(const char16_t* linkPath, std::u16string* target) override {
        ComPtr<IShellLinkW> link;
        if (FAILED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                      IID_IShellLinkW, link.put()))) {
            return LinkStep::kCreate;
        }
        ComPtr<IPersistFile> file;
        if (FAILED(link->QueryInterface(IID_IPersistFile, file.put()))) {
            return LinkStep::kQueryPersistFile;
        }
        BstrOwner name(Wide(linkPath));
        if (name.value == nullptr || FAILED(file->Load(name.value, 0))) return LinkStep::kLoad;
        if (FAILED(link->Resolve(nullptr, SLR_NO_UI | SLR_UPDATE))) return LinkStep::kResolve;
        wchar_t path[kLinkTextChars] = {};
        WIN32_FIND_DATAW found;
        if (FAILED(link->GetPath(path, kLinkTextChars, &found, SLGP_RAWPATH))) {
            return LinkStep::kGetPath;
        }
        wchar_t description[kLinkTextChars] = {};
        if (FAILED(link->GetDescription(description, kLinkTextChars))) {
            return LinkStep::kGetDescription;
        }
        target->assign(Utf16(path));
        return LinkStep::kNone;
    }

    HResult CreateLink(const char16_t* linkPath, const char16_t* target) override {
        ComPtr<IShellLinkW> link;
        HRESULT result = ::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                            IID_IShellLinkW, link.put());
        if (FAILED(result)) return result;
        result = link->SetPath(Wide(target));
        if (FAILED(result)) return result;
        ComPtr<IPersistFile> file;
        result = link->QueryInterface(IID_IPersistFile, file.put());
        if (FAILED(result)) return result;
        return file->Save(Wide(linkPath), TRUE);
    }
};

}  // namespace

Shell& ShellBackend() {
    static Win32Shell instance;
    return instance;
}

}  // namespace platform::win32
