// The item-source interface every category implements, the composite source, and the records
// and callbacks by which sources talk to the console.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class CVistrelPlugin;

// What DoAction tells the console; the console sets it to 0, 0, 1 before each call.
struct resultFlags {
    std::uint8_t deleteItem = 0;   // 1 with localUpdate: delete the selected tree node
    std::uint8_t localUpdate = 0;  // 1: don't repopulate the tree
    std::uint8_t succeeded = 1;    // 0: the action failed and the user is told
};
static_assert(sizeof(resultFlags) == 3);

// Delivers one entry. name is null when child is set. Returning false stops the source at once;
// it then returns index + 1.
using EntryCallback = bool (*)(std::int32_t index, const char16_t* name, CVistrelPlugin* child,
                               CVistrelPlugin* owner, void* context);

// One line of the details pane. value is a wide string, null, or (with kLineValueIsId) a
// catalogue id carried in the pointer. The result is ignored by all sources.
using LineCallback = bool (*)(std::int32_t index, std::int32_t labelId, const char16_t* value,
                              std::int32_t flags, void* context);

inline constexpr std::int32_t kLineValueIsId = 1;
inline constexpr std::int32_t kLineSeparator = 2;
inline constexpr std::int32_t kLineDropIfNoLabel = 4;

inline const char16_t* LineValueFromId(std::int32_t id) {
    return reinterpret_cast<const char16_t*>(static_cast<std::intptr_t>(id));
}
inline std::int32_t LineValueToId(const char16_t* value) {
    return static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(value));
}

// Results of EnumerateItems below zero.
inline constexpr std::int32_t kEnumNotFound = -1;
inline constexpr std::int32_t kEnumFailed = -2;
inline constexpr std::int32_t kEnumAccessDenied = -3;
inline constexpr std::int32_t kEnumAccessDeniedNeedsElevation = -4;

// Catalogue ids of the action buttons' texts.
inline constexpr std::int32_t kTextActionRefresh = 22200;
inline constexpr std::int32_t kTextActionRemove = 22201;
inline constexpr std::int32_t kTextActionGoTo = 22202;
inline constexpr std::int32_t kTextActionKill = 22203;
inline constexpr std::int32_t kTextActionRestore = 22204;

// Where an entry lives: a registry key (root by its editor's name, the path below it, and the
// value when the entry is one), or a file.
struct ItemLocation {
    std::u16string root;
    std::u16string keyPath;
    bool isValue = false;
    std::u16string valueName;  // whole counted name; empty with isValue: the default value
    std::u16string filePath;
};

// An item source: a category of the tree. Entries are addressed by a signed index into the
// source's own list; -1 is the source itself. EnumerateItems and SetUseElevation run on the
// population's worker, everything else on the dialog's thread; sources hold no lock.
class CVistrelPlugin {
  public:
    CVistrelPlugin() = default;
    CVistrelPlugin(const CVistrelPlugin&) = delete;
    CVistrelPlugin& operator=(const CVistrelPlugin&) = delete;

    virtual ~CVistrelPlugin() = default;
    // Catalogue id of the name; -1 when the name comes from GetName.
    virtual std::int32_t GetNameId() { return -1; }
    // A name known only at run time, or null.
    virtual const char16_t* GetName() { return nullptr; }
    virtual bool IsProcessList() { return false; }
    // Delivers every entry through callback (which may be null: then only counts). Returns the
    // number of entries or a negative code: kEnumNotFound when failed is set, and so on.
    virtual std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) {
        (void)callback, (void)refresh, (void)context;
        return 0;
    }
    // Feeds the lines that describe entry index. A bad index gives no line.
    virtual std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                        void* context) {
        (void)index, (void)lineCallback, (void)context;
        return 0;
    }
    virtual std::int32_t GetDescriptionId() { return -1; }
    virtual std::int32_t GetActionCount() { return 0; }
    virtual std::int32_t GetActionTextId(std::int32_t action);
    // Bit n allows action n for entry index (or the source itself at -1).
    virtual std::uint32_t GetActionMask(std::int32_t index) {
        (void)index;
        return 0;
    }
    virtual std::int32_t GetDefaultAction() { return 1; }
    virtual void SetUseElevation(bool flag) { useElevation = flag; }
    // Runs action on entry index. Action -1 is the default action; an unknown action gives
    // false and leaves flags alone.
    virtual bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) {
        (void)action, (void)index, (void)flags;
        return false;
    }
    // Fills location for entry index; false (location untouched) for a bad index or a source
    // whose entries live nowhere that can be named.
    virtual bool GetItemLocation(std::int32_t index, ItemLocation* location) {
        (void)index, (void)location;
        return false;
    }
    // True where an entry with an empty name is a registry key's default value.
    virtual bool EmptyNameIsDefault() { return false; }

    bool failed = false;
    bool NeedsElevation = false;
    bool useElevation = false;
};

// A source that owns an ordered list of child sources; every inner node of the tree is one.
class CVistrelPluginContainer : public CVistrelPlugin {
  public:
    ~CVistrelPluginContainer() override;
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    std::int32_t GetActionCount() override { return 1; }
    std::int32_t GetActionTextId(std::int32_t action) override;
    std::uint32_t GetActionMask(std::int32_t) override { return 1; }
    void SetUseElevation(bool flag) override;
    // Action 0 (Refresh) is passed to the child at index, or to all children at -1.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;

    std::vector<CVistrelPlugin*> children;  // owned; deleted first to last
};
