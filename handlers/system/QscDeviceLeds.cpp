// SPDX-License-Identifier: Apache-2.0
// "Device.LEDs": which there are, and whether they may shine.
#include <cstdlib>

#include <dirent.h>
#include <fcntl.h>

#include "base/FileDescriptor.h"
#include "base/Recording.h"
#include "core/Objects.h"
#include "core/ServeRow.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "include/qsc_handlers.h"

/// The client of the peripheral daemon, in hosts that link it.
extern "C" [[gnu::weak]] uint32_t QPerCtlC_SendCmdByString(const char* command);

using namespace qsc;

namespace
{

QSC_MODULE("QscDeviceLeds");

constexpr const char* kFolder = "/sys/class/leds";
constexpr const char* kOff = "system.@system[0].leds_off";
constexpr const char* kScript = "/etc/init.d/led";

/// Calls use(name) for each LED that the drivers know, in the order of the names. @return how many there are
template <typename Use>
int for_each_led(Use use)
{
    const StdioReserve reserve;
    dirent** names = nullptr;
    const auto is_led = [](const dirent* entry) { return entry->d_name[0] != '.' ? 1 : 0; };
    const int count = scandir(kFolder, &names, is_led, alphasort);
    for (int i = 0; i < count; ++i) {
        use(names[i]->d_name);
        std::free(names[i]);
    }
    std::free(names);
    return count < 0 ? 0 : count;
}

u32 answer_count(const RowCall& call)
{
    return answer_number(call, for_each_led([](const char*) {}));
}

u32 answer_names(const RowCall& call)
{
    RowText names;
    (void)for_each_led([&](const char* name) { names.append(names.view().empty() ? "" : ",").append(name); });
    return answer_stored(call, names.view());
}

/// Has a LED do nothing any more.
void darken(const char* name)
{
    constexpr const char* kFiles[][2] = {{"trigger", "none\n"}, {"brightness", "0\n"}};
    for (const auto& [file, value] : kFiles) {
        Text<510> path;
        path.append(kFolder).append("/").append(name).append("/").append(file);
        const FileDescriptor led = open_file(path.c_str(), O_WRONLY | O_TRUNC);
        if (!path.fits() || !led.is_open() || !write_all(led.get(), value)) {
            QSC_LOG(kLogWarning, "%s not written, error %d\n", path.c_str(), errno);
        }
    }
}

} // namespace

/// The script lights the LEDs that have a section. Older ones do not know that they are to stay dark.
u32 qsc::system::serve_leds(const char*, json_object* request)
{
    if (const u32 code = serve_scripts(request, "led")) {
        return code;
    }
    ValueText stored;
    const bool are_off = uci_peek(kOff, stored) == 0 && is_switched_on(stored.view());
    Sources sources;
    if (are_off && sources.file(kScript).find("leds_off") == std::string_view::npos) {
        if (u32 code = 0; !is_recorded("darken the LEDs", code)) {
            (void)for_each_led(darken);
        }
    }
    if (QPerCtlC_SendCmdByString != nullptr) {
        const char* const command = are_off ? "led off" : "led on";
        if (u32 code = 0; !is_recorded(command, code)) {
            (void)QPerCtlC_SendCmdByString(command);
        }
    }
    return 0;
}

namespace
{

constexpr Row kRows[] = {
    {.name = "LEDNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kFunction, .get = answer_count},
    {.name = "X_QRN_Enable",
     .kind = Kind::kBoolean,
     .access = Access::kReadWrite,
     .marks = kInverted,
     .key = kOff,
     .fallback = "0"},
    {.name = "X_QRN_Names", .place = Place::kFunction, .marks = kMany, .get = answer_names},
};

} // namespace

QSC_EXPORTED_OBJECT(kLeds, "Device.LEDs", g_QscDeviceLedsCmd, kRows, .area = "leds")
