#include "tests/bench/offline/synthetic_hive.h"

#include <fstream>

namespace offline_bench {
namespace {

class Writer {
  public:
    // Cells are laid out in one bin; offsets count from the bin's start.
    std::uint32_t Cell(const std::string& data) {
        const std::uint32_t at = static_cast<std::uint32_t>(bin_.size());
        const std::uint32_t size = (4 + static_cast<std::uint32_t>(data.size()) + 7) & ~7u;
        std::string cell(size, '\0');
        Put32(cell, 0, static_cast<std::uint32_t>(-static_cast<std::int32_t>(size)));
        cell.replace(4, data.size(), data);
        bin_ += cell;
        return at;
    }
    void Patch(std::uint32_t cell, std::size_t at, std::uint32_t value) {
        Put32(bin_, cell + 4 + at, value);
    }
    static void Put32(std::string& s, std::size_t at, std::uint32_t v) {
        for (int i = 0; i < 4; ++i) s[at + i] = static_cast<char>(v >> (8 * i) & 0xFF);
    }
    static void Put16(std::string& s, std::size_t at, std::uint32_t v) {
        s[at] = static_cast<char>(v & 0xFF);
        s[at + 1] = static_cast<char>(v >> 8 & 0xFF);
    }

    std::uint32_t Key(const HiveKey& key, std::uint32_t parent, std::uint32_t security, bool root) {
        std::string nk(0x4C + key.name.size(), '\0');
        nk.replace(0, 2, "nk");
        Put16(nk, 2, root ? 0x2C : 0x20);
        Put32(nk, 0x10, parent);
        Put32(nk, 0x14, static_cast<std::uint32_t>(key.children.size()));
        Put32(nk, 0x1C, 0xFFFFFFFF);
        Put32(nk, 0x20, 0xFFFFFFFF);
        Put32(nk, 0x24, static_cast<std::uint32_t>(key.values.size()));
        Put32(nk, 0x28, 0xFFFFFFFF);
        Put32(nk, 0x2C, security);
        Put32(nk, 0x30, 0xFFFFFFFF);
        Put16(nk, 0x48, static_cast<std::uint32_t>(key.name.size()));
        nk.replace(0x4C, key.name.size(), key.name);
        const std::uint32_t cell = Cell(nk);
        if (!key.values.empty()) {
            std::string list(4 * key.values.size(), '\0');
            for (std::size_t i = 0; i < key.values.size(); ++i)
                Put32(list, 4 * i, Value(key.values[i]));
            Patch(cell, 0x28, Cell(list));
        }
        if (!key.children.empty()) {
            std::vector<std::uint32_t> children;
            for (const HiveKey& child : key.children)
                children.push_back(Key(child, cell, security, false));
            std::string lf(4 + 8 * children.size(), '\0');
            lf.replace(0, 2, "lf");
            Put16(lf, 2, static_cast<std::uint32_t>(children.size()));
            for (std::size_t i = 0; i < children.size(); ++i) {
                Put32(lf, 4 + 8 * i, children[i]);
                lf.replace(8 + 8 * i, std::min<std::size_t>(4, key.children[i].name.size()),
                           key.children[i].name.substr(0, 4));
            }
            Patch(cell, 0x1C, Cell(lf));
        }
        return cell;
    }

    std::uint32_t Value(const HiveValue& value) {
        std::string vk(0x14 + value.name.size(), '\0');
        vk.replace(0, 2, "vk");
        Put16(vk, 2, static_cast<std::uint32_t>(value.name.size()));
        const auto length = static_cast<std::uint32_t>(value.bytes.size());
        if (length <= 4) {
            // Small data lives in the offset field itself.
            Put32(vk, 4, length | 0x80000000u);
            vk.replace(8, length, value.bytes);
        } else {
            Put32(vk, 4, length);
            Put32(vk, 8, Cell(value.bytes));
        }
        Put32(vk, 12, value.type);
        Put16(vk, 16, value.name.empty() ? 0 : 1);
        vk.replace(0x14, value.name.size(), value.name);
        return Cell(vk);
    }

    std::string bin_ = std::string(32, '\0');
};

}  // namespace

bool WriteHive(const std::string& path, const HiveKey& root) {
    Writer w;
    std::string sk(0x14 + 20, '\0');
    sk.replace(0, 2, "sk");
    Writer::Put32(sk, 0x0C, 1);
    Writer::Put32(sk, 0x10, 20);
    sk[0x14] = 1;
    Writer::Put16(sk, 0x16, 0x8000);
    const std::uint32_t security = w.Cell(sk);
    w.Patch(security, 4, security);
    w.Patch(security, 8, security);
    const std::uint32_t rootCell = w.Key(root, 0xFFFFFFFF, security, true);

    std::string& bin = w.bin_;
    const std::size_t used = bin.size();
    std::size_t total = (used + 4096) / 4096 * 4096;
    if (total - used < 8) total += 4096;
    bin.resize(total, '\0');
    Writer::Put32(bin, used, static_cast<std::uint32_t>(total - used));  // one free cell
    bin.replace(0, 4, "hbin");
    Writer::Put32(bin, 8, static_cast<std::uint32_t>(total));

    std::string base(4096, '\0');
    base.replace(0, 4, "regf");
    Writer::Put32(base, 4, 1);
    Writer::Put32(base, 8, 1);
    Writer::Put32(base, 20, 1);
    Writer::Put32(base, 24, 3);
    Writer::Put32(base, 32, 1);
    Writer::Put32(base, 36, rootCell);
    Writer::Put32(base, 40, static_cast<std::uint32_t>(total));
    Writer::Put32(base, 44, 1);
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < 508; i += 4)
        sum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(base[i])) |
               static_cast<unsigned char>(base[i + 1]) << 8 |
               static_cast<unsigned char>(base[i + 2]) << 16 |
               static_cast<std::uint32_t>(static_cast<unsigned char>(base[i + 3])) << 24;
    Writer::Put32(base, 508, sum);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << base << bin;
    return static_cast<bool>(out);
}

}  // namespace offline_bench
