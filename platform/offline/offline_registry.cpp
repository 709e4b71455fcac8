// Hive nodes behind registry handles. Each node's sub-keys and values are listed once and kept,
// so that walking a key with many thousands of sub-keys by index, or opening each of them by
// name, stays linear (the hive library itself searches and allocates anew on every call).
#include "platform/offline/offline_registry.h"

#include <hivex.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/offline/offline_text.h"

namespace platform::offline {
namespace {

constexpr Status kErrorBadPathname = 161;
constexpr Status kErrorNoAccess = 998;
// ERROR_BADDB: what the system says for a hive whose structures don't hold together.
constexpr Status kErrorBadDb = 1009;
// Rights that would let a handle change the key; an offline hive grants none of them.
// Keys with more sub-keys than this get a name index; fewer are searched one by one.
constexpr std::size_t kIndexedChildren = 16;
constexpr std::uint32_t kWriteRights = 0x0002 | 0x0004 | 0x0020 | 0x10000 | 0x40000 | 0x80000;

struct FreeText {
    void operator()(char* p) const { std::free(p); }
};
using CText = std::unique_ptr<char, FreeText>;

// A value's type as the hive stores it. The library hands it out as its enum, but a crafted
// hive can hold any number there, which the enum can't carry: it is kept as the number.
struct RawType {
    std::uint32_t value = 0;
    hive_type* out() {
        static_assert(sizeof(hive_type) == sizeof(std::uint32_t));
        return reinterpret_cast<hive_type*>(&value);
    }
};

bool IsAscii(std::u16string_view name) {
    return std::all_of(name.begin(), name.end(), [](char16_t c) { return c != 0 && c < 0x80; });
}

}  // namespace

std::unique_ptr<Hive> Hive::Open(const std::string& path, std::string* error) {
    errno = 0;
    hive_h* h = hivex_open(path.c_str(), 0);
    if (h == nullptr) {
        *error = path + ": not a readable registry hive (" + std::strerror(errno) + ")";
        return nullptr;
    }
    const hive_node_h root = hivex_root(h);
    if (root == 0) {
        hivex_close(h);
        *error = path + ": the hive has no root key";
        return nullptr;
    }
    return std::unique_ptr<Hive>(new Hive(h, root, path));
}

Hive::~Hive() {
    hivex_close(hive_);
}

OfflineRegistry::OfflineRegistry(Hive& system, std::size_t controlSet, Hive& software, Hive* user,
                                 Hive* userClasses)
    : system_(system), controlSet_(controlSet) {
    caches_.reserve(1024);
    // The running system links the user's Software\Classes to the classes hive it loads
    // beside NTUSER.DAT; whatever NTUSER.DAT itself keeps there (the link) is hidden by it.
    if (user != nullptr && userClasses != nullptr &&
        Walk(KeyRef{user, user->root()}, u"Software", &userSoftware_) == kErrorSuccess)
        userClasses_ = KeyRef{userClasses, userClasses->root()};
    const KeyRef machine = AddOwnKey({{u"SOFTWARE", KeyRef{&software, software.root()}},
                                      {u"SYSTEM", KeyRef{&system, system.root()}}});
    const KeyRef currentUser = user != nullptr ? KeyRef{user, user->root()} : AddOwnKey({});
    KeyRef classes = AddOwnKey({});
    Walk(KeyRef{&software, software.root()}, u"Classes", &classes);
    roots_ = {{kHkeyClassesRoot, classes},
              {kHkeyCurrentUser, currentUser},
              {kHkeyLocalMachine, machine},
              {kHkeyUsers, AddOwnKey({})},
              {kHkeyCurrentConfig, AddOwnKey({})}};
}

bool OfflineRegistry::IsUserSoftware(const KeyRef& key) const {
    return userClasses_.hive != nullptr && key.hive == userSoftware_.hive &&
           key.node == userSoftware_.node;
}

KeyRef OfflineRegistry::AddOwnKey(std::vector<std::pair<std::u16string, KeyRef>> children) {
    ownKeys_.push_back(OwnKey{std::move(children)});
    return KeyRef{nullptr, ownKeys_.size() - 1};
}

OfflineRegistry::NodeCache& OfflineRegistry::Cache(KeyRef& key) {
    if (key.cache == nullptr) key.cache = &caches_[{key.hive, key.node}];
    return *static_cast<NodeCache*>(key.cache);
}

Status OfflineRegistry::LoadChildren(KeyRef& key, NodeCache** out) {
    NodeCache& cache = Cache(key);
    *out = &cache;
    if (cache.childrenRead) return cache.childrenStatus;
    cache.childrenRead = true;
    auto add = [&cache](std::u16string name, KeyRef child) {
        cache.childNames.push_back(std::move(name));
        cache.children.push_back(child);
    };
    if (key.hive == nullptr) {
        for (const auto& [name, child] : ownKeys_[key.node].children) add(name, child);
    } else {
        hive_h* h = key.hive->handle();
        hive_node_h* nodes = hivex_node_children(h, key.node);
        if (nodes == nullptr) return cache.childrenStatus = kErrorBadDb;
        for (hive_node_h* at = nodes; *at != 0; ++at) {
            CText name(hivex_node_name(h, *at));
            // A sub-key whose name can't be read is left out rather than failing its siblings.
            if (name) add(FromUtf8(name.get()), KeyRef{key.hive, *at});
        }
        std::free(nodes);
    }
    if (IsUserSoftware(key)) {
        // In its place among the sub-keys, which the system lists in upper-case order.
        std::size_t at = 0;
        while (at < cache.childNames.size() && Fold(cache.childNames[at]) < u"CLASSES") ++at;
        if (at < cache.childNames.size() && EqualNoCase(cache.childNames[at], u"Classes")) {
            cache.children[at] = userClasses_;
        } else {
            cache.childNames.insert(cache.childNames.begin() + at, u"Classes");
            cache.children.insert(cache.children.begin() + at, userClasses_);
        }
    }
    return kErrorSuccess;
}

Status OfflineRegistry::LoadValues(KeyRef& key, NodeCache** out) {
    NodeCache& cache = Cache(key);
    *out = &cache;
    if (cache.valuesRead) return cache.valuesStatus;
    cache.valuesRead = true;
    if (key.hive == nullptr) return kErrorSuccess;
    hive_h* h = key.hive->handle();
    hive_value_h* values = hivex_node_values(h, key.node);
    if (values == nullptr) return cache.valuesStatus = kErrorBadDb;
    for (hive_value_h* at = values; *at != 0; ++at) {
        CText name(hivex_value_key(h, *at));
        if (!name) continue;
        cache.values.push_back(*at);
        cache.valueNames.push_back(FromUtf8(name.get()));
    }
    std::free(values);
    return kErrorSuccess;
}

Status OfflineRegistry::Resolve(RegKey key, KeyRef** ref, std::uint32_t* access) {
    for (auto& [root, rootRef] : roots_) {
        if (root == key) {
            *ref = &rootRef;
            *access = kKeyRead;
            return kErrorSuccess;
        }
    }
    auto it = handles_.find(reinterpret_cast<std::uintptr_t>(key));
    if (it == handles_.end()) return kErrorInvalidHandle;
    *ref = &it->second.key;
    *access = it->second.access;
    return kErrorSuccess;
}

Status OfflineRegistry::Walk(KeyRef from, std::u16string_view subKey, KeyRef* found) {
    for (const std::u16string& piece : SplitPath(subKey)) {
        // CurrentControlSet is a link the running system keeps; offline it is Select\Current.
        if (from.hive == &system_ && from.node == system_.root() &&
            EqualNoCase(piece, u"CurrentControlSet")) {
            from = KeyRef{&system_, controlSet_};
            continue;
        }
        if (IsUserSoftware(from) && EqualNoCase(piece, u"Classes")) {
            from = userClasses_;
            continue;
        }
        // A key with few sub-keys is searched by the hive library itself, which compares plain
        // ASCII names the same way; listing it would cost more than the one search.
        if (from.hive != nullptr && IsAscii(piece) &&
            hivex_node_nr_children(from.hive->handle(), from.node) <= kIndexedChildren) {
            const std::string ascii(piece.begin(), piece.end());
            errno = 0;
            const hive_node_h child =
                hivex_node_get_child(from.hive->handle(), from.node, ascii.c_str());
            if (child == 0) return errno != 0 && errno != ENOENT ? kErrorBadDb : kErrorFileNotFound;
            from = KeyRef{from.hive, child};
            continue;
        }
        NodeCache* cache = nullptr;
        if (Status s = LoadChildren(from, &cache); s != kErrorSuccess) return s;
        std::size_t index = cache->childNames.size();
        if (cache->lastEnumerated < index &&
            EqualNoCase(cache->childNames[cache->lastEnumerated], piece)) {
            index = cache->lastEnumerated;
        } else if (cache->childNames.size() > kIndexedChildren) {
            if (!cache->indexed) {
                cache->indexed = true;
                cache->childByName.reserve(cache->childNames.size());
                for (std::size_t i = 0; i < cache->childNames.size(); ++i)
                    cache->childByName.emplace(Fold(cache->childNames[i]), i);
            }
            auto it = cache->childByName.find(Fold(piece));
            if (it != cache->childByName.end()) index = it->second;
        } else {
            for (std::size_t i = 0;
                 i < cache->childNames.size() && index == cache->childNames.size(); ++i)
                if (EqualNoCase(cache->childNames[i], piece)) index = i;
        }
        if (index == cache->childNames.size()) return kErrorFileNotFound;
        from = cache->children[index];
    }
    *found = from;
    return kErrorSuccess;
}

Status OfflineRegistry::FindValue(KeyRef& key, std::u16string_view name, std::size_t* value) {
    // Plain ASCII names are looked up by the hive library directly, which compares them the
    // same way and spares listing the key's values; other names need the folding below.
    if (key.hive != nullptr && IsAscii(name)) {
        const std::string ascii(name.begin(), name.end());
        errno = 0;
        *value = hivex_node_get_value(key.hive->handle(), key.node, ascii.c_str());
        if (*value != 0) return kErrorSuccess;
        return errno != 0 && errno != ENOENT ? kErrorBadDb : kErrorFileNotFound;
    }
    NodeCache* cache = nullptr;
    if (Status s = LoadValues(key, &cache); s != kErrorSuccess) return s;
    for (std::size_t i = 0; i < cache->valueNames.size(); ++i) {
        if (EqualNoCase(cache->valueNames[i], name)) {
            *value = cache->values[i];
            return kErrorSuccess;
        }
    }
    return kErrorFileNotFound;
}

Status OfflineRegistry::OpenKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                                RegKey* result) {
    std::lock_guard lock(mutex_);
    if (result == nullptr) return kErrorInvalidParameter;
    *result = nullptr;
    if (subKey != nullptr && subKey[0] == u'\\') return kErrorBadPathname;
    KeyRef* from = nullptr;
    std::uint32_t parentAccess = 0;
    if (Status s = Resolve(parent, &from, &parentAccess); s != kErrorSuccess) return s;
    const std::u16string_view path = WideView(subKey);
    if (path.empty() && handles_.count(reinterpret_cast<std::uintptr_t>(parent)) == 0) {
        *result = parent;
        return kErrorSuccess;
    }
    KeyRef found;
    if (Status s = Walk(*from, path, &found); s != kErrorSuccess) return s;
    if (access & kWriteRights) return kErrorAccessDenied;
    const std::uintptr_t value = nextHandle_;
    nextHandle_ += 4;
    handles_[value] = Handle{found, access};
    *result = reinterpret_cast<RegKey>(value);
    return kErrorSuccess;
}

