// SPDX-License-Identifier: Apache-2.0
// One change of a package: its files are locked, its lines collected and then staged whole or not at all.
#pragma once

#include <string_view>

#include "uci/Growing.h"
#include "uci/PackageFiles.h"

namespace qrnuci
{

/// A package that is about to change.
struct PackageChange {
    qsc::Text<255> name;
    PackageFiles files;
    Package package;                 ///< with everything staged
    Growing lines;                   ///< what is to be staged
    bool is_spoilt = false;          ///< the package is not what the lines make of it
    std::size_t written = 0;         ///< bytes that were appended for it
    PackageChange* before = nullptr; ///< that the thread has begun before this one
};

struct Overlay;

/// What a thread has begun.
struct ThreadStaging {
    PackageChange* change = nullptr; ///< the last one; none within an overlay, which has changes of its own
    Overlay* overlay = nullptr;
};

extern constinit thread_local ThreadStaging t_staging;

/// Whether the thread may have packages of its own.
inline bool has_own_packages()
{
    return t_staging.change != nullptr || t_staging.overlay != nullptr;
}

/// The package as this thread alone has it, in a change or an overlay; null: as everybody.
[[nodiscard]] u32 find_own_package(std::string_view name, const Package*& package);

/// Whether this thread is in a change of the package.
[[nodiscard]] bool is_changing(std::string_view name);

/// Begins the thread's change of a package, and ends those of all that it has begun.
[[nodiscard]] u32 begin_change(std::string_view name);
[[nodiscard]] u32 end_change(bool is_kept);

/// What one call writes: a part of the thread's change if that is of the same package, else a change of its
/// own.
class Staging
{
  public:
    [[nodiscard]] u32 open(std::string_view name);
    [[nodiscard]] Package& package() { return change_->package; }

    /// Finds a section that is to change. EFAULT: there is none, which is logged.
    [[nodiscard]] u32 find(const Key& key, const Section*& section);

    /// Adds one line: "[MARK]PACKAGE.SECTION[.OPTION][='VALUE']".
    void add(std::string_view mark, const Section& section, std::string_view option);
    void add(std::string_view mark, std::string_view section, std::string_view option,
             std::string_view value);

    /// Stages the lines.
    [[nodiscard]] u32 finish();

  private:
    PackageChange own_;
    PackageChange* change_ = &own_;
    Growing lines_;
};

} // namespace qrnuci
