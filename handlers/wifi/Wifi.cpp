// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/Wifi.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <sys/wait.h>

#include "base/Recording.h"
#include "base/ToolTime.h"
#include "include/bacl.h"

namespace qsc::wifi
{

Key option_key(Section section, const char* option)
{
    Key key;
    key.append(section).append(option);
    return key;
}

Key option_key(const Radio& radio, const char* option, i32 vap)
{
    Key key = option_key(radio.section, option);
    if (vap > 0) {
        key.append_number(vap);
    }
    return key;
}

Key vap_interface(const Radio& radio, i32 vap)
{
    Key interface;
    interface.append(radio.vap_prefix).append_number(vap - 1);
    return interface;
}

bool has_vap(i32 instance)
{
    return (instance >= 1 && instance <= kVapsPerRadio) ||
           (instance > kLastVap - kVapsPerRadio && instance <= kLastVap);
}

Vap vap_of(i32 instance)
{
    constexpr i32 kSecondRadio = kLastVap - kVapsPerRadio;
    const bool is_first = instance <= kSecondRadio;
    return {kRadios[is_first ? 0 : 1], is_first ? instance : instance - kSecondRadio};
}

i32 instance_in_path(const char* path, std::size_t prefix_length)
{
    return std::string_view{path}.size() > prefix_length ? to_number(path + prefix_length) : 0;
}

u32 answer_flag(const Call& call, const Words& words, i32 number)
{
    return is_mqtt(call) && words.on != nullptr ? answer_text(call.value, number == 1 ? words.on : words.off)
                                                : answer_int(call.value, number);
}

u32 take_flag(const Call& call, const Words& words, i32& number)
{
    std::string_view text;
    if (is_mqtt(call) && words.on != nullptr && take_string(call.value, text) == 0) {
        number = text == words.on ? 1 : 0;
        return 0;
    }
    return take_int(call.value, number);
}

u32 answer_number(const Call& call, const Key& key, const NumberRow& row)
{
    return answer_flag(call, row.words, uci_read_int(call, key.c_str()));
}

u32 store_number(const Call& call, const Radio& radio, const Key& key, const NumberRow& row, i32 number)
{
    if (const u32 code = uci_write_int(key.c_str(), number)) {
        return code;
    }
    if (row.driver_key != nullptr) {
        if (const u32 code = drive_if_on(call, radio, row.driver_key, number)) {
            return code;
        }
    }
    QSC_EVENT(call, "set %s %d by %s", row.event, number, commander(call));
    return 0;
}

u32 set_number(const Call& call, const Radio& radio, const Key& key, const NumberRow& row)
{
    i32 number = 0;
    const u32 code = take_flag(call, row.words, number);
    return code != 0 ? code : store_number(call, radio, key, row, number);
}

bool is_on(const Call& call, const Radio& radio)
{
    return uci_read_int(call, option_key(radio, "radioOn").c_str()) == 1;
}

void bring_up(std::string_view interface, const char* output)
{
    CommandText command;
    command.append("ifconfig ").append(interface).append(" up ").append(output);
    (void)run_shell(command.c_str());
}

u32 drive(std::string_view interface, const char* driver_key, i32 number)
{
    CommandText command;
    command.append("/usr/sbin/iwpriv ").append(interface).append(" set ").append(driver_key).append("=");
    command.append_number(number);
    const u32 code = QrnExeCmdSimple(command.c_str());
    return code == 0 ? 0 : refuse(code, "the driver refused %s=%d", driver_key, number);
}

u32 drive_if_on(const Call& call, const Radio& radio, const char* driver_key, i32 number, const char* output)
{
    if (!is_on(call, radio)) {
        return 0;
    }
    bring_up(radio.interface, output);
    return drive(radio.interface, driver_key, number);
}

u32 run_shell(const char* command)
{
    if (u32 code = 0; is_recorded(command, code)) {
        return code;
    }
    const ToolTime time{command};
    const int status = std::system(command); // NOLINT(cert-env33-c): fixed commands, quoted where needed
    const u32 code = status != -1 && WIFEXITED(status) ? static_cast<u32>(WEXITSTATUS(status)) : u32{EFAULT};
    time.end(status == -1 && errno == ECANCELED ? u32{ECANCELED} : code);
    return code;
}

u32 capture_line(const char* command, WifiText& line)
{
    const u32 code = line.fill([&](char* buffer, std::size_t size) {
        return QrnExeCmdSimpleGet(command, buffer, static_cast<u32>(size));
    });
    return line.edit([&](char* text) {
        text[std::min(line.view().find('\n'), line.view().size())] = '\0';
        return code;
    });
}

u32 answer_line(const Call& call, const char* command)
{
    WifiText line;
    const u32 code = capture_line(command, line);
    return code != 0 ? refuse(code, "%.60s failed", command) : answer_text(call.value, line.c_str());
}

} // namespace qsc::wifi
