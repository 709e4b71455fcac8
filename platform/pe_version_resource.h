// Finds the VS_VERSIONINFO block in the bytes of a PE file (an .exe or .dll read from disk, not
// loaded), for machines that have no loader of their own. The file is untrusted: every offset
// and size is checked against the bytes that are really there, and the resource tree is walked
// only the three levels deep that the format has (type, name, language), so no crafted loop
// can hold it.
#pragma once

#include <string_view>

namespace platform {

// The bytes of the first version resource (type 16, first name, first language) of the image,
// as a view into image. Empty when the image is not a PE file, has no resource section or no
// version resource, or any structure on the way lies outside the image.
std::string_view FindVersionResource(std::string_view image);

}  // namespace platform
