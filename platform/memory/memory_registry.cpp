// The memory registry: keys with typed values, open handles as real objects, the access rights
// of each handle checked the way the system checks them.
#include <algorithm>
#include <cstring>

#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"

namespace platform::memory::detail {
namespace {

// A sub-key path the way the registry reads it: null and "" both name the key itself; doubled
// and trailing backslashes are ignored.
std::vector<std::u16string> Pieces(const char16_t* subKey) {
    return SplitKeyPath(WideView(subKey));
}

// A sub-key path may not start with a backslash (ERROR_BAD_PATHNAME).
constexpr Status kErrorBadPathname = 161;
// What the system says for a null data pointer with a non-zero size.
constexpr Status kErrorNoAccess = 998;
// Only a key opened by handle takes a name with an embedded NUL (the native calls need a handle).
bool HasNul(std::u16string_view name) {
    return name.find(u'\0') != std::u16string_view::npos;
}

bool LeadingBackslash(const char16_t* subKey) {
    return subKey != nullptr && subKey[0] == u'\\';
}

void MarkDeleted(RegNode& node) {
    node.deleted = true;
    node.parent = nullptr;
    for (auto& [name, child] : node.children) MarkDeleted(*child);
}

// Empties a key as RegDeleteTreeW does: sub-keys first, in order, each emptied and removed, then
// the values. A sub-key that refuses access stops it there and what is left stays.
Status EmptyKey(RegNode& node) {
    while (!node.children.empty()) {
        auto it = node.children.begin();
        std::shared_ptr<RegNode> child = it->second;
        if (child->deniedAll || child->deniedOpen) return kErrorAccessDenied;
        if (Status s = EmptyKey(*child); s != kErrorSuccess) return s;
        node.children.erase(it);
        MarkDeleted(*child);
    }
    node.values.clear();
    return kErrorSuccess;
}

}  // namespace

RegValue* RegNode::FindValue(std::u16string_view valueName) {
    for (RegValue& v : values)
        if (EqualNoCase(v.name, valueName)) return &v;
    return nullptr;
}

RegNode* RegNode::FindChild(std::u16string_view childName) const {
    auto it = children.find(Fold(childName));
    return it == children.end() ? nullptr : it->second.get();
}

MemoryRegistry::MemoryRegistry(MachineState& state) : state_(state) {
    const std::pair<RegKey, const char16_t*> roots[] = {
        {kHkeyCurrentUser, u"HKEY_CURRENT_USER"},
        {kHkeyLocalMachine, u"HKEY_LOCAL_MACHINE"},
        {kHkeyUsers, u"HKEY_USERS"},
        {kHkeyCurrentConfig, u"HKEY_CURRENT_CONFIG"}};
    for (const auto& [key, name] : roots) {
        auto node = std::make_shared<RegNode>();
        node->name = name;
        roots_.emplace_back(key, std::move(node));
    }
    // HKEY_CLASSES_ROOT is no tree of its own: it is HKLM\Software\Classes, for reads and writes
    // alike, as Wine has it. Windows also lays HKCU\Software\Classes over it for reads; that is
    // left out, because the Win32 backend the contract suite runs on (Wine) doesn't, and a view
    // this machine alone had could not be proven against it.
    RegNode* machineRoot = roots_[1].second.get();
    auto software = std::make_shared<RegNode>();
    software->name = u"Software";
    software->parent = machineRoot;
    auto classes = std::make_shared<RegNode>();
    classes->name = u"Classes";
    classes->parent = software.get();
    software->children[Fold(classes->name)] = classes;
    machineRoot->children[Fold(software->name)] = software;
    roots_.emplace_back(kHkeyClassesRoot, std::move(classes));
}

Status MemoryRegistry::Resolve(RegKey key, std::shared_ptr<RegNode>* node, std::uint32_t* access) {
    for (const auto& [root, rootNode] : roots_) {
        if (root == key) {
            *node = rootNode;
            *access = kKeyAllAccess;
            return kErrorSuccess;
        }
    }
    auto it = handles_.find(reinterpret_cast<std::uintptr_t>(key));
    if (it == handles_.end()) return kErrorInvalidHandle;
    if (it->second.node->deleted) return kErrorKeyDeleted;
    *node = it->second.node;
    *access = it->second.access;
    return kErrorSuccess;
}

RegKey MemoryRegistry::NewHandle(std::shared_ptr<RegNode> node, std::uint32_t access) {
    // Handle values are never reused, so a second close of the same value is caught.
    const std::uintptr_t value = nextHandle_;
    nextHandle_ += 4;
    handles_[value] = RegHandle{std::move(node), access};
    return reinterpret_cast<RegKey>(value);
}

bool MemoryRegistry::IsRoot(RegKey key) const {
    for (const auto& [root, node] : roots_)
        if (root == key) return true;
    return false;
}

Status MemoryRegistry::WriteFault(const RegNode* node) {
    for (; node != nullptr; node = node->parent)
        if (node->failWrites != kErrorSuccess) return node->failWrites;
    return kErrorSuccess;
}

RegNode* MemoryRegistry::Find(RegKey root, std::u16string_view path) {
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Resolve(root, &node, &access) != kErrorSuccess) return nullptr;
    RegNode* at = node.get();
    for (const std::u16string& piece : SplitKeyPath(path)) {
        at = at->FindChild(piece);
        if (at == nullptr) return nullptr;
    }
    return at;
}

