// The elevation library: IElevatedHelper, the object through which every write of the plug-in
// goes, and CElevatedHelperFactory, which hands out helpers.
//
// Every operation returns a 32-bit status: an HRESULT, negative for failure (Win32 errors come
// back as HResultFromWin32(error)). Strings go by reference to std::u16string, lists are vectors.
// Out-parameters of a failed operation are left empty (cleared lists, empty strings, zero ids).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/processes.h"
#include "platform/types.h"

// The registry operations. Keys are given as a predefined root plus a path below it; the path
// is relative, without leading backslash. Names are whole strings: a value name may hold an
// embedded NUL and then names exactly that value (a read of such a name is refused with
// E_INVALIDARG); a key path with a NUL is refused with E_INVALIDARG, since the key calls would
// end it there and reach another key.
class IElevatedRegistry {
  public:
    // Removes root\keyPath with its whole subtree. An empty keyPath is refused with E_INVALIDARG
    // so that a root can't be wiped. A missing key gives HResultFromWin32(2).
    virtual std::int32_t Reg_DeleteKey(platform::RegKey root, const std::u16string& keyPath) = 0;
    // Removes one value; an empty valueName is the key's default value. The key must exist.
    virtual std::int32_t Reg_DeleteValue(platform::RegKey root, const std::u16string& keyPath,
                                         const std::u16string& valueName) = 0;
    // Writes sizeInBytes bytes of data as a value of the given type; an empty valueName is the
    // default value. flag 0: the key must exist already (a missing key gives
    // HResultFromWin32(2)); flag 1: missing levels of keyPath are created first. A size below
    // 0 or above 4 GiB - 1, or null data with a non-zero size, gives E_INVALIDARG.
    virtual std::int32_t Reg_SetValue(platform::RegKey root, const std::u16string& keyPath,
                                      const std::u16string& valueName, const void* data,
                                      std::int64_t sizeInBytes, std::uint32_t type,
                                      std::uint8_t flag) = 0;

    // Reads a value whole, whatever its size; type and data receive it exactly as stored.
    virtual std::int32_t Reg_QueryValue(platform::RegKey root, const std::u16string& keyPath,
                                        const std::u16string& valueName, std::uint32_t* type,
                                        std::vector<std::uint8_t>& data) = 0;
    // Opens root\keyPath, creating every missing level.
    virtual std::int32_t Reg_CreateKey(platform::RegKey root, const std::u16string& keyPath) = 0;
    // The names of the key's values, in the registry's order.
    virtual std::int32_t Reg_EnumValues(platform::RegKey root, const std::u16string& keyPath,
                                        std::vector<std::u16string>& names) = 0;
    // The names of the key's direct sub-keys, in the registry's order.
    virtual std::int32_t Reg_EnumKeys(platform::RegKey root, const std::u16string& keyPath,
                                      std::vector<std::u16string>& names) = 0;
    // Empties root\keyPath: removes all its sub-keys with their subtrees and all its values,
    // and keeps the key itself.
    virtual std::int32_t Reg_DeleteTree(platform::RegKey root, const std::u16string& keyPath) = 0;
    // Whether root\keyPath can be opened with access: S_OK when it can, the open's error as an
    // HRESULT when not.
    virtual std::int32_t Reg_OpenTest(platform::RegKey root, const std::u16string& keyPath,
                                      std::uint32_t access) = 0;

    // Gives the helper up; the pointer must not be used afterwards. Always S_OK.
    virtual std::int32_t Release() = 0;
    // True when the helper acts with raised rights (an elevated token).
    virtual bool IsElevated() = 0;

  protected:
    ~IElevatedRegistry() = default;
};

// The process operations.
class IElevatedProcess {
  public:
    // ShellExecuteExW with info; *processId receives the started process's id (0 when the shell
    // started none). info and processId must not be null (E_INVALIDARG).
    virtual std::int32_t Proc_Create(platform::ShellExecuteInfo* info,
                                     std::uint32_t* processId) = 0;
    // Ends the process with exit code 1.
    virtual std::int32_t Proc_Kill(std::uint32_t processId) = 0;
    // The ids of all running processes, in the system's order.
    virtual std::int32_t Proc_Enum(std::vector<std::uint32_t>& processIds) = 0;
    // The full paths of the process's modules, the image first.
    virtual std::int32_t Proc_EnumModules(std::uint32_t processId,
                                          std::vector<std::u16string>& modulePaths) = 0;
    // The full path of the process's image; it needs only limited query rights, so it answers
    // for processes whose modules can't be read.
    virtual std::int32_t Proc_GetImagePath(std::uint32_t processId, std::u16string& path) = 0;

  protected:
    ~IElevatedProcess() = default;
};

// The file operations.
class IElevatedFile {
  public:
    // DeleteFileW on path.
    virtual std::int32_t File_Delete(const std::u16string& path) = 0;

  protected:
    ~IElevatedFile() = default;
};

// One helper object with its three interfaces, in this order. A helper is owned by whoever got
// it from the factory and is given up with Release, never with delete.
class IElevatedHelper : public IElevatedRegistry, public IElevatedProcess, public IElevatedFile {
  protected:
    ~IElevatedHelper() = default;
};

// Which helper a creation function is asked for.
struct ElevatedHelperRequest {
    bool elevated = false;                          // true: the proper helper for the OS
    platform::WindowHandle parentWindow = nullptr;  // for a consent prompt; may be null
};

// Makes one helper: fills *helper and returns a status; on failure *helper is null.
using ElevatedHelperCreateFunction = std::int32_t (*)(const ElevatedHelperRequest& request,
                                                      IElevatedHelper** helper);

class CElevatedHelperFactory {
  public:
    // A helper that acts with the caller's own rights. *helper is null on failure; a null
    // helper address gives E_INVALIDARG.
    static std::int32_t GetDirectHelper(IElevatedHelper** helper);
    // The helper that suits this OS for work that needs raised rights. The built-in function
    // acts in the caller's process and its IsElevated tells whether that process is elevated;
    // the DLL plugs in the helper process (libs/talelev/win32) through SetCreateFunction.
    // *helper is null on failure.
    static std::int32_t GetProperHelperForOS(platform::WindowHandle parentWindow,
                                             IElevatedHelper** helper);
    // Whether raised rights can be had here: the process is elevated already, or its token is
    // a split one (elevation type 3, limited) that a consent prompt can raise.
    static bool CanElevate();

    // Replaces the function that both getters call; null puts back the built-in one. Returns
    // the function that was in place. Not thread-safe: set it before helpers are asked for.
    static ElevatedHelperCreateFunction SetCreateFunction(ElevatedHelperCreateFunction create);
    // The built-in function: in-process helpers over platform::machine().
    static std::int32_t CreateInProcessHelper(const ElevatedHelperRequest& request,
                                              IElevatedHelper** helper);

    // How often each getter was called since the last reset (failed calls included).
    static std::uint32_t DirectHelperRequests();
    static std::uint32_t ProperHelperRequests();
    static void ResetRequestCounts();
};
