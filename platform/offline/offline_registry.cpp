// Hive nodes behind registry handles. Each node's sub-keys and values are listed once and kept,
// so that walking a key with many thousands of sub-keys by index, or opening each of them by
// name, stays linear (the hive library itself searches and allocates anew on every call).
#include "platform/offline/offline_registry.h"

#include <hivex.h>
#include <strings.h>

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
constexpr Status kErrorNoSystemResources = 1450;
// Handle values: the first one, and how many keys can be open at once (a power of two, so
// that a value splits into slot and generation without dividing).
constexpr std::uintptr_t kFirstHandle = 0x1000;
constexpr std::size_t kHandleSlots = std::size_t{1} << 22;
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

// The name as the hive library takes it, when it is plain ASCII without NULs.
bool ToAscii(std::u16string_view name, std::string* ascii) {
    // Checked and copied by loops without an early exit, which the compiler widens.
    bool plain = true;
    for (char16_t c : name) plain &= c != 0 && c < 0x80;
    if (!plain) return false;
    ascii->resize(name.size());
    char* const narrow = ascii->data();
    for (std::size_t i = 0; i < name.size(); ++i) narrow[i] = static_cast<char>(name[i]);
    return true;
}

// The same for a name that a NUL ends (none is the empty name), in one pass.
bool ToAscii(const char16_t* name, std::string* ascii) {
    ascii->clear();
    for (const char16_t* at = name; at != nullptr && *at != 0; ++at) {
        if (*at >= 0x80) return false;
        ascii->push_back(static_cast<char>(*at));
    }
    return true;
}

// Where the next backslash from `from` is, or the end. The byte search of the C library
// scans many bytes at a time; a byte 0x5C that is part of another character is passed over.
std::size_t FindBackslash(std::u16string_view path, std::size_t from) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(path.data());
    const std::size_t size = path.size() * sizeof(char16_t);
    for (std::size_t at = from * sizeof(char16_t); at < size;) {
        const void* hit = std::memchr(bytes + at, 0x5C, size - at);
        if (hit == nullptr) break;
        const auto offset =
            static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - bytes);
        if (path[offset / sizeof(char16_t)] == u'\\') return offset / sizeof(char16_t);
        at = offset + 1;
    }
    return path.size();
}

// What the hive library's last failed call means: an unreadable hive, or nothing there.
Status LibraryFailure() {
    return errno != 0 && errno != ENOENT ? kErrorBadDb : kErrorFileNotFound;
}

}  // namespace

// The library's own lookup by name lists the values and converts every name before the one
// asked for, anew on each call; a collector asks for several values of one key in a row.
struct OfflineRegistry::ValueList {
    const Hive* hive = nullptr;
    std::size_t node = 0;
    std::unique_ptr<hive_value_h, void (*)(void*)> values{nullptr, std::free};
    // The names of the first values, in the hive's order, as the library converts them.
    std::vector<CText> names;
};

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
    lastValues_ = std::make_unique<ValueList>();
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

OfflineRegistry::~OfflineRegistry() = default;

bool OfflineRegistry::IsUserSoftware(const KeyRef& key) const {
    return userClasses_.hive != nullptr && key.hive == userSoftware_.hive &&
           key.node == userSoftware_.node;
}

void OfflineRegistry::PlaceUserClasses(NodeCache& cache) {
    std::vector<std::u16string> names;
    for (std::size_t i = 0; i < cache.children.size(); ++i) names.emplace_back(cache.ChildName(i));
    // In its place among the sub-keys, which the system lists in upper-case order.
    std::size_t at = 0;
    while (at < names.size() && Fold(names[at]) < u"CLASSES") ++at;
    if (at < names.size() && EqualNoCase(names[at], u"Classes")) {
        cache.children[at] = userClasses_;
    } else {
        names.insert(names.begin() + static_cast<std::ptrdiff_t>(at), u"Classes");
        cache.children.insert(cache.children.begin() + static_cast<std::ptrdiff_t>(at),
                              userClasses_);
    }
    cache.childText.clear();
    cache.childEnds.clear();
    for (const std::u16string& name : names) {
        cache.childText += name;
        cache.childEnds.push_back(static_cast<std::uint32_t>(cache.childText.size()));
    }
}

KeyRef OfflineRegistry::AddOwnKey(std::vector<std::pair<std::u16string, KeyRef>> children) {
    ownKeys_.push_back(OwnKey{std::move(children)});
    return KeyRef{nullptr, ownKeys_.size() - 1};
}

