// A reader of VS_VERSIONINFO blocks in memory, with the answers VerQueryValueW gives, for machines
// that have no version library of their own. Blocks are untrusted: every length is checked
// against the bytes that are really there.
#pragma once

#include <cstdint>

namespace platform {

// VerQueryValueW on a block of blockBytes bytes. The block's first 16-bit word holds its own
// length; a block that claims more than blockBytes is refused. Path components are separated by
// backslashes, empty ones are skipped, keys match without regard to case.
//   "\"                        the VS_FIXEDFILEINFO; *length is its size in bytes. A root value
//                              that isn't a VS_FIXEDFILEINFO (no signature 0xFEEF04BD) is refused.
//   "\VarFileInfo\Translation"  the language/code page pairs; *length in bytes.
//   "\StringFileInfo\LLLLCCCC\Name"  the text; *length is the node's value length in
//                              characters as stored, which for compiled resources counts the
//                              terminator.
// False for a missing node or a malformed block (a node of a type other than binary 0 or text 1,
// a string of StringFileInfo that isn't text); *buffer and *length are then left alone.
bool QueryVersionBlock(const void* block, std::uint32_t blockBytes, const char16_t* subBlock,
                       const void** buffer, std::uint32_t* length);

// The same when only the block itself is known: its first word gives the bytes to trust.
bool QueryVersionBlock(const void* block, const char16_t* subBlock, const void** buffer,
                       std::uint32_t* length);

}  // namespace platform
