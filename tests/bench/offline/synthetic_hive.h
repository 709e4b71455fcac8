// Writes large hives in one pass, for the benchmark: the hive library adds keys one by one in
// time that grows with the square of a key's sub-keys, far too slow for tens of thousands.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace offline_bench {

struct HiveValue {
    std::string name;  // ASCII
    std::uint32_t type = 0;
    std::string bytes;
};

struct HiveKey {
    std::string name;  // ASCII
    std::vector<HiveValue> values;
    std::vector<HiveKey> children;  // written in this order; give them sorted
};

// Writes root and everything below it as a hive file. False when the file can't be written.
bool WriteHive(const std::string& path, const HiveKey& root);

}  // namespace offline_bench
