#include "tests/offline/hive_builder.h"

#include <sys/wait.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

namespace offline_test {
namespace {

void Put(std::string& bytes, std::size_t at, std::uint32_t value, int width = 4) {
    for (int i = 0; i < width; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
}

std::u16string Widen(const std::string& utf8) {
    std::u16string out;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        if (c >= 0xC0 && c < 0xE0 && i + 1 < utf8.size()) {
            out += static_cast<char16_t>((c & 0x1F) << 6 | (utf8[++i] & 0x3F));
        } else {
            out += static_cast<char16_t>(c);
        }
    }
    return out;
}

// "..." with \\ and \" escapes; pos moves past the closing quote.
std::string Quoted(const std::string& line, std::size_t* pos) {
    std::string out;
    std::size_t i = *pos + 1;
    for (; i < line.size() && line[i] != '"'; ++i) {
        if (line[i] == '\\' && i + 1 < line.size()) ++i;
        out += line[i];
    }
    *pos = i + 1;
    return out;
}

// The merge tool creates a key only below an existing parent: every level above a key of the
// text is named before it, once.
std::string WithParents(const std::string& regText, const std::string& prefix) {
    std::istringstream in(regText);
    std::string line, out;
    std::set<std::string> named;
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] == '[' && line.size() > 2 && line[1] != '-') {
            const std::string key = line.substr(1, line.find(']') - 1);
            for (std::size_t cut = key.find('\\', prefix.size() + 1); cut != std::string::npos;
                 cut = key.find('\\', cut + 1)) {
                if (named.insert(key.substr(0, cut)).second)
                    out += "[" + key.substr(0, cut) + "]\n\n";
            }
            named.insert(key);
        }
        out += line + "\n";
    }
    return out;
}

}  // namespace

bool WriteEmptyHive(const std::string& path) {
    constexpr std::uint32_t kBase = 4096, kBin = 4096;
    std::string hive(kBase + kBin, '\0');
    // Cells follow each other without gaps: the root key, its security cell, one free cell.
    const std::string name = "ROOT";
    const std::uint32_t rootCell = 0x20;
    const std::uint32_t nkSize = (4 + 0x4C + static_cast<std::uint32_t>(name.size()) + 7) & ~7u;
    const std::uint32_t securityCell = rootCell + nkSize;
    // Base block: signature, equal sequence numbers (a clean hive), version 1.3, primary file,
    // root cell offset and bin size, then the XOR checksum of the first 508 bytes.
    hive.replace(0, 4, "regf");
    const std::uint32_t header[][2] = {{4, 1},  {8, 1},         {20, 1},    {24, 3}, {28, 0},
                                       {32, 1}, {36, rootCell}, {40, kBin}, {44, 1}};
    for (const auto& [at, value] : header) Put(hive, at, value);
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < 508; ++i)
        sum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(hive[i])) << (8 * (i % 4));
    Put(hive, 508, sum);

    const std::size_t bin = kBase;
    hive.replace(bin, 4, "hbin");
    Put(hive, bin + 8, kBin);
    const std::size_t nk = bin + rootCell;
    Put(hive, nk, static_cast<std::uint32_t>(-static_cast<std::int32_t>(nkSize)));
    hive.replace(nk + 4, 2, "nk");
    Put(hive, nk + 4 + 0x02, 0x2C, 2);  // hive entry, no delete, compressed name
    for (std::size_t at : {0x10, 0x1C, 0x20, 0x28, 0x30}) Put(hive, nk + 4 + at, 0xFFFFFFFF);
    Put(hive, nk + 4 + 0x2C, securityCell);
    Put(hive, nk + 4 + 0x48, static_cast<std::uint32_t>(name.size()), 2);
    hive.replace(nk + 4 + 0x4C, name.size(), name);

    const std::size_t sk = bin + securityCell;
    // A self-relative security descriptor with no owner, group or lists.
    const std::uint32_t descriptorBytes = 20;
    const std::uint32_t skSize = (4 + 0x14 + descriptorBytes + 7) & ~7u;
    Put(hive, sk, static_cast<std::uint32_t>(-static_cast<std::int32_t>(skSize)));
    hive.replace(sk + 4, 2, "sk");
    const std::uint32_t security[][2] = {
        {0x04, securityCell}, {0x08, securityCell}, {0x0C, 1}, {0x10, descriptorBytes}};
    for (const auto& [at, value] : security) Put(hive, sk + 4 + at, value);
    hive[sk + 4 + 0x14] = 1;
    Put(hive, sk + 4 + 0x16, 0x8000, 2);
    const std::size_t freeCell = sk + skSize;
    Put(hive, freeCell, static_cast<std::uint32_t>(bin + kBin - freeCell));
    return WriteText(path, hive);
}

