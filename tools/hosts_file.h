// The hosts file as text: its bytes read the way the C runtime's text mode reads them line by
// line, and each line taken apart into an address and the first host name. The file is
// untrusted: any bytes, any length, any line ending or none.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// One line that ties a name to an address. host is never empty; address is not checked.
struct HostsFileEntry {
    std::u16string address;
    std::u16string host;
};

// The longest piece a line read hands over (a read buffer of 1024 characters with its NUL).
inline constexpr std::size_t kHostsLinePiece = 1023;

// The pieces a text-mode line read of kHostsLinePiece characters hands over, in order: every
// byte becomes the character of the same value, CR LF becomes LF, a Ctrl-Z ends the file, a
// piece ends after a LF or when it is full. Each piece loses its final LF and is cut at its
// first NUL, as a C string would be.
std::vector<std::u16string> HostsFileLines(std::string_view bytes);

// Takes a line apart: the first word is the address, the second the host; a '#' anywhere ends
// the line, and so does the end of the host word. Blanks are tab, LF, VT, FF, CR and space.
// address and host are replaced; host stays empty when the line names no host.
void ParseHostsLine(std::u16string_view line, std::u16string& address, std::u16string& host);

// Every entry of the file's bytes, in the order of its lines: the lines that name a host.
std::vector<HostsFileEntry> ParseHostsFile(std::string_view bytes);
