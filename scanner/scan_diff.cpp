#include "scanner/scan_diff.h"

#include <map>
#include <string>
#include <tuple>

namespace scanner {
namespace {

using Identity = std::tuple<std::vector<std::string>, std::string, std::string, std::string,
                            std::optional<std::string>, std::string>;

Identity IdentityOf(const ScanRecord& record) {
    return {record.categoryKeys, record.entry,       record.place.root,
            record.place.key,    record.place.value, record.place.file};
}

// The records of one side that the other side does not match, copy for copy.
std::vector<const ScanRecord*> Unmatched(const std::vector<ScanRecord>& side,
                                         const std::vector<ScanRecord>& other) {
    std::map<Identity, int> available;
    for (const ScanRecord& record : other)
        if (record.status.empty()) ++available[IdentityOf(record)];
    std::vector<const ScanRecord*> unmatched;
    for (const ScanRecord& record : side) {
        if (!record.status.empty()) continue;
        int& count = available[IdentityOf(record)];
        if (count > 0)
            --count;
        else
            unmatched.push_back(&record);
    }
    return unmatched;
}

}  // namespace

std::vector<ScanRecord> DiffScans(const std::vector<ScanRecord>& before,
                                  const std::vector<ScanRecord>& after) {
    std::vector<std::vector<std::string>> order;
    std::map<std::vector<std::string>, bool> seen;
    for (const auto* side : {&after, &before})
        for (const ScanRecord& record : *side)
            if (!seen[record.categoryKeys]) {
                seen[record.categoryKeys] = true;
                order.push_back(record.categoryKeys);
            }
    const std::vector<const ScanRecord*> removed = Unmatched(before, after);
    const std::vector<const ScanRecord*> added = Unmatched(after, before);
    std::vector<ScanRecord> changes;
    for (const std::vector<std::string>& category : order) {
        for (const auto& [records, change] : {std::pair{&removed, "removed"}, {&added, "added"}})
            for (const ScanRecord* record : *records)
                if (record->categoryKeys == category) {
                    changes.push_back(*record);
                    changes.back().change = change;
                }
    }
    return changes;
}

}  // namespace scanner
