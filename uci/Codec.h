// SPDX-License-Identifier: Apache-2.0
// The seam between the store and the code that knows the file format. Locks, staging, commits and the cache
// are the store's, whichever backend is linked in: builtin/ reads and writes the format itself, libuci/ has
// libuci do both.
#pragma once

#include <cstdio>
#include <string_view>

#include "uci/Package.h"

namespace qrnuci
{

/// Reads the text of a package's file. The text is cut up in place and must live as long as the package.
/// EFAULT: malformed, with the line in `line`; ENOMEM.
[[nodiscard]] u32 parse_config(std::string_view name, char* text, std::size_t size, Package& package,
                               u32& line);

/// Writes the text of a package's file. Whether the stream took it is for the caller to ask. EINVAL: it would
/// make no package again.
[[nodiscard]] u32 export_config(std::string_view name, const Package& package, std::FILE* out);

/// Our own writer, for both backends.
void write_config(const Package& package, std::FILE* out);

} // namespace qrnuci