RegNode* MemoryRegistry::Ensure(RegKey root, std::u16string_view path) {
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Resolve(root, &node, &access) != kErrorSuccess) return nullptr;
    RegNode* at = node.get();
    for (const std::u16string& piece : SplitKeyPath(path)) {
        std::shared_ptr<RegNode>& child = at->children[Fold(piece)];
        if (!child) {
            child = std::make_shared<RegNode>();
            child->name = piece;
            child->parent = at;
        }
        at = child.get();
    }
    return at;
}

Status MemoryRegistry::OpenKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                               RegKey* result) {
    Lock lock(state_.mutex);
    if (result == nullptr) return kErrorInvalidParameter;
    *result = nullptr;
    if (LeadingBackslash(subKey)) return kErrorBadPathname;
    std::shared_ptr<RegNode> node;
    std::uint32_t parentAccess = 0;
    if (Status s = Resolve(parent, &node, &parentAccess); s != kErrorSuccess) return s;
    // A root opened without a sub-key comes back as the root itself.
    if (WideLength(subKey) == 0 && IsRoot(parent)) {
        ++node->openCount;
        *result = parent;
        return kErrorSuccess;
    }
    for (const std::u16string& piece : Pieces(subKey)) {
        auto it = node->children.find(Fold(piece));
        if (it == node->children.end()) return kErrorFileNotFound;
        node = it->second;
    }
    ++node->openCount;
    if (node->deniedAll || node->deniedOpen) return kErrorAccessDenied;
    *result = NewHandle(std::move(node), access);
    return kErrorSuccess;
}

Status MemoryRegistry::CreateKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                                 RegKey* result) {
    Lock lock(state_.mutex);
    if (result == nullptr) return kErrorInvalidParameter;
    *result = nullptr;
    if (LeadingBackslash(subKey)) return kErrorBadPathname;
    std::shared_ptr<RegNode> node;
    std::uint32_t parentAccess = 0;
    if (Status s = Resolve(parent, &node, &parentAccess); s != kErrorSuccess) return s;
    const std::vector<std::u16string> pieces = Pieces(subKey);
    std::size_t existing = 0;
    while (existing < pieces.size()) {
        auto it = node->children.find(Fold(pieces[existing]));
        if (it == node->children.end()) break;
        node = it->second;
        ++existing;
    }
    if (existing < pieces.size()) {
        // The key's own security decides, not the rights of the handle it is named through:
        // a handle opened for reading can still create sub-keys.
        if (node->deniedAll) return kErrorAccessDenied;
        if (Status s = WriteFault(node.get()); s != kErrorSuccess) return s;
        for (std::size_t i = existing; i < pieces.size(); ++i) {
            auto child = std::make_shared<RegNode>();
            child->name = pieces[i];
            child->parent = node.get();
            node->children[Fold(pieces[i])] = child;
            node = std::move(child);
        }
    } else if (node->deniedAll || node->deniedOpen) {
        return kErrorAccessDenied;
    }
    *result = NewHandle(std::move(node), access);
    return kErrorSuccess;
}

