// The registry of an offline machine: the hive files read through the hive library, laid out as
// the running system shows them. HKLM holds SOFTWARE and SYSTEM (with CurrentControlSet leading
// to the control set that Select\Current names), HKCU is one user's NTUSER.DAT with the user's
// UsrClass.dat at HKCU\Software\Classes, HKCR is HKLM\SOFTWARE\Classes alone: Windows lays the
// user's classes over it, but the memory machine and the Win32 backend under Wine don't, and the
// three answer alike. Every call that would change a hive answers kErrorAccessDenied.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/registry.h"

struct hive_h;

namespace platform::offline {

// One hive file opened read-only; closed with the object.
class Hive {
  public:
    // Null with *error set when the file can't be opened as a hive.
    static std::unique_ptr<Hive> Open(const std::string& path, std::string* error);
    ~Hive();
    Hive(const Hive&) = delete;
    Hive& operator=(const Hive&) = delete;

    hive_h* handle() const { return hive_; }
    std::size_t root() const { return root_; }
    const std::string& path() const { return path_; }

  private:
    Hive(hive_h* hive, std::size_t root, std::string path)
        : hive_(hive), root_(root), path_(std::move(path)) {}
    hive_h* hive_;
    std::size_t root_;
    std::string path_;
};

// A key: a node of a hive, or (hive null) one of the machine's own keys that no hive holds,
// such as HKLM itself; node then indexes those.
struct KeyRef {
    Hive* hive = nullptr;
    std::size_t node = 0;
    // What the registry read of the node, once known; saves finding it again per call.
    void* cache = nullptr;
};

class OfflineRegistry : public Registry {
  public:
    // The hives stay owned by the caller and must outlive the registry. user may be null (HKCU
    // is then empty), and so may userClasses (HKCU\Software\Classes is then what NTUSER.DAT
    // holds there). controlSet is the node Select\Current names in the SYSTEM hive.
    OfflineRegistry(Hive& system, std::size_t controlSet, Hive& software, Hive* user,
                    Hive* userClasses);
    ~OfflineRegistry() override;

