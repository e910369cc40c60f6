// SPDX-License-Identifier: Apache-2.0
#include "platform/builtin/ConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "platform/builtin/Scanner.h"

namespace qrnuci
{

namespace
{

/// Reads the commands of one file.
class Parser
{
  public:
    Parser(char* text, std::size_t size, Package& package) : scanner_(text, size), package_(package) {}

    [[nodiscard]] u32 line() const { return scanner_.line(); }

    u32 parse()
    {
        do {
            scanner_.skip_blanks();
            while (!scanner_.at_line_end()) {
                const std::string_view command = scanner_.take_command();
                if (command.starts_with('#')) {
                    break;
                }
                if (const u32 code = parse_command(command)) {
                    return code;
                }
                scanner_.skip_blanks();
            }
        } while (scanner_.next_line());
        return 0;
    }

  private:
    u32 parse_command(std::string_view command)
    {
        std::string_view first;
        std::string_view second;
        std::string_view surplus;
        if (!scanner_.take_word(first) || !scanner_.take_word(second) || !scanner_.take_word(surplus) ||
            !surplus.empty()) {
            return EFAULT;
        }
        scanner_.take_semicolon();
        if (command == "config" || command == "c") {
            return add_section(first, second);
        }
        if (command == "option" || command == "o" || command == "list" || command == "l") {
            return add_value(first, second, command.starts_with('l'));
        }
        // A file may name its package; which one it is, its own name has said.
        return (command == "package" || command == "p") && is_package_name(first) && second.empty() ? 0
                                                                                                    : EFAULT;
    }

    u32 add_section(std::string_view type, std::string_view name)
    {
        if (!is_type(type) || (!name.empty() && !is_name(name))) {
            return EFAULT;
        }
        // A name that comes again goes on with the section of that name.
        section_ = name.empty() ? nullptr : package_.find(name);
        if (section_ != nullptr) {
            return section_->type == type ? 0 : EFAULT;
        }
        section_ = package_.add_section(type, name);
        return section_ != nullptr ? 0 : ENOMEM;
    }

    u32 add_value(std::string_view name, std::string_view value, bool is_item)
    {
        if (section_ == nullptr || !is_name(name)) {
            return EFAULT;
        }
        const bool is_added =
            is_item ? package_.add_item(*section_, name, value) : package_.set_option(*section_, name, value);
        return is_added ? 0 : ENOMEM;
    }

    Scanner scanner_;
    Package& package_;
    Section* section_ = nullptr;
};

void put_quoted(std::FILE* out, std::string_view text)
{
    std::fputs(" '", out);
    for (const char character : text) {
        if (character == '\'') {
            std::fputs("'\\''", out);
        } else {
            std::putc(character, out);
        }
    }
    std::putc('\'', out);
}

void put(std::FILE* out, std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), out);
}

void export_package(const Package& package, std::FILE* out)
{
    for (const Section& section : package.sections()) {
        put(out, "\nconfig ");
        put(out, section.type);
        if (!section.is_anonymous) {
            put_quoted(out, section.name);
        }
        put(out, "\n");
        for (const Option& option : section.options) {
            for (const Item& item : option.items) {
                put(out, option.is_list ? "\tlist " : "\toption ");
                put(out, option.name);
                put_quoted(out, item.value);
                put(out, "\n");
            }
        }
    }
    put(out, "\n");
}

/// Makes the entries of a file's folder safe on the storage.
void sync_folder_of(Path& path)
{
    std::string_view folder = path.view();
    folder.remove_suffix(folder.size() - folder.rfind('/'));
    Path copy;
    copy.append(folder);
    const qsc::FileDescriptor descriptor{open(copy.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (descriptor.is_open()) {
        (void)fsync(descriptor.get()); // not every file system can, and the rename has happened already
    }
}

} // namespace

Path config_path(std::string_view package)
{
    Path path;
    path.append("/etc/config/").append(package);
    return path;
}

u32 parse_config(char* text, std::size_t size, Package& package, u32& line)
{
    Parser parser{text, size, package};
    const u32 code = std::memchr(text, '\0', size) != nullptr ? EFAULT : parser.parse();
    line = parser.line();
    return code;
}

u32 load_config(const LockedFile& file, const char* path, Package& package)
{
    char* text = nullptr;
    std::size_t size = 0;
    if (const u32 code = file.read(path, package.arena(), text, size)) {
        return code;
    }
    u32 line = 0;
    const u32 code = parse_config(text, size, package, line);
    if (code == EFAULT) {
        syslog(LOG_ERR, "%s: line %u is malformed\n", path, line);
    }
    return code;
}

Replacement::~Replacement()
{
    if (!path_.view().empty()) {
        (void)unlink(path_.c_str());
    }
}

u32 Replacement::write(const char* path, const struct stat& old, const Package& package)
{
    // A link stays a link: what it leads to is replaced.
    char* const resolved = realpath(path, nullptr);
    const bool is_resolved = resolved != nullptr && target_.assign(resolved);
    std::free(resolved);
    if (!is_resolved) {
        return log_failure("resolve", path);
    }
    const std::size_t slash = target_.view().rfind('/');
    Path name;
    name.append({target_.c_str(), slash + 1})
        .append(".")
        .append(target_.view().data() + slash + 1)
        .append(".uci-XXXXXX");
    if (!name.fits()) {
        errno = ENAMETOOLONG;
        return log_failure("replace", path);
    }
    int descriptor = -1;
    path_.fill([&](char* buffer, std::size_t) {
        *std::copy(name.view().begin(), name.view().end(), buffer) = '\0';
        descriptor = mkostemp(buffer, O_CLOEXEC);
        return 0;
    });
    if (descriptor < 0) {
        path_.clear();
        return log_failure("create a file beside", path);
    }
    std::FILE* const out = fdopen(descriptor, "w");
    if (out == nullptr) {
        (void)close(descriptor);
        return log_failure("open", path_.c_str());
    }
    struct stat status = {};
    const bool is_prepared = fstat(descriptor, &status) == 0 &&
                             fchown(descriptor, old.st_uid, old.st_gid) == 0 &&
                             fchmod(descriptor, old.st_mode & 07777) == 0;
    inode_ = status.st_ino;
    export_package(package, out);
    const bool is_written = std::fflush(out) == 0 && std::ferror(out) == 0 && fsync(descriptor) == 0;
    const int reason = errno;
    const bool is_closed = std::fclose(out) == 0;
    if (is_prepared && is_written && is_closed) {
        return 0;
    }
    errno = reason;
    return log_failure("write", path_.c_str());
}

u32 Replacement::take_place()
{
    if (rename(path_.c_str(), target_.c_str()) != 0) {
        return log_failure("replace", target_.c_str());
    }
    path_.clear();
    sync_folder_of(target_);
    return 0;
}

} // namespace qrnuci