Status MemoryRegistry::CloseKey(RegKey key) {
    Lock lock(state_.mutex);
    if (IsRoot(key)) return kErrorSuccess;
    // A key deleted while open still closes: the handle is an object of its own.
    return handles_.erase(reinterpret_cast<std::uintptr_t>(key)) == 1 ? kErrorSuccess
                                                                      : kErrorInvalidHandle;
}

Status MemoryRegistry::QueryValue(RegKey key, const char16_t* name, std::uint32_t* type, void* data,
                                  std::uint32_t* dataBytes) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &node, &access); s != kErrorSuccess) return s;
    if (!(access & kKeyQueryValue)) return kErrorAccessDenied;
    if (data != nullptr && dataBytes == nullptr) return kErrorInvalidParameter;
    const RegValue* value = node->FindValue(WideView(name));
    if (value == nullptr) return kErrorFileNotFound;
    if (type != nullptr) *type = value->type;
    const auto size = static_cast<std::uint32_t>(value->data.size());
    if (data == nullptr) {
        if (dataBytes != nullptr) *dataBytes = size;
        return kErrorSuccess;
    }
    const std::uint32_t capacity = *dataBytes;
    *dataBytes = size;
    if (capacity < size) return kErrorMoreData;
    if (size != 0) std::memcpy(data, value->data.data(), size);
    return kErrorSuccess;
}

Status MemoryRegistry::EnumValue(RegKey key, std::uint32_t index, char16_t* name,
                                 std::uint32_t* nameChars, std::uint32_t* type, void* data,
                                 std::uint32_t* dataBytes) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &node, &access); s != kErrorSuccess) return s;
    if (!(access & kKeyQueryValue)) return kErrorAccessDenied;
    if (name == nullptr || nameChars == nullptr) return kErrorInvalidParameter;
    if (data != nullptr && dataBytes == nullptr) return kErrorInvalidParameter;
    if (node->failEnumeration != kErrorSuccess) return node->failEnumeration;
    if (index >= node->values.size()) return kErrorNoMoreItems;
    const RegValue& value = node->values[index];
    const auto size = static_cast<std::uint32_t>(value.data.size());
    // The type and the data size are reported even when the name or the data doesn't fit.
    if (type != nullptr) *type = value.type;
    if (value.name.size() >= *nameChars) {
        if (dataBytes != nullptr) *dataBytes = size;
        return kErrorMoreData;
    }
    std::memcpy(name, value.name.data(), value.name.size() * sizeof(char16_t));
    name[value.name.size()] = 0;
    *nameChars = static_cast<std::uint32_t>(value.name.size());
    if (dataBytes == nullptr) return kErrorSuccess;
    const std::uint32_t capacity = *dataBytes;
    *dataBytes = size;
    if (data == nullptr) return kErrorSuccess;
    if (capacity < size) return kErrorMoreData;
    if (size != 0) std::memcpy(data, value.data.data(), size);
    return kErrorSuccess;
}

Status MemoryRegistry::EnumKey(RegKey key, std::uint32_t index, char16_t* name,
                               std::uint32_t* nameChars) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &node, &access); s != kErrorSuccess) return s;
    if (!(access & kKeyEnumerateSubKeys)) return kErrorAccessDenied;
    if (name == nullptr || nameChars == nullptr) return kErrorInvalidParameter;
    if (node->failEnumeration != kErrorSuccess) return node->failEnumeration;
    if (index >= node->children.size()) return kErrorNoMoreItems;
    const RegNode& child = *std::next(node->children.begin(), index)->second;
    if (child.name.size() >= *nameChars) return kErrorMoreData;
    std::memcpy(name, child.name.data(), child.name.size() * sizeof(char16_t));
    name[child.name.size()] = 0;
    *nameChars = static_cast<std::uint32_t>(child.name.size());
    return kErrorSuccess;
}