    Status OpenKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                   RegKey* result) override;
    Status CreateKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                     RegKey* result) override;
    Status CloseKey(RegKey key) override;
    Status QueryValue(RegKey key, const char16_t* name, std::uint32_t* type, void* data,
                      std::uint32_t* dataBytes) override;
    Status EnumValue(RegKey key, std::uint32_t index, char16_t* name, std::uint32_t* nameChars,
                     std::uint32_t* type, void* data, std::uint32_t* dataBytes) override;
    Status EnumKey(RegKey key, std::uint32_t index, char16_t* name,
                   std::uint32_t* nameChars) override;
    Status SetValue(RegKey key, const char16_t* name, std::uint32_t type, const void* data,
                    std::uint32_t dataBytes) override;
    Status DeleteValue(RegKey key, const char16_t* name) override;
    // Refused like every change, whatever the name.
    Status SetCountedValue(RegKey key, std::u16string_view, std::uint32_t type, const void* data,
                           std::uint32_t dataBytes) override {
        return SetValue(key, nullptr, type, data, dataBytes);
    }
    Status DeleteCountedValue(RegKey key, std::u16string_view) override {
        return DeleteValue(key, nullptr);
    }
    Status DeleteTree(RegKey parent, const char16_t* subKey) override;
    Status DenyAllAccess(RegKey parent, const char16_t* subKey) override;
    Status AllowAllAccess(RegKey parent, const char16_t* subKey) override;

    // Reads a value by root and path for the machine's own set-up (environment, folders):
    // the stored bytes, or false when the key or value is missing or unreadable.
    bool ReadValue(RegKey root, std::u16string_view path, std::u16string_view name,
                   std::uint32_t* type, std::string* bytes);

  private:
    // What was read of one node, once: its sub-keys and values with their names.
    struct NodeCache {
        bool childrenRead = false;
        Status childrenStatus = kErrorSuccess;
        // The hive's list of sub-keys, named only as far as callers have asked: a walk by
        // index then reads each name when it comes to that key, while its record is still
        // in the processor's cache for opening it, instead of every name first.
        std::unique_ptr<std::size_t, void (*)(void*)> nodes{nullptr, std::free};
        std::size_t nodeCount = 0;
        std::size_t nodesNamed = 0;
        std::vector<KeyRef> children;
        // The sub-keys' names one after another, each ending where childEnds says: one block
        // instead of a string each, for keys with tens of thousands of sub-keys.
        std::u16string childText;
        std::vector<std::uint32_t> childEnds;
        std::u16string_view ChildName(std::size_t i) const {
            const std::uint32_t begin = i == 0 ? 0 : childEnds[i - 1];
            return std::u16string_view(childText).substr(begin, childEnds[i] - begin);
        }
        // Folded name -> index; built only for keys with many sub-keys, the others are searched.
        std::unordered_map<std::u16string, std::size_t> childByName;
        bool indexed = false;
        // The sub-key EnumKey gave last: a walk opens it next, found without the index.
        std::size_t lastEnumerated = 0;
        bool valuesRead = false;
        Status valuesStatus = kErrorSuccess;
        std::vector<std::size_t> values;
        std::vector<std::u16string> valueNames;
    };
    struct OwnKey {
        std::vector<std::pair<std::u16string, KeyRef>> children;
    };
    struct Handle {
        KeyRef key;
        std::uint32_t access = 0;
        // Counts the closes of the slot: a handle names its slot and this, so that a closed
        // handle is invalid, also when the slot serves another key.
        std::uint32_t generation = 0;
    };

    NodeCache& Cache(KeyRef& key);
    // Lists the sub-keys once and names them until `wanted` are known (fewer when the key
    // has fewer readable ones).
    Status LoadChildren(KeyRef& key, std::size_t wanted, NodeCache** cache);
    Status LoadValues(KeyRef& key, NodeCache** cache);
    // The stored reference of an open handle or root, so that what is learnt of it stays.
    Status Resolve(RegKey key, KeyRef** ref, std::uint32_t* access);
    Handle* FindHandle(RegKey key);
    Status Walk(KeyRef from, std::u16string_view subKey, KeyRef* found);
    Status FindChild(KeyRef& key, std::u16string_view name, const KeyRef** child);
    Status FindValue(KeyRef& key, std::u16string_view name, std::size_t* value);
    Status FindAsciiValue(const KeyRef& key, const std::string& name, std::size_t* value);
    KeyRef AddOwnKey(std::vector<std::pair<std::u16string, KeyRef>> children);
    // Whether key is the user's Software key with the classes hive below it.
    bool IsUserSoftware(const KeyRef& key) const;
    // Puts the user's classes hive among the Software key's sub-keys, all of them named.
    void PlaceUserClasses(NodeCache& cache);

    std::mutex mutex_;
    Hive& system_;
    std::size_t controlSet_;
    std::vector<OwnKey> ownKeys_;
    // The user's Software key, below which the user's classes hive stands as Classes.
    KeyRef userSoftware_;
    KeyRef userClasses_;
    std::vector<std::pair<RegKey, KeyRef>> roots_;
    struct CacheKeyHash {
        std::size_t operator()(const std::pair<const Hive*, std::size_t>& k) const {
            return std::hash<std::size_t>()(k.second * 31 +
                                            reinterpret_cast<std::uintptr_t>(k.first));
        }
    };
    std::unordered_map<std::pair<const Hive*, std::size_t>, NodeCache, CacheKeyHash> caches_;
    // Open keys by slot, the slots of closed ones reused: a walk opens and closes keys by the
    // hundred thousand, and finding one is then an index instead of a hash.
    std::vector<Handle> handles_;
    std::vector<std::size_t> freeSlots_;
    // The walk last made: from a key, the path up to its last backslash led to parentFound.
    // A caller that opens the sub-keys of one key by full path repeats that path every time.
    struct LastWalk {
        KeyRef from;
        std::u16string parentPath;
        KeyRef parentFound;
    } lastWalk_;
    // The values of the key a lookup by name read last, with the names converted so far.
    struct ValueList;
    std::unique_ptr<ValueList> lastValues_;
    // A name for the hive library, kept so that each call doesn't allocate one.
    std::string ascii_;
};

}  // namespace platform::offline
