// The messages between the plug-in and its helper process: one request for each operation of
// IElevatedHelper, one answer with the operation's status and out-parameters.
//
// A message is a sequence of fields: 32-bit and 64-bit little-endian numbers, and texts and
// blobs as a 32-bit byte count followed by the bytes (a text's count is even: UTF-16LE, NULs
// inside kept). A request starts with its operation number; an answer with its status. The
// reader trusts nothing: a count past the end, an odd text count, an unknown operation, a root
// that is no predefined key, bytes left over, or a message over kMaxHelperMessageBytes make the
// whole message malformed, and the helper then answers with the error and does nothing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "libs/talelev/elevated_helper.h"

namespace talelev {

inline constexpr std::size_t kMaxHelperMessageBytes = 16u << 20;

enum class HelperOp : std::uint32_t {
    kRegDeleteKey = 1,
    kRegDeleteValue,
    kRegSetValue,
    kRegQueryValue,
    kRegCreateKey,
    kRegEnumValues,
    kRegEnumKeys,
    kRegDeleteTree,
    kRegOpenTest,
    kIsElevated,
    kProcCreate,
    kProcKill,
    kProcEnum,
    kProcEnumModules,
    kProcGetImagePath,
    kFileDelete,
    kRelease,
};

// Every input of every operation; each operation uses the fields its call takes.
struct HelperRequest {
    HelperOp op = HelperOp::kRelease;
    platform::RegKey root = nullptr;
    std::u16string keyPath;
    std::u16string valueName;
    std::uint32_t type = 0;
    std::uint8_t flag = 0;
    std::int64_t sizeInBytes = 0;
    bool hasData = false;  // false: the caller's data pointer was null
    std::vector<std::uint8_t> data;
    std::uint32_t access = 0;
    std::uint32_t processId = 0;
    std::u16string path;
    // Proc_Create: the texts and numbers of the shell-execute record that the helper uses.
    std::u16string verb, file, parameters, directory;
    std::uint32_t size = 0;  // the record's cbSize, which the call checks
    std::uint32_t mask = 0;
    std::int32_t show = 0;
};

// Every output; each operation fills the fields its call gives back.
struct HelperAnswer {
    std::int32_t status = 0;
    std::uint32_t number = 0;  // the value's type, a started process's id, IsElevated as 0/1
    std::vector<std::uint8_t> data;
    std::u16string text;
    std::vector<std::u16string> texts;
    std::vector<std::uint32_t> ids;
};

// What a malformed message gets, and what the plug-in's side reports when the helper's pipe
// fails or its answer is malformed.
inline constexpr std::int32_t kHelperMalformed = static_cast<std::int32_t>(0x8007000Du);
inline constexpr std::int32_t kHelperUnknownOp = platform::kENotImpl;
inline constexpr std::int32_t kHelperTooLarge = static_cast<std::int32_t>(0x800710F0u);
inline constexpr std::int32_t kHelperBrokenPipe = static_cast<std::int32_t>(0x8007006Du);

std::string EncodeRequest(const HelperRequest& request);
// 0 and *request filled, or kHelperMalformed / kHelperUnknownOp / kHelperTooLarge.
std::int32_t DecodeRequest(std::string_view bytes, HelperRequest* request);

std::string EncodeAnswer(HelperOp op, const HelperAnswer& answer);
// False for a malformed answer (*answer then is empty).
bool DecodeAnswer(HelperOp op, std::string_view bytes, HelperAnswer* answer);

// The helper process's side: runs one request on helper (the in-process one, acting with the
// helper's rights) and gives the answer to send back. A malformed request runs nothing.
// *release is set when the plug-in gives the helper up.
std::string ServeHelperRequest(IElevatedHelper& helper, std::string_view bytes, bool* release);

}  // namespace talelev
