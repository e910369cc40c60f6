// SPDX-License-Identifier: Apache-2.0
// The file format, read and written by libuci. It is handed open streams, never paths: the locks are the
// store's, and libuci's own would wait for them.
#include "uci/Codec.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <stdio_ext.h>
#include <uci.h>

#include "base/Text.h"

namespace qrnuci
{

namespace
{

struct FreeContext {
    void operator()(uci_context* context) const { uci_free_context(context); }
};
struct CloseStream {
    void operator()(std::FILE* stream) const { (void)std::fclose(stream); }
};
struct FreeMemory {
    void operator()(char* memory) const { std::free(memory); }
};

using Context = std::unique_ptr<uci_context, FreeContext>;
using Stream = std::unique_ptr<std::FILE, CloseStream>;
using OwnedText = std::unique_ptr<char, FreeMemory>;

/// libuci names the line of a parse error in its message alone: "... at line N, byte M".
u32 failed_line(uci_context* context)
{
    char* message = nullptr;
    uci_get_errorstr(context, &message, nullptr);
    const OwnedText owned{message};
    const char* const place = message != nullptr ? std::strstr(message, "line ") : nullptr;
    return place != nullptr ? static_cast<u32>(std::strtoul(place + 5, nullptr, 10)) : 0;
}

/// Reads text into a package of libuci's, which belongs to the context.
u32 import(uci_context* context, std::string_view name, char* text, std::size_t size, uci_package*& package)
{
    qsc::Text<255> package_name;
    // fmemopen() refuses an empty buffer; a line feed says as little.
    char nothing[] = "\n";
    const Stream stream{size != 0 ? fmemopen(text, size, "r") : fmemopen(nothing, 1, "r")};
    if (stream == nullptr || !package_name.assign(name)) {
        return ENOMEM;
    }
    // A buffer on the stack, for that of the heap would break up what libuci gave back and takes again; and
    // no lock, for libuci would take it for every line.
    char buffered[4096];
    (void)std::setvbuf(stream.get(), buffered, _IOFBF, sizeof buffered);
    (void)__fsetlocking(stream.get(), FSETLOCKING_BYCALLER);
    const int result = uci_import(context, stream.get(), package_name.c_str(), &package, true);
    return result == UCI_OK ? 0 : result == UCI_ERR_MEM ? ENOMEM : EFAULT;
}

/// Copies a text into the package's memory, where it outlives libuci's.
bool keep(Package& package, const char* text, std::string_view& kept)
{
    const std::size_t length = std::strlen(text);
    char* const copy = package.arena().make_text(length);
    if (copy == nullptr) {
        return false;
    }
    std::copy_n(text, length, copy);
    kept = {copy, length};
    return true;
}

/// libuci has brought each option together under its name already.
bool copy_option(const uci_option& source, Package& package, Section& section)
{
    std::string_view name;
    std::string_view value;
    Option* const option = keep(package, source.e.name, name) ? package.add_option(section, name) : nullptr;
    if (option == nullptr) {
        return false;
    }
    option->is_list = source.type == UCI_TYPE_LIST;
    if (!option->is_list) {
        return keep(package, source.v.string, value) && package.append_item(*option, value);
    }
    const uci_element* element = nullptr;
    uci_foreach_element(&source.v.list, element)
    {
        if (!keep(package, element->name, value) || !package.append_item(*option, value)) {
            return false;
        }
    }
    return true;
}

bool copy_sections(const uci_package& source, Package& package)
{
    uci_element* element = nullptr;
    uci_foreach_element(&source.sections, element)
    {
        const uci_section& from = *uci_to_section(element);
        std::string_view type;
        std::string_view name;
        if (!keep(package, from.type, type) || !keep(package, from.e.name, name)) {
            return false;
        }
        Section* const section = package.add_section(type, name);
        if (section == nullptr) {
            return false;
        }
        section->is_anonymous = from.anonymous;
        uci_element* option = nullptr;
        uci_foreach_element(&from.options, option)
        {
            if (!copy_option(*uci_to_option(option), package, *section)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

u32 parse_config(std::string_view name, char* text, std::size_t size, Package& package, u32& line)
{
    const Context context{uci_alloc_context()};
    if (context == nullptr) {
        return ENOMEM;
    }
    uci_package* source = nullptr;
    if (const u32 code = import(context.get(), name, text, size, source)) {
        line = failed_line(context.get());
        return code;
    }
    return source != nullptr && copy_sections(*source, package) ? 0 : ENOMEM;
}

u32 export_config(std::string_view name, const Package& package, std::FILE* out)
{
    char* text = nullptr;
    std::size_t size = 0;
    {
        const Stream memory{open_memstream(&text, &size)};
        if (memory == nullptr) {
            return ENOMEM;
        }
        write_config(package, memory.get());
    }
    const OwnedText owned{text};
    const Context context{uci_alloc_context()};
    uci_package* checked = nullptr;
    if (text == nullptr || context == nullptr) {
        return ENOMEM;
    }
    // libuci writes what it has read, so it must be able to read it.
    if (const u32 code = import(context.get(), name, text, size, checked)) {
        return code == EFAULT ? EINVAL : code;
    }
    return uci_export(context.get(), out, checked, false) == UCI_OK ? 0 : ENOMEM;
}

} // namespace qrnuci
