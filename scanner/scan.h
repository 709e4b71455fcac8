// One pass over the category tree as the page populates it, kept as flat records: one per entry,
// and one per category whose read did not succeed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

class CVistrelPlugin;

namespace scanner {

// One line of an entry's details. valueKey is set when the value is a catalogue text.
struct DetailLine {
    std::string labelKey;
    std::string label;
    std::string value;
    std::string valueKey;
};

// Where an entry lives, in UTF-8; a field that does not apply is empty (value is absent for a
// key entry, and present but empty for a key's default value).
struct Place {
    std::string root;
    std::string key;
    std::optional<std::string> value;
    std::string file;
};

// The category path runs from the top-level category down to the leaf, by catalogue key (the
// display text where a category has none) and by display text. An entry record has status
// empty; a category record has no entry and says why the category was not read.
struct ScanRecord {
    std::vector<std::string> categoryKeys;
    std::vector<std::string> category;
    std::string entry;
    Place place;
    std::vector<DetailLine> details;
    std::string status;  // "", "not_found", "failed", "access_denied", "needs_elevation"
    std::string statusText;
    std::string change;  // in a diff: "added" or "removed"
};

struct ScanOptions {
    // Catalogue keys of the categories to scan, each with everything below it; empty: all.
    std::vector<std::string> categories;
    // Told the display path of each leaf category before it is read.
    std::function<void(const std::string&)> progress;
};

struct ScanResult {
    std::vector<ScanRecord> records;
    // Some category failed or was denied; a missing key is not a failure.
    bool incomplete = false;
};

// Runs one population of root's tree and asks every entry for its place and details.
ScanResult ScanTree(CVistrelPlugin& root, const ScanOptions& options);

// The catalogue keys of every category below root, without reading any category.
std::vector<std::string> CategoryKeys(CVistrelPlugin& root);

}  // namespace scanner
