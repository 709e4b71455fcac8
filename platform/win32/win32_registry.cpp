// The registry concern on the real registry: each call is the Win32 call it names.
#include <string>

#include "platform/registry.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

// DWORD is unsigned long here, so sizes go through a local of the right type and back.
class DwordSlot {
  public:
    explicit DwordSlot(std::uint32_t* target)
        : target_(target), value_(target != nullptr ? *target : 0) {}
    ~DwordSlot() {
        if (target_ != nullptr) *target_ = static_cast<std::uint32_t>(value_);
    }
    DwordSlot(const DwordSlot&) = delete;
    DwordSlot& operator=(const DwordSlot&) = delete;
    DWORD* get() { return target_ != nullptr ? &value_ : nullptr; }

  private:
    std::uint32_t* target_;
    DWORD value_;
};

// Writes a DACL onto parent\subKey. WRITE_DAC is granted to the key's owner whatever the DACL
// says, which is what lets AllowAllAccess undo DenyAllAccess.
Status WriteDacl(RegKey parent, const char16_t* subKey, ACL* acl) {
    UniqueHkey key;
    LONG status = ::RegOpenKeyExW(ToHkey(parent), Wide(subKey), 0, WRITE_DAC, key.put());
    if (status != ERROR_SUCCESS) return static_cast<Status>(status);
    SECURITY_DESCRIPTOR descriptor;
    if (!::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !::SetSecurityDescriptorDacl(&descriptor, TRUE, acl, FALSE)) {
        return static_cast<Status>(::GetLastError());
    }
    return static_cast<Status>(
        ::RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, &descriptor));
}

// A value name with an embedded NUL can only be named through the native API, with its counted
// length; the Win32 calls end the name at its first NUL.
bool HasNul(std::u16string_view name) {
    return name.find(u'\0') != std::u16string_view::npos;
}

struct CountedName {  // UNICODE_STRING
    USHORT Length;
    USHORT MaximumLength;
    const wchar_t* Buffer;
};
using NtDeleteValueKeyFunction = LONG(WINAPI*)(HANDLE, const CountedName*);
using NtSetValueKeyFunction = LONG(WINAPI*)(HANDLE, const CountedName*, ULONG, ULONG, const void*,
                                            ULONG);
using RtlNtStatusToDosErrorFunction = ULONG(WINAPI*)(LONG);

template <class Function>
Function Native(const char* name) {
    HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    return ntdll == nullptr
               ? nullptr
               : reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(ntdll, name)));
}

// The Win32 error for a native status, as the registry functions themselves translate it.
Status FromNtStatus(LONG status) {
    if (status == 0) return kErrorSuccess;
    static const auto translate = Native<RtlNtStatusToDosErrorFunction>("RtlNtStatusToDosError");
    return translate != nullptr ? static_cast<Status>(translate(status)) : kErrorGenFailure;
}

// Calls call(handle, counted name) with the native function, or gives the failure that stands
// for its absence or for a name too long to count.
template <class Function, class Call>
Status CallNative(const char* function, std::u16string_view name, Call call) {
    if (name.size() > 0x7FFF) return kErrorInvalidParameter;
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    const CountedName counted{static_cast<USHORT>(name.size() * sizeof(wchar_t)),
                              static_cast<USHORT>(name.size() * sizeof(wchar_t)),
                              reinterpret_cast<const wchar_t*>(name.data())};
    const auto native = Native<Function>(function);
    if (native == nullptr) return kErrorCallNotImplemented;
    return FromNtStatus(call(native, &counted));
}