OfflineRegistry::NodeCache& OfflineRegistry::Cache(KeyRef& key) {
    if (key.cache == nullptr) key.cache = &caches_[{key.hive, key.node}];
    return *static_cast<NodeCache*>(key.cache);
}

Status OfflineRegistry::LoadChildren(KeyRef& key, std::size_t wanted, NodeCache** out) {
    NodeCache& cache = Cache(key);
    *out = &cache;
    if (!cache.childrenRead) {
        cache.childrenRead = true;
        if (key.hive == nullptr) {
            for (const auto& [name, child] : ownKeys_[key.node].children) {
                cache.childText.append(name);
                cache.childEnds.push_back(static_cast<std::uint32_t>(cache.childText.size()));
                cache.children.push_back(child);
            }
            return kErrorSuccess;
        }
        cache.nodes.reset(hivex_node_children(key.hive->handle(), key.node));
        if (!cache.nodes) return cache.childrenStatus = kErrorBadDb;
        while (cache.nodes.get()[cache.nodeCount] != 0) ++cache.nodeCount;
        cache.children.reserve(cache.nodeCount);
        cache.childEnds.reserve(cache.nodeCount);
        if (IsUserSoftware(key)) {
            // Named all at once, so that the user's classes take their place among them.
            if (Status s = LoadChildren(key, cache.nodeCount, out); s != kErrorSuccess) return s;
            PlaceUserClasses(cache);
            return kErrorSuccess;
        }
    }
    if (cache.childrenStatus != kErrorSuccess) return cache.childrenStatus;
    while (cache.children.size() < wanted && cache.nodesNamed < cache.nodeCount) {
        const hive_node_h node = cache.nodes.get()[cache.nodesNamed++];
        CText name(hivex_node_name(key.hive->handle(), node));
        // A sub-key whose name can't be read is left out rather than failing its siblings.
        if (!name) continue;
        AppendUtf8(name.get(), &cache.childText);
        cache.childEnds.push_back(static_cast<std::uint32_t>(cache.childText.size()));
        cache.children.push_back(KeyRef{key.hive, node});
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
    Handle* handle = FindHandle(key);
    if (handle == nullptr) return kErrorInvalidHandle;
    *ref = &handle->key;
    *access = handle->access;
    return kErrorSuccess;
}

OfflineRegistry::Handle* OfflineRegistry::FindHandle(RegKey key) {
    const auto value = reinterpret_cast<std::uintptr_t>(key);
    if (value < kFirstHandle || (value - kFirstHandle) % 4 != 0) return nullptr;
    const std::uintptr_t number = (value - kFirstHandle) / 4;
    const std::size_t slot = number & (kHandleSlots - 1);
    if (slot >= handles_.size() || handles_[slot].generation != number / kHandleSlots)
        return nullptr;
    return &handles_[slot];
}

Status OfflineRegistry::Walk(KeyRef from, std::u16string_view subKey, KeyRef* found) {
    const KeyRef start = from;
    std::size_t at = 0;
    const std::u16string& known = lastWalk_.parentPath;
    if (!known.empty() && lastWalk_.from.hive == from.hive && lastWalk_.from.node == from.node &&
        subKey.size() > known.size() &&
        std::memcmp(subKey.data(), known.data(), known.size() * sizeof(char16_t)) == 0) {
        from = lastWalk_.parentFound;
        at = known.size();
    }
    // The key before the last piece, and where the last piece starts in subKey.
    KeyRef parent = from;
    std::size_t lastPiece = at;
    while (at < subKey.size()) {
        if (subKey[at] == u'\\') {
            ++at;
            continue;
        }
        const std::size_t end = FindBackslash(subKey, at);
        const std::u16string_view piece = subKey.substr(at, end - at);
        parent = from;
        lastPiece = at;
        at = end;
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
        if (from.hive != nullptr &&
            hivex_node_nr_children(from.hive->handle(), from.node) <= kIndexedChildren &&
            ToAscii(piece, &ascii_)) {
            errno = 0;
            const hive_node_h child =
                hivex_node_get_child(from.hive->handle(), from.node, ascii_.c_str());
            if (child == 0) return LibraryFailure();
            from = KeyRef{from.hive, child};
            continue;
        }
        const KeyRef* child = nullptr;
        if (Status s = FindChild(from, piece, &child); s != kErrorSuccess) return s;
        parent = from;  // now with its cache, for the next walk that starts from it
        from = *child;
    }
    // The hives don't change, so the same path from the same key leads to the same key.
    if (lastPiece > 0) {
        lastWalk_.from = start;
        lastWalk_.parentPath.assign(subKey.substr(0, lastPiece));
        lastWalk_.parentFound = parent;
    }
    *found = from;
    return kErrorSuccess;
}

Status OfflineRegistry::FindChild(KeyRef& key, std::u16string_view name, const KeyRef** child) {
    NodeCache* cache = nullptr;
    if (Status s = LoadChildren(key, 0, &cache); s != kErrorSuccess) return s;
    if (cache->lastEnumerated < cache->children.size() &&
        EqualNoCase(cache->ChildName(cache->lastEnumerated), name)) {
        *child = &cache->children[cache->lastEnumerated];
        return kErrorSuccess;
    }
    LoadChildren(key, SIZE_MAX, &cache);
    const std::size_t count = cache->children.size();
    std::size_t index = count;
    if (count > kIndexedChildren) {
        if (!cache->indexed) {
            cache->indexed = true;
            cache->childByName.reserve(count);
            for (std::size_t i = 0; i < count; ++i)
                cache->childByName.emplace(Fold(cache->ChildName(i)), i);
        }
        auto it = cache->childByName.find(Fold(name));
        if (it != cache->childByName.end()) index = it->second;
    } else {
        for (std::size_t i = 0; i < count && index == count; ++i)
            if (EqualNoCase(cache->ChildName(i), name)) index = i;
    }
    if (index == count) return kErrorFileNotFound;
    *child = &cache->children[index];
    return kErrorSuccess;
}

Status OfflineRegistry::FindValue(KeyRef& key, std::u16string_view name, std::size_t* value) {
    // Plain ASCII names are looked up by the hive library directly, which compares them the
    // same way and spares listing the key's values; other names need the folding below.
    if (key.hive != nullptr && ToAscii(name, &ascii_)) return FindAsciiValue(key, ascii_, value);
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

// Answers as the library's own lookup does (the first value in the hive's order whose name
// matches, an unreadable name before it fails the lookup), converting each name once per key.
Status OfflineRegistry::FindAsciiValue(const KeyRef& key, const std::string& name,
                                       std::size_t* value) {
    hive_h* h = key.hive->handle();
    ValueList& list = *lastValues_;
    if (list.hive != key.hive || list.node != key.node || !list.values) {
        list.names.clear();
        list.hive = key.hive;
        list.node = key.node;
        errno = 0;
        list.values.reset(hivex_node_values(h, key.node));
        if (!list.values) return LibraryFailure();
    }
    for (std::size_t i = 0; list.values.get()[i] != 0; ++i) {
        if (i == list.names.size()) {
            errno = 0;
            CText read(hivex_value_key(h, list.values.get()[i]));
            if (!read) return LibraryFailure();
            list.names.push_back(std::move(read));
        }
        if (strcasecmp(list.names[i].get(), name.c_str()) == 0) {
            *value = list.values.get()[i];
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
    if (path.empty() && FindHandle(parent) == nullptr) {
        *result = parent;
        return kErrorSuccess;
    }
    KeyRef found;
    if (Status s = Walk(*from, path, &found); s != kErrorSuccess) return s;
    if (access & kWriteRights) return kErrorAccessDenied;
    std::size_t slot = handles_.size();
    if (!freeSlots_.empty()) {
        slot = freeSlots_.back();
        freeSlots_.pop_back();
    } else if (slot == kHandleSlots) {
        return kErrorNoSystemResources;
    } else {
        handles_.emplace_back();
    }
    Handle& handle = handles_[slot];
    handle.key = found;
    handle.access = access;
    const std::uintptr_t number = std::uintptr_t{handle.generation} * kHandleSlots + slot;
    *result = reinterpret_cast<RegKey>(kFirstHandle + number * 4);
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
    Handle* handle = FindHandle(key);
    if (handle == nullptr) return kErrorInvalidHandle;
    ++handle->generation;
    freeSlots_.push_back(static_cast<std::size_t>(handle - handles_.data()));
    return kErrorSuccess;
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
    const Status found = ref->hive != nullptr && ToAscii(name, &ascii_)
                             ? FindAsciiValue(*ref, ascii_, &value)
                             : FindValue(*ref, WideView(name), &value);
    if (found != kErrorSuccess) return found;
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
    if (Status s = LoadChildren(*ref, std::size_t{index} + 1, &cache); s != kErrorSuccess) return s;
    if (index >= cache->children.size()) return kErrorNoMoreItems;
    cache->lastEnumerated = index;
    const std::u16string_view childName = cache->ChildName(index);
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
