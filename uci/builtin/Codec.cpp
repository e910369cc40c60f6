// SPDX-License-Identifier: Apache-2.0
// The file format, read and written by our own code.
#include "uci/Codec.h"

#include <cerrno>
#include <cstring>

#include "uci/Scanner.h"

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
                if (!scanner_.expects_command()) {
                    break;
                }
                scanner_.skip_separators();
                if (scanner_.at_line_end() && !scanner_.at_end()) {
                    return EFAULT;
                }
            }
        } while (scanner_.next_line());
        return 0;
    }

  private:
    /// The letter that a command is known by, alone or with the rest of its word behind it; 0: it is none.
    static char letter_of(std::string_view command)
    {
        for (const std::string_view known : {"config", "option", "list", "package"}) {
            if (command == known || command == known.substr(0, 1)) {
                return known.front();
            }
        }
        return '\0';
    }

    u32 parse_command(std::string_view command)
    {
        const char letter = letter_of(command);
        std::string_view first;
        std::string_view second;
        std::string_view surplus;
        if (letter == '\0' || !scanner_.take_word(first) || (letter != 'p' && !scanner_.take_word(second)) ||
            !scanner_.take_word(surplus) || !surplus.empty()) {
            return EFAULT;
        }
        switch (letter) {
        case 'c':
            return add_section(first, second);
        case 'p':
            // A file may name its package; which one it is, its own name has said.
            return is_package_name(first) ? 0 : EFAULT;
        default:
            return add_value(first, second, letter == 'l');
        }
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
        // An empty value says nothing, not even that an earlier one goes.
        const bool is_added = is_item ? package_.add_item(*section_, name, value)
                                      : value.empty() || package_.set_option(*section_, name, value);
        return is_added ? 0 : ENOMEM;
    }

    Scanner scanner_;
    Package& package_;
    Section* section_ = nullptr;
};

} // namespace

u32 parse_config(std::string_view, char* text, std::size_t size, Package& package, u32& line)
{
    Parser parser{text, size, package};
    const u32 code = std::memchr(text, '\0', size) != nullptr ? EFAULT : parser.parse();
    line = parser.line();
    return code;
}

u32 export_config(std::string_view, const Package& package, std::FILE* out)
{
    write_config(package, out);
    return 0;
}

} // namespace qrnuci