Status MemoryRegistry::SetValue(RegKey key, const char16_t* name, std::uint32_t type,
                                const void* data, std::uint32_t dataBytes) {
    return SetCountedValue(key, WideView(name), type, data, dataBytes);
}

Status MemoryRegistry::SetCountedValue(RegKey key, std::u16string_view name, std::uint32_t type,
                                       const void* data, std::uint32_t dataBytes) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &node, &access); s != kErrorSuccess) return s;
    if (!(access & kKeySetValue)) return kErrorAccessDenied;
    if (data == nullptr && dataBytes != 0) return kErrorNoAccess;
    if (IsRoot(key) && HasNul(name)) return kErrorInvalidHandle;
    if (Status s = WriteFault(node.get()); s != kErrorSuccess) return s;
    // Only the counted bytes are read: what lies behind them is the caller's, and may not exist.
    std::string bytes(static_cast<const char*>(data), dataBytes);
    // A value set again keeps its place among the others.
    if (RegValue* existing = node->FindValue(name)) {
        existing->type = type;
        existing->data = std::move(bytes);
    } else {
        node->values.push_back(RegValue{std::u16string(name), type, std::move(bytes)});
    }
    return kErrorSuccess;
}

Status MemoryRegistry::DeleteValue(RegKey key, const char16_t* name) {
    return DeleteCountedValue(key, WideView(name));
}

Status MemoryRegistry::DeleteCountedValue(RegKey key, std::u16string_view name) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(key, &node, &access); s != kErrorSuccess) return s;
    if (!(access & kKeySetValue)) return kErrorAccessDenied;
    if (IsRoot(key) && HasNul(name)) return kErrorInvalidHandle;
    if (Status s = WriteFault(node.get()); s != kErrorSuccess) return s;
    auto it = std::find_if(node->values.begin(), node->values.end(),
                           [&](const RegValue& v) { return EqualNoCase(v.name, name); });
    if (it == node->values.end()) return kErrorFileNotFound;
    node->values.erase(it);
    return kErrorSuccess;
}

Status MemoryRegistry::DeleteTree(RegKey parent, const char16_t* subKey) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(parent, &node, &access); s != kErrorSuccess) return s;
    for (const std::u16string& piece : Pieces(subKey)) {
        auto it = node->children.find(Fold(piece));
        if (it == node->children.end()) return kErrorFileNotFound;
        node = it->second;
    }
    // The key is opened first: refused, nothing changes.
    if (node->deniedAll || node->deniedOpen) return kErrorAccessDenied;
    // A root can't go (and isn't emptied on the way); nor can the key that stands for one.
    RegNode* above = node->parent;
    for (const auto& [root, rootNode] : roots_)
        if (rootNode == node) return kErrorAccessDenied;
    if (Status s = WriteFault(node.get()); s != kErrorSuccess) return s;
    if (Status s = EmptyKey(*node); s != kErrorSuccess) return s;
    // Deleting the emptied key by a null name is refused, as RegDeleteKeyW refuses it.
    if (subKey == nullptr) return kErrorInvalidParameter;
    above->children.erase(Fold(node->name));
    MarkDeleted(*node);
    return kErrorSuccess;
}

Status MemoryRegistry::DenyAllAccess(RegKey parent, const char16_t* subKey) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(parent, &node, &access); s != kErrorSuccess) return s;
    for (const std::u16string& piece : Pieces(subKey)) {
        auto it = node->children.find(Fold(piece));
        if (it == node->children.end()) return kErrorFileNotFound;
        node = it->second;
    }
    node->deniedAll = true;
    return kErrorSuccess;
}

Status MemoryRegistry::AllowAllAccess(RegKey parent, const char16_t* subKey) {
    Lock lock(state_.mutex);
    std::shared_ptr<RegNode> node;
    std::uint32_t access = 0;
    if (Status s = Resolve(parent, &node, &access); s != kErrorSuccess) return s;
    for (const std::u16string& piece : Pieces(subKey)) {
        auto it = node->children.find(Fold(piece));
        if (it == node->children.end()) return kErrorFileNotFound;
        node = it->second;
    }
    node->deniedAll = false;
    return kErrorSuccess;
}

}  // namespace platform::memory::detail

