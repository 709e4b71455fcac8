// Scan records on disk: JSON Lines (one object per record) or CSV with a header row. Only JSON
// Lines is read back, for a diff.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "scanner/scan.h"

namespace scanner {

enum class Format { kJsonLines, kCsv };

// One JSON object on one line, without the newline. Fields that do not apply are left out.
std::string RecordToJson(const ScanRecord& record);
// The record of one line; nullopt with *error set when the line is no record object.
std::optional<ScanRecord> RecordFromJson(const std::string& line, std::string* error);

// Writes every record in format; CSV starts with its header row. A diff's records carry a
// change column in CSV as in JSON.
void WriteRecords(const std::vector<ScanRecord>& records, Format format, std::ostream& out);

// Reads a JSON Lines file; blank lines are skipped. False with *error naming the line when a
// line is no record.
bool ReadRecords(std::istream& in, std::vector<ScanRecord>* records, std::string* error);

}  // namespace scanner
