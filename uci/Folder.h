// SPDX-License-Identifier: Apache-2.0
// The entries of a folder.
#pragma once

#include <string_view>

#include <dirent.h>

#include "base/FileDescriptor.h"
#include "uci/LockedFile.h"

namespace qrnuci
{

inline Path folder_of(const Path& path)
{
    Path folder;
    folder.append({path.c_str(), path.view().rfind('/')});
    return folder;
}

inline std::string_view file_name(const Path& path)
{
    return std::string_view{path.c_str() + path.view().rfind('/') + 1};
}

/// Calls holds(folder's descriptor, entry's name) for every entry whose name begins so, up to the first for
/// which it answers true; whether there is one.
template <typename Holds>
bool find_entry(const Path& folder, std::string_view begin, Holds holds)
{
    const qsc::StdioReserve reserve;
    DIR* const entries = opendir(folder.c_str());
    if (entries == nullptr) {
        return false;
    }
    bool is_found = false;
    while (const dirent* const entry = is_found ? nullptr : readdir(entries)) {
        if (std::string_view{entry->d_name}.starts_with(begin)) {
            // NOLINTNEXTLINE(clang-analyzer-unix.StdCLibraryFunctions): an open folder has a descriptor
            is_found = holds(dirfd(entries), entry->d_name);
        }
    }
    (void)closedir(entries);
    return is_found;
}

} // namespace qrnuci
