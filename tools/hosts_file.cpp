#include "tools/hosts_file.h"

namespace {

constexpr char kCtrlZ = 0x1A;

bool IsHostsBlank(char16_t c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

std::u16string CutAtNul(std::u16string piece) {
    const std::size_t nul = piece.find(u'\0');
    if (nul != std::u16string::npos) piece.resize(nul);
    return piece;
}

}  // namespace

std::vector<std::u16string> HostsFileLines(std::string_view bytes) {
    std::vector<std::u16string> lines;
    std::u16string piece;
    for (std::size_t at = 0; at < bytes.size() && bytes[at] != kCtrlZ; ++at) {
        char16_t c = static_cast<unsigned char>(bytes[at]);
        // Text mode hands CR LF over as LF; a CR before anything else stays.
        if (c == u'\r' && at + 1 < bytes.size() && bytes[at + 1] == '\n') {
            ++at;
            c = u'\n';
        }
        piece.push_back(c);
        if (c == u'\n' || piece.size() == kHostsLinePiece) {
            if (piece.back() == u'\n') piece.pop_back();
            lines.push_back(CutAtNul(std::move(piece)));
            piece.clear();
        }
    }
    if (!piece.empty()) lines.push_back(CutAtNul(std::move(piece)));
    return lines;
}

void ParseHostsLine(std::u16string_view line, std::u16string& address, std::u16string& host) {
    address.clear();
    host.clear();
    enum { kBeforeAddress, kInAddress, kBeforeHost, kInHost } state = kBeforeAddress;
    for (char16_t c : line) {
        if (c == u'#') return;
        const bool blank = IsHostsBlank(c);
        switch (state) {
            case kBeforeAddress:
                if (!blank) {
                    address.push_back(c);
                    state = kInAddress;
                }
                break;
            case kInAddress:
                if (blank)
                    state = kBeforeHost;
                else
                    address.push_back(c);
                break;
            case kBeforeHost:
                if (!blank) {
                    host.push_back(c);
                    state = kInHost;
                }
                break;
            case kInHost:
                if (blank) return;
                host.push_back(c);
                break;
        }
    }
}

std::vector<HostsFileEntry> ParseHostsFile(std::string_view bytes) {
    std::vector<HostsFileEntry> entries;
    HostsFileEntry entry;
    for (const std::u16string& line : HostsFileLines(bytes)) {
        ParseHostsLine(line, entry.address, entry.host);
        if (!entry.host.empty()) entries.push_back(entry);
    }
    return entries;
}
