// SPDX-License-Identifier: Apache-2.0
// What undoes the last applies: /etc/qsyscmdhal/undo/NUMBER.ID, with the texts that it has replaced and the
// services that followed. The numbers rise.
#include <algorithm>
#include <array>
#include <cerrno>
#include <span>

#include <dirent.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include "apply/Apply.h"
#include "base/Parse.h"
#include "base/SafeFile.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "Apply";
constexpr const char* kUndo = "/etc/qsyscmdhal/undo";

constexpr std::size_t kMostFiles = 16;
constexpr i64 kMostBytes = i64{256} * 1024;

using UndoPath = Text<126>;

/// One of the files.
struct UndoFile {
    u32 number = 0;
    i64 size = 0;
    Text<64> id;
};

/// The newest of the files, and those that are too many.
class UndoFiles
{
  public:
    UndoFiles()
    {
        DIR* const folder = has_own_folder(kUndo, false) ? opendir(kUndo) : nullptr;
        while (const dirent* const entry = folder != nullptr ? readdir(folder) : nullptr) {
            take(entry->d_name);
        }
        if (folder != nullptr) {
            (void)closedir(folder);
        }
        std::ranges::sort(files(), std::ranges::greater{}, &UndoFile::number);
    }

    /// The newest first.
    [[nodiscard]] std::span<UndoFile> files() { return {files_.data(), count_}; }
    [[nodiscard]] u32 next_number() { return count_ == 0 ? 1 : files_[0].number + 1; }

  private:
    void take(std::string_view name)
    {
        UndoFile file;
        const std::size_t dot = name.find('.');
        struct stat status = {};
        UndoPath path;
        path.append(kUndo).append("/").append(name);
        if (dot == std::string_view::npos || !parse_whole(name.substr(0, dot), file.number) ||
            !file.id.assign(name.substr(dot + 1)) || file.id.view().ends_with(".qrn-new") || !path.fits() ||
            lstat(path.c_str(), &status) != 0) {
            return;
        }
        file.size = status.st_size;
        UndoFile* place = count_ < files_.size() ? &files_[count_++]
                                                 : &*std::ranges::min_element(files_, {}, &UndoFile::number);
        if (place->number <= file.number) {
            *place = file;
        }
    }

    std::array<UndoFile, 4 * kMostFiles> files_;
    std::size_t count_ = 0;
};

UndoPath path_of(u32 number, std::string_view id)
{
    UndoPath path;
    path.append(kUndo).append("/").append_number(number).append(".").append(id);
    return path;
}

/// Removes the oldest, so that what is kept with `size` bytes more is not too much.
void make_room(UndoFiles& undo, i64 size)
{
    std::size_t count = 1;
    for (const UndoFile& file : undo.files()) {
        size += file.size;
        if (++count > kMostFiles || size > kMostBytes) {
            (void)unlink(path_of(file.number, file.id.view()).c_str());
        }
    }
}

} // namespace

void keep_undo(const char* id, json_object* services, json_object* texts)
{
    json_object* const packages = json_object_object_get(texts, "packages");
    json_object* const files = json_object_object_get(texts, "files");
    if (!is_object(packages) || !is_object(files) ||
        json_object_object_length(packages) + json_object_object_length(files) == 0) {
        return;
    }
    const JsonRef whole{json_object_new_object()};
    json_object* const kept = whole != nullptr ? put_object(whole.get(), "texts") : nullptr;
    const bool is_made = kept != nullptr &&
                         add_named_member(whole.get(), "services", json_object_get(services)) == 0 &&
                         add_named_member(kept, "packages", json_object_get(packages)) == 0 &&
                         add_named_member(kept, "files", json_object_get(files)) == 0;
    std::size_t size = 0;
    const char* const text =
        is_made ? json_object_to_json_string_length(
                      whole.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE, &size)
                : nullptr;
    if (text == nullptr || static_cast<i64>(size) > kMostBytes || !has_own_folder(kUndo, true)) {
        QSC_LOG(kLogWarning, "%s cannot be undone: what it has replaced is too much to be kept\n", id);
        return;
    }
    UndoFiles undo;
    make_room(undo, static_cast<i64>(size));
    const UndoPath path = path_of(undo.next_number(), id);
    if (const u32 code = write_json_file(path.c_str(), whole.get())) {
        QSC_LOG(kLogWarning, "%s cannot be undone: %s is not written, error %u\n", id, path.c_str(), code);
    }
}

JsonRef read_undo(std::string_view id)
{
    UndoFiles undo;
    const auto found =
        std::ranges::find(undo.files(), id, [](const UndoFile& file) { return file.id.view(); });
    return found != undo.files().end() ? read_json_file(path_of(found->number, id).c_str()) : nullptr;
}

} // namespace qsc::apply