class Win32Registry final : public Registry {
  public:
    Status OpenKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                   RegKey* result) override {
        HKEY opened = nullptr;
        LONG status = ::RegOpenKeyExW(ToHkey(parent), Wide(subKey), 0, access, &opened);
        *result = status == ERROR_SUCCESS ? FromHkey(opened) : nullptr;
        return static_cast<Status>(status);
    }

    Status CreateKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                     RegKey* result) override {
        HKEY opened = nullptr;
        LONG status = ::RegCreateKeyExW(ToHkey(parent), Wide(subKey), 0, nullptr, 0, access,
                                        nullptr, &opened, nullptr);
        *result = status == ERROR_SUCCESS ? FromHkey(opened) : nullptr;
        return static_cast<Status>(status);
    }

    Status CloseKey(RegKey key) override { return static_cast<Status>(::RegCloseKey(ToHkey(key))); }

    Status QueryValue(RegKey key, const char16_t* name, std::uint32_t* type, void* data,
                      std::uint32_t* dataBytes) override {
        DwordSlot typeSlot(type);
        DwordSlot bytesSlot(dataBytes);
        return static_cast<Status>(::RegQueryValueExW(ToHkey(key), Wide(name), nullptr,
                                                      typeSlot.get(), static_cast<BYTE*>(data),
                                                      bytesSlot.get()));
    }

    Status EnumValue(RegKey key, std::uint32_t index, char16_t* name, std::uint32_t* nameChars,
                     std::uint32_t* type, void* data, std::uint32_t* dataBytes) override {
        DwordSlot nameSlot(nameChars);
        DwordSlot typeSlot(type);
        DwordSlot bytesSlot(dataBytes);
        return static_cast<Status>(::RegEnumValueW(ToHkey(key), index, Wide(name), nameSlot.get(),
                                                   nullptr, typeSlot.get(),
                                                   static_cast<BYTE*>(data), bytesSlot.get()));
    }

    Status EnumKey(RegKey key, std::uint32_t index, char16_t* name,
                   std::uint32_t* nameChars) override {
        DwordSlot nameSlot(nameChars);
        return static_cast<Status>(::RegEnumKeyExW(ToHkey(key), index, Wide(name), nameSlot.get(),
                                                   nullptr, nullptr, nullptr, nullptr));
    }

    Status SetValue(RegKey key, const char16_t* name, std::uint32_t type, const void* data,
                    std::uint32_t dataBytes) override {
        return static_cast<Status>(::RegSetValueExW(ToHkey(key), Wide(name), 0, type,
                                                    static_cast<const BYTE*>(data), dataBytes));
    }

    Status DeleteValue(RegKey key, const char16_t* name) override {
        return static_cast<Status>(::RegDeleteValueW(ToHkey(key), Wide(name)));
    }

    Status SetCountedValue(RegKey key, std::u16string_view name, std::uint32_t type,
                           const void* data, std::uint32_t dataBytes) override {
        if (!HasNul(name)) {
            const std::u16string text(name);
            return SetValue(key, text.c_str(), type, data, dataBytes);
        }
        return CallNative<NtSetValueKeyFunction>(
            "NtSetValueKey", name, [&](NtSetValueKeyFunction set, const CountedName* counted) {
                return set(ToHkey(key), counted, 0, type, data, dataBytes);
            });
    }

    Status DeleteCountedValue(RegKey key, std::u16string_view name) override {
        if (!HasNul(name)) {
            const std::u16string text(name);
            return DeleteValue(key, text.c_str());
        }
        return CallNative<NtDeleteValueKeyFunction>(
            "NtDeleteValueKey", name,
            [&](NtDeleteValueKeyFunction remove, const CountedName* counted) {
                return remove(ToHkey(key), counted);
            });
    }

    Status DeleteTree(RegKey parent, const char16_t* subKey) override {
        // RegDeleteTreeW with a sub-key name removes that key too on some systems and keeps it
        // on others; emptying the opened key and then deleting it behaves the same everywhere.
        {
            UniqueHkey key;
            LONG status = ::RegOpenKeyExW(
                ToHkey(parent), Wide(subKey), 0,
                DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE, key.put());
            if (status != ERROR_SUCCESS) return static_cast<Status>(status);
            status = ::RegDeleteTreeW(key.get(), nullptr);
            if (status != ERROR_SUCCESS) return static_cast<Status>(status);
        }
        return static_cast<Status>(::RegDeleteKeyW(ToHkey(parent), Wide(subKey)));
    }

    Status DenyAllAccess(RegKey parent, const char16_t* subKey) override {
        // An empty DACL (not a null one, which would allow everything) grants nothing.
        ACL empty;
        if (!::InitializeAcl(&empty, sizeof(empty), ACL_REVISION)) {
            return static_cast<Status>(::GetLastError());
        }
        return WriteDacl(parent, subKey, &empty);
    }

    Status AllowAllAccess(RegKey parent, const char16_t* subKey) override {
        SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
        PSID everyone = nullptr;
        if (!::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0,
                                        &everyone)) {
            return static_cast<Status>(::GetLastError());
        }
        alignas(DWORD) unsigned char buffer[256];
        ACL* acl = reinterpret_cast<ACL*>(buffer);
        Status status = kErrorSuccess;
        if (!::InitializeAcl(acl, sizeof(buffer), ACL_REVISION) ||
            !::AddAccessAllowedAceEx(acl, ACL_REVISION, CONTAINER_INHERIT_ACE, KEY_ALL_ACCESS,
                                     everyone)) {
            status = static_cast<Status>(::GetLastError());
        }
        ::FreeSid(everyone);
        if (status != kErrorSuccess) return status;
        return WriteDacl(parent, subKey, acl);
    }
};

}  // namespace

Registry& RegistryBackend() {
    static Win32Registry instance;
    return instance;
}

}  // namespace platform::win32
