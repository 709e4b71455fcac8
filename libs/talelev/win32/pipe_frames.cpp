#include "libs/talelev/win32/pipe_frames.h"

#include "libs/talelev/helper_protocol.h"

namespace talelev::win32 {
namespace {

bool WriteAll(HANDLE pipe, const char* data, std::size_t bytes) {
    while (bytes > 0) {
        DWORD written = 0;
        const DWORD chunk = bytes > 65536 ? 65536 : static_cast<DWORD>(bytes);
        if (!::WriteFile(pipe, data, chunk, &written, nullptr) || written == 0) return false;
        data += written;
        bytes -= written;
    }
    return true;
}

bool ReadAll(HANDLE pipe, char* data, std::size_t bytes) {
    while (bytes > 0) {
        DWORD read = 0;
        const DWORD chunk = bytes > 65536 ? 65536 : static_cast<DWORD>(bytes);
        if (!::ReadFile(pipe, data, chunk, &read, nullptr) || read == 0) return false;
        data += read;
        bytes -= read;
    }
    return true;
}

}  // namespace

bool WriteFrame(HANDLE pipe, std::string_view payload) {
    if (payload.size() > kMaxHelperMessageBytes) return false;
    const auto size = static_cast<std::uint32_t>(payload.size());
    const char header[4] = {static_cast<char>(size), static_cast<char>(size >> 8),
                            static_cast<char>(size >> 16), static_cast<char>(size >> 24)};
    return WriteAll(pipe, header, 4) && WriteAll(pipe, payload.data(), payload.size());
}

bool ReadFrame(HANDLE pipe, std::string* payload) {
    payload->clear();
    unsigned char header[4];
    if (!ReadAll(pipe, reinterpret_cast<char*>(header), 4)) return false;
    const std::uint32_t size =
        header[0] | header[1] << 8 | header[2] << 16 | static_cast<std::uint32_t>(header[3]) << 24;
    if (size > kMaxHelperMessageBytes) return false;
    payload->resize(size);
    return ReadAll(pipe, payload->data(), size);
}

}  // namespace talelev::win32