Status OfflineRegistry::CreateKey(RegKey, const char16_t*, std::uint32_t, RegKey* result) {
    if (result != nullptr) *result = nullptr;
    return kErrorAccessDenied;
}

Status OfflineRegistry::CloseKey(RegKey key) {
    std::lock_guard lock(mutex_);
    for (const auto& [root, ref] : roots_)
        if (root == key) return kErrorSuccess;
    return handles_.erase(reinterpret_cast<std::uintptr_t>(key)) == 1 ? kErrorSuccess
                                                                      : kErrorInvalidHandle;
}

Status OfflineRegistry::QueryValue(RegKey key, const char16_t* name, std::uint32_t* type,
                                   void* data, std::uint32_t* dataBytes) {
    std::lock_guard lock(mutex_);
    KeyRef* ref = nullptr;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &ref, &access); s != kErrorSuccess) return s;
    if (!(access & kKeyQueryValue)) return kErrorAccessDenied;
    if (data != nullptr && dataBytes == nullptr) return kErrorInvalidParameter;
    std::size_t value = 0;
    if (Status s = FindValue(*ref, WideView(name), &value); s != kErrorSuccess) return s;
    hive_h* h = ref->hive->handle();
    RawType t;
    std::size_t length = 0;
    if (hivex_value_type(h, value, t.out(), &length) != 0) return kErrorBadDb;
    if (type != nullptr) *type = t.value;
    if (data == nullptr) {
        if (dataBytes != nullptr) *dataBytes = static_cast<std::uint32_t>(length);
        return kErrorSuccess;
    }
    const std::uint32_t capacity = *dataBytes;
    *dataBytes = static_cast<std::uint32_t>(length);
    if (capacity < length) return kErrorMoreData;
    if (length == 0) return kErrorSuccess;
    CText bytes(hivex_value_value(h, value, t.out(), &length));
    if (!bytes || length > capacity) return kErrorBadDb;
    std::memcpy(data, bytes.get(), length);
    *dataBytes = static_cast<std::uint32_t>(length);
    return kErrorSuccess;
}

