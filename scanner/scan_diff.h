// What changed between two scans of a machine.
#pragma once

#include <vector>

#include "scanner/scan.h"

namespace scanner {

// The entries of after that before lacks ("added") and those of before that after lacks
// ("removed"), with change set. An entry is the same when its category keys, text and place are:
// details (a file's version, say) do not make an entry new. Each copy counts, so a second
// identical entry is reported. Records are grouped by category, in the order the categories
// first appear in after and then in before; within one, removed entries come first, each side
// in its scan's order. Category status records take no part.
std::vector<ScanRecord> DiffScans(const std::vector<ScanRecord>& before,
                                  const std::vector<ScanRecord>& after);

}  // namespace scanner