namespace platform::memory {

using detail::Lock;

void MemoryMachine::AddKey(RegKey root, std::u16string_view path) {
    Lock lock(state_->mutex);
    state_->registry.Ensure(root, path);
}

void MemoryMachine::SetString(RegKey root, std::u16string_view path, std::u16string_view name,
                              std::u16string_view value, std::uint32_t type) {
    std::string bytes((value.size() + 1) * sizeof(char16_t), '\0');
    std::memcpy(bytes.data(), value.data(), value.size() * sizeof(char16_t));
    SetRaw(root, path, name, type, bytes);
}

void MemoryMachine::SetRaw(RegKey root, std::u16string_view path, std::u16string_view name,
                           std::uint32_t type, std::string_view bytes) {
    Lock lock(state_->mutex);
    detail::RegNode* node = state_->registry.Ensure(root, path);
    if (node == nullptr) return;
    if (detail::RegValue* existing = node->FindValue(name)) {
        existing->type = type;
        existing->data = std::string(bytes);
    } else {
        node->values.push_back(detail::RegValue{std::u16string(name), type, std::string(bytes)});
    }
}

void MemoryMachine::SetDword(RegKey root, std::u16string_view path, std::u16string_view name,
                             std::uint32_t value) {
    char bytes[4];
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    SetRaw(root, path, name, kRegDword, std::string_view(bytes, 4));
}

bool MemoryMachine::HasKey(RegKey root, std::u16string_view path) const {
    Lock lock(state_->mutex);
    return state_->registry.Find(root, path) != nullptr;
}

bool MemoryMachine::HasValue(RegKey root, std::u16string_view path,
                             std::u16string_view name) const {
    Lock lock(state_->mutex);
    detail::RegNode* node = state_->registry.Find(root, path);
    return node != nullptr && node->FindValue(name) != nullptr;
}

std::optional<std::u16string> MemoryMachine::GetString(RegKey root, std::u16string_view path,
                                                       std::u16string_view name) const {
    Lock lock(state_->mutex);
    detail::RegNode* node = state_->registry.Find(root, path);
    if (node == nullptr) return std::nullopt;
    const detail::RegValue* value = node->FindValue(name);
    if (value == nullptr) return std::nullopt;
    std::u16string text;
    for (std::size_t i = 0; i + 1 < value->data.size(); i += 2) {
        const auto c = static_cast<char16_t>(static_cast<unsigned char>(value->data[i]) |
                                             (static_cast<unsigned char>(value->data[i + 1]) << 8));
        if (c == 0) break;
        text += c;
    }
    return text;
}

std::vector<std::u16string> MemoryMachine::ValueNames(RegKey root, std::u16string_view path) const {
    Lock lock(state_->mutex);
    std::vector<std::u16string> names;
    if (detail::RegNode* node = state_->registry.Find(root, path))
        for (const detail::RegValue& v : node->values) names.push_back(v.name);
    return names;
}

void MemoryMachine::DenyOpen(RegKey root, std::u16string_view path) {
    Lock lock(state_->mutex);
    if (detail::RegNode* node = state_->registry.Ensure(root, path)) node->deniedOpen = true;
}

void MemoryMachine::FailEnumeration(RegKey root, std::u16string_view path, Status status) {
    Lock lock(state_->mutex);
    if (detail::RegNode* node = state_->registry.Ensure(root, path)) node->failEnumeration = status;
}

void MemoryMachine::FailWrites(RegKey root, std::u16string_view path, Status status) {
    Lock lock(state_->mutex);
    if (detail::RegNode* node = state_->registry.Ensure(root, path)) node->failWrites = status;
}

int MemoryMachine::OpenCount(RegKey root, std::u16string_view path) const {
    Lock lock(state_->mutex);
    detail::RegNode* node = state_->registry.Find(root, path);
    return node == nullptr ? 0 : node->openCount;
}

}  // namespace platform::memory