Status OfflineRegistry::EnumValue(RegKey key, std::uint32_t index, char16_t* name,
                                  std::uint32_t* nameChars, std::uint32_t* type, void* data,
                                  std::uint32_t* dataBytes) {
    std::lock_guard lock(mutex_);
    KeyRef* ref = nullptr;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &ref, &access); s != kErrorSuccess) return s;
    if (!(access & kKeyQueryValue)) return kErrorAccessDenied;
    if (name == nullptr || nameChars == nullptr) return kErrorInvalidParameter;
    if (data != nullptr && dataBytes == nullptr) return kErrorInvalidParameter;
    NodeCache* cache = nullptr;
    if (Status s = LoadValues(*ref, &cache); s != kErrorSuccess) return s;
    if (index >= cache->values.size()) return kErrorNoMoreItems;
    hive_h* h = ref->hive->handle();
    const hive_value_h value = cache->values[index];
    RawType t;
    std::size_t length = 0;
    if (hivex_value_type(h, value, t.out(), &length) != 0) return kErrorBadDb;
    const std::u16string& valueName = cache->valueNames[index];
    // The type and the data size are reported even when the name or the data doesn't fit.
    if (type != nullptr) *type = t.value;
    if (valueName.size() >= *nameChars) {
        if (dataBytes != nullptr) *dataBytes = static_cast<std::uint32_t>(length);
        return kErrorMoreData;
    }
    std::memcpy(name, valueName.data(), valueName.size() * sizeof(char16_t));
    name[valueName.size()] = 0;
    *nameChars = static_cast<std::uint32_t>(valueName.size());
    if (dataBytes == nullptr) return kErrorSuccess;
    const std::uint32_t capacity = *dataBytes;
    *dataBytes = static_cast<std::uint32_t>(length);
    if (data == nullptr || length == 0) return kErrorSuccess;
    if (capacity < length) return kErrorMoreData;
    CText bytes(hivex_value_value(h, value, t.out(), &length));
    if (!bytes || length > capacity) return kErrorBadDb;
    std::memcpy(data, bytes.get(), length);
    return kErrorSuccess;
}

