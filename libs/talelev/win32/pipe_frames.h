// Frames on a byte pipe between the plug-in and its helper process: a 32-bit little-endian
// length, then that many bytes. Blocking; a frame over kMaxHelperMessageBytes is refused.
#pragma once

#include <string>
#include <string_view>

#include "platform/win32/windows_api.h"

namespace talelev::win32 {

bool WriteFrame(HANDLE pipe, std::string_view payload);
// False when the pipe breaks or the frame claims more than the limit.
bool ReadFrame(HANDLE pipe, std::string* payload);

}  // namespace talelev::win32
