#include "scanner/scan.h"

#include <algorithm>
#include <utility>

#include "frame/text_catalogue.h"
#include "libs/talutils/text_utils.h"
#include "sources/plugin.h"

namespace scanner {
namespace {

using talutils::ToUtf8;

// What the page shows for an entry with an empty name where that name is the default value.
constexpr char kDefaultName[] = "(Default)";

struct Entry {
    std::int32_t index;
    std::u16string name;
};

struct Walk {
    const ScanOptions* options = nullptr;
    ScanResult* result = nullptr;
    std::vector<std::string> keys;
    std::vector<std::string> texts;
    bool selected = false;
    std::vector<Entry>* entries = nullptr;  // the leaf being read; null inside a container
};

std::string NameText(CVistrelPlugin& source) {
    const std::int32_t id = source.GetNameId();
    if (id != -1) return ToUtf8(talutils::View(TextById(id)));
    return ToUtf8(talutils::View(source.GetName()));
}

std::string NameKey(CVistrelPlugin& source) {
    const std::int32_t id = source.GetNameId();
    const char16_t* key = id != -1 ? CatalogueKey(id) : nullptr;
    return key != nullptr ? ToUtf8(talutils::View(key)) : NameText(source);
}

bool IsContainer(CVistrelPlugin& source) {
    return dynamic_cast<CVistrelPluginContainer*>(&source) != nullptr;
}

struct Status {
    const char* name;
    std::int32_t textId;
    bool failure;
};

Status StatusOf(std::int32_t count) {
    switch (count) {
        case kEnumNotFound:
            return {"not_found", 22473, false};
        case kEnumAccessDenied:
            return {"access_denied", 22488, true};
        case kEnumAccessDeniedNeedsElevation:
            return {"needs_elevation", 22490, true};
        default:
            return {"failed", 22485, true};
    }
}

std::string Join(const std::vector<std::string>& parts, const char* separator) {
    std::string joined;
    for (const std::string& part : parts) {
        if (!joined.empty()) joined += separator;
        joined += part;
    }
    return joined;
}

bool CollectLine(std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t flags,
                 void* context) {
    // A separator only draws a line between groups of the pane; a record has no groups.
    if (flags & kLineSeparator) return true;
    DetailLine line;
    if (labelId >= 1) {
        line.label = ToUtf8(talutils::View(TextById(labelId)));
        if (const char16_t* key = CatalogueKey(labelId))
            line.labelKey = ToUtf8(talutils::View(key));
    }
    if (line.label.empty() && (flags & kLineDropIfNoLabel)) return true;
    if (line.labelKey.empty()) line.labelKey = line.label;
    if (flags & kLineValueIsId) {
        const std::int32_t id = LineValueToId(value);
        line.value = ToUtf8(talutils::View(TextById(id)));
        if (const char16_t* key = CatalogueKey(id)) line.valueKey = ToUtf8(talutils::View(key));
    } else {
        line.value = ToUtf8(talutils::View(value));
    }
    static_cast<std::vector<DetailLine>*>(context)->push_back(std::move(line));
    return true;
}

ScanRecord CategoryRecord(const Walk& walk) {
    ScanRecord record;
    record.categoryKeys = walk.keys;
    record.category = walk.texts;
    return record;
}

bool Collect(std::int32_t index, const char16_t* name, CVistrelPlugin* child, CVistrelPlugin*,
             void* context);

void ReadLeaf(Walk& walk, CVistrelPlugin& source) {
    if (walk.options->progress) walk.options->progress(Join(walk.texts, " / "));
    std::vector<Entry> entries;
    std::vector<Entry>* outer = std::exchange(walk.entries, &entries);
    const std::int32_t count = source.EnumerateItems(&Collect, true, &walk);
    walk.entries = outer;
    if (count < 0) {
        const Status status = StatusOf(count);
        ScanRecord record = CategoryRecord(walk);
        record.status = status.name;
        record.statusText = ToUtf8(talutils::View(TextById(status.textId)));
        walk.result->records.push_back(std::move(record));
        walk.result->incomplete = walk.result->incomplete || status.failure;
        return;
    }
    const bool emptyIsDefault = source.EmptyNameIsDefault();
    for (const Entry& entry : entries) {
        ScanRecord record = CategoryRecord(walk);
        record.entry = entry.name.empty() && emptyIsDefault ? kDefaultName : ToUtf8(entry.name);
        ItemLocation location;
        if (source.GetItemLocation(entry.index, &location)) {
            record.place.root = ToUtf8(location.root);
            record.place.key = ToUtf8(location.keyPath);
            if (location.isValue) record.place.value = ToUtf8(location.valueName);
            record.place.file = ToUtf8(location.filePath);
        }
        source.GetItemDetails(entry.index, &CollectLine, &record.details);
        walk.result->records.push_back(std::move(record));
    }
}

void ScanCategory(Walk& walk, CVistrelPlugin& source) {
    walk.keys.push_back(NameKey(source));
    walk.texts.push_back(NameText(source));
    const std::vector<std::string>& wanted = walk.options->categories;
    const bool outerSelected = walk.selected;
    walk.selected = outerSelected || wanted.empty() ||
                    std::find(wanted.begin(), wanted.end(), walk.keys.back()) != wanted.end();
    if (IsContainer(source)) {
        // A container only hands out its children, so it is walked even when not selected: a
        // selected category may lie below it.
        std::vector<Entry>* outer = std::exchange(walk.entries, nullptr);
        source.EnumerateItems(&Collect, true, &walk);
        walk.entries = outer;
    } else if (walk.selected) {
        ReadLeaf(walk, source);
    }
    walk.selected = outerSelected;
    walk.keys.pop_back();
    walk.texts.pop_back();
}

// The page's callback contract: a child source is read at once, depth first; an entry is kept
// for the leaf being read.
bool Collect(std::int32_t index, const char16_t* name, CVistrelPlugin* child, CVistrelPlugin*,
             void* context) {
    auto* walk = static_cast<Walk*>(context);
    if (child != nullptr) {
        ScanCategory(*walk, *child);
    } else if (walk->entries != nullptr) {
        walk->entries->push_back({index, std::u16string(talutils::View(name))});
    }
    return true;
}

void GatherKeys(CVistrelPlugin& source, std::vector<std::string>& keys) {
    auto* container = dynamic_cast<CVistrelPluginContainer*>(&source);
    if (container == nullptr) return;
    for (CVistrelPlugin* child : container->children) {
        keys.push_back(NameKey(*child));
        GatherKeys(*child, keys);
    }
}

}  // namespace

ScanResult ScanTree(CVistrelPlugin& root, const ScanOptions& options) {
    ScanResult result;
    Walk walk;
    walk.options = &options;
    walk.result = &result;
    root.EnumerateItems(&Collect, true, &walk);
    return result;
}

std::vector<std::string> CategoryKeys(CVistrelPlugin& root) {
    std::vector<std::string> keys;
    GatherKeys(root, keys);
    return keys;
}

}  // namespace scanner