Status OfflineRegistry::EnumKey(RegKey key, std::uint32_t index, char16_t* name,
                                std::uint32_t* nameChars) {
    std::lock_guard lock(mutex_);
    KeyRef* ref = nullptr;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &ref, &access); s != kErrorSuccess) return s;
    if (!(access & kKeyEnumerateSubKeys)) return kErrorAccessDenied;
    if (name == nullptr || nameChars == nullptr) return kErrorInvalidParameter;
    NodeCache* cache = nullptr;
    if (Status s = LoadChildren(*ref, &cache); s != kErrorSuccess) return s;
    if (index >= cache->childNames.size()) return kErrorNoMoreItems;
    cache->lastEnumerated = index;
    const std::u16string& childName = cache->childNames[index];
    if (childName.size() >= *nameChars) return kErrorMoreData;
    std::memcpy(name, childName.data(), childName.size() * sizeof(char16_t));
    name[childName.size()] = 0;
    *nameChars = static_cast<std::uint32_t>(childName.size());
    return kErrorSuccess;
}

Status OfflineRegistry::SetValue(RegKey key, const char16_t*, std::uint32_t, const void* data,
                                 std::uint32_t dataBytes) {
    std::lock_guard lock(mutex_);
    KeyRef* ref = nullptr;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &ref, &access); s != kErrorSuccess) return s;
    if (data == nullptr && dataBytes != 0) return kErrorNoAccess;
    return kErrorAccessDenied;
}

Status OfflineRegistry::DeleteValue(RegKey key, const char16_t*) {
    std::lock_guard lock(mutex_);
    KeyRef* ref = nullptr;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &ref, &access); s != kErrorSuccess) return s;
    return kErrorAccessDenied;
}

Status OfflineRegistry::DeleteTree(RegKey parent, const char16_t* subKey) {
    std::lock_guard lock(mutex_);
    KeyRef* ref = nullptr;
    std::uint32_t access = 0;
    if (Status s = Resolve(parent, &ref, &access); s != kErrorSuccess) return s;
    KeyRef found;
    if (Status s = Walk(*ref, WideView(subKey), &found); s != kErrorSuccess) return s;
    return kErrorAccessDenied;
}

Status OfflineRegistry::DenyAllAccess(RegKey, const char16_t*) {
    return kErrorAccessDenied;
}

Status OfflineRegistry::AllowAllAccess(RegKey, const char16_t*) {
    return kErrorAccessDenied;
}

bool OfflineRegistry::ReadValue(RegKey root, std::u16string_view path, std::u16string_view name,
                                std::uint32_t* type, std::string* bytes) {
    std::lock_guard lock(mutex_);
    KeyRef* ref = nullptr;
    std::uint32_t access = 0;
    std::size_t value = 0;
    KeyRef found;
    if (Resolve(root, &ref, &access) != kErrorSuccess ||
        Walk(*ref, path, &found) != kErrorSuccess ||
        FindValue(found, name, &value) != kErrorSuccess)
        return false;
    RawType t;
    std::size_t length = 0;
    CText data(hivex_value_value(found.hive->handle(), value, t.out(), &length));
    if (!data) return false;
    *type = t.value;
    bytes->assign(data.get(), length);
    return true;
}

}  // namespace platform::offline