bool MergeReg(const std::string& hivePath, const std::string& regText, const std::string& prefix,
              std::string* error) {
    const std::string regPath = hivePath + ".reg";
    if (!WriteText(regPath, WithParents(regText, prefix))) {
        *error = "can't write " + regPath;
        return false;
    }
    const std::string command =
        "hivexregedit --merge --prefix '" + prefix + "' '" + hivePath + "' '" + regPath + "' 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        *error = "can't run hivexregedit";
        return false;
    }
    std::string output;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) output += buffer;
    const int status = pclose(pipe);
    std::remove(regPath.c_str());
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        *error = "hivexregedit failed: " + output;
        return false;
    }
    return true;
}

void LoadReg(platform::memory::MemoryMachine& machine, const std::string& regText) {
    using namespace platform;
    const std::pair<std::string, RegKey> roots[] = {{"HKEY_LOCAL_MACHINE", kHkeyLocalMachine},
                                                    {"HKEY_CURRENT_USER", kHkeyCurrentUser},
                                                    {"HKEY_CLASSES_ROOT", kHkeyClassesRoot}};
    std::istringstream in(regText);
    std::string line, joined;
    RegKey root = nullptr;
    std::u16string path;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        // Long hex data continues on the next line after a backslash.
        if (!line.empty() && line.back() == '\\') {
            joined += line.substr(0, line.size() - 1);
            continue;
        }
        line = joined + line;
        joined.clear();
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            const std::string key = line.substr(1, line.find(']') - 1);
            root = nullptr;
            for (const auto& [name, handle] : roots) {
                if (key.compare(0, name.size(), name) == 0) {
                    root = handle;
                    path = Widen(key.size() > name.size() ? key.substr(name.size() + 1) : "");
                    machine.AddKey(root, path);
                }
            }
            continue;
        }
        if (root == nullptr || (line[0] != '"' && line[0] != '@')) continue;
        std::size_t pos = 0;
        std::string name;
        if (line[0] == '@') {
            pos = 1;
        } else {
            name = Quoted(line, &pos);
        }
        const std::string data = line.substr(pos + 1);
        if (data.size() >= 1 && data[0] == '"') {
            std::size_t at = 0;
            machine.SetString(root, path, Widen(name), Widen(Quoted(data, &at)));
        } else if (data.rfind("str(", 0) == 0) {
            // A string of any type, stored as the merge tool stores it: UTF-16 with a terminator.
            std::size_t at = data.find(':') + 1;
            const std::u16string text = Widen(Quoted(data, &at)) + u'\0';
            machine.SetRaw(
                root, path, Widen(name),
                static_cast<std::uint32_t>(std::stoul(data.substr(4), nullptr, 16)),
                std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2));
        } else if (data.rfind("dword:", 0) == 0) {
            machine.SetDword(root, path, Widen(name),
                             static_cast<std::uint32_t>(std::stoul(data.substr(6), nullptr, 16)));
        } else if (data.rfind("hex", 0) == 0) {
            std::uint32_t type = kRegBinary;
            std::size_t colon = data.find(':');
            if (data[3] == '(')
                type = static_cast<std::uint32_t>(std::stoul(data.substr(4), nullptr, 16));
            std::string bytes;
            std::istringstream hex(data.substr(colon + 1));
            std::string byte;
            while (std::getline(hex, byte, ','))
                if (byte.find_first_not_of(" ") != std::string::npos)
                    bytes += static_cast<char>(std::stoul(byte, nullptr, 16));
            machine.SetRaw(root, path, Widen(name), type, bytes);
        }
    }
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

bool WriteText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return static_cast<bool>(out);
}

}  // namespace offline_test
