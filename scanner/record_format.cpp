#include "scanner/record_format.h"

#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>

namespace scanner {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kCsvColumns[] = {"category_keys", "category",   "entry", "root",
                                       "key",           "value",      "file",  "details",
                                       "status",        "status_text"};

std::string Joined(const std::vector<std::string>& parts, const char* separator) {
    std::string joined;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i) joined += separator;
        joined += parts[i];
    }
    return joined;
}

// A field as a spreadsheet reads it back: quoted when it holds a separator, a quote or a line
// break. A field that a spreadsheet would take for a formula gets a leading apostrophe: names on
// a hostile machine are chosen by whoever planted them.
std::string CsvField(const std::string& text) {
    std::string field = text;
    if (!field.empty() && std::string_view("=+-@\t\r").find(field.front()) != std::string::npos)
        field.insert(field.begin(), '\'');
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string quoted = "\"";
    for (char c : field) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

std::string DetailsText(const std::vector<DetailLine>& details) {
    std::vector<std::string> parts;
    for (const DetailLine& line : details) parts.push_back(line.labelKey + "=" + line.value);
    return Joined(parts, "; ");
}

std::string Text(const Json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::vector<std::string> Texts(const Json& object, const char* name) {
    std::vector<std::string> texts;
    const auto found = object.find(name);
    if (found == object.end() || !found->is_array()) return texts;
    for (const Json& item : *found)
        if (item.is_string()) texts.push_back(item.get<std::string>());
    return texts;
}

}  // namespace

std::string RecordToJson(const ScanRecord& record) {
    Json object;
    if (!record.change.empty()) object["change"] = record.change;
    object["category_keys"] = record.categoryKeys;
    object["category"] = record.category;
    if (!record.status.empty()) {
        object["status"] = record.status;
        object["status_text"] = record.statusText;
    } else {
        object["entry"] = record.entry;
        Json location = Json::object();
        if (!record.place.root.empty()) location["root"] = record.place.root;
        if (!record.place.key.empty()) location["key"] = record.place.key;
        if (record.place.value) location["value"] = *record.place.value;
        if (!record.place.file.empty()) location["file"] = record.place.file;
        object["location"] = location;
        Json details = Json::array();
        for (const DetailLine& line : record.details) {
            Json item;
            item["label_key"] = line.labelKey;
            item["label"] = line.label;
            item["value"] = line.value;
            if (!line.valueKey.empty()) item["value_key"] = line.valueKey;
            details.push_back(item);
        }
        object["details"] = details;
    }
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<ScanRecord> RecordFromJson(const std::string& line, std::string* error) {
    const Json object = Json::parse(line, nullptr, false);
    if (!object.is_object() || !object.contains("category_keys")) {
        *error = object.is_discarded() ? "not JSON" : "not a scan record";
        return std::nullopt;
    }
    ScanRecord record;
    record.change = Text(object, "change");
    record.categoryKeys = Texts(object, "category_keys");
    record.category = Texts(object, "category");
    record.entry = Text(object, "entry");
    record.status = Text(object, "status");
    record.statusText = Text(object, "status_text");
    if (const auto location = object.find("location");
        location != object.end() && location->is_object()) {
        record.place.root = Text(*location, "root");
        record.place.key = Text(*location, "key");
        if (location->contains("value")) record.place.value = Text(*location, "value");
        record.place.file = Text(*location, "file");
    }
    if (const auto details = object.find("details");
        details != object.end() && details->is_array()) {
        for (const Json& item : *details) {
            if (!item.is_object()) continue;
            record.details.push_back({Text(item, "label_key"), Text(item, "label"),
                                      Text(item, "value"), Text(item, "value_key")});
        }
    }
    return record;
}

void WriteRecords(const std::vector<ScanRecord>& records, Format format, std::ostream& out) {
    if (format == Format::kJsonLines) {
        for (const ScanRecord& record : records) out << RecordToJson(record) << '\n';
        return;
    }
    bool withChange = false;
    for (const ScanRecord& record : records) withChange = withChange || !record.change.empty();
    std::vector<std::string> header;
    if (withChange) header.push_back("change");
    header.insert(header.end(), std::begin(kCsvColumns), std::end(kCsvColumns));
    out << Joined(header, ",") << "\r\n";
    for (const ScanRecord& record : records) {
        std::vector<std::string> row;
        if (withChange) row.push_back(record.change);
        for (const std::string& field :
             {Joined(record.categoryKeys, "/"), Joined(record.category, " / "), record.entry,
              record.place.root, record.place.key, record.place.value.value_or(""),
              record.place.file, DetailsText(record.details), record.status, record.statusText})
            row.push_back(CsvField(field));
        out << Joined(row, ",") << "\r\n";
    }
}

bool ReadRecords(std::istream& in, std::vector<ScanRecord>* records, std::string* error) {
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.find_first_not_of(" \t") == std::string::npos) continue;
        std::string why;
        std::optional<ScanRecord> record = RecordFromJson(line, &why);
        if (!record) {
            *error = "line " + std::to_string(number) + ": " + why;
            return false;
        }
        records->push_back(std::move(*record));
    }
    return true;
}

}  // namespace scanner
