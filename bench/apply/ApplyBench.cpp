// SPDX-License-Identifier: Apache-2.0
// Changes that are made as one, as ratios, on the storage that the program is on. Commands are faked.
//   plan_of_one     a plan of one set, against its apply
//   plan_of_many    a plan of a thousand sets, against their apply
//   apply_of_many   an apply of a thousand sets of a package, against one of one set
//   apply_of_one    an apply of one set, against the set and its commit: the price of being able to go back
//   checkpoint      keeping three packages of 40 lines until a change is confirmed, against copying their
//   files
//                   and making each copy safe
#include <array>
#include <filesystem>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <json-c/json.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "apply/Checkpoint.h"
#include "bench/support/Ratios.h"
#include "include/qrnuci.h"
#include "include/qsc_apply.h"
#include "include/qsc_describe.h"
#include "tests/support/FakeDevice.h"

namespace
{

using Change = uint32_t(json_object*, json_object*, json_object**);

std::string next_name()
{
    static int count = 0;
    return "name" + std::to_string(++count);
}

/// Plans or makes sets of one parameter after the other.
uint32_t change(Change* act, int count)
{
    json_object* const changes = json_object_new_array();
    const std::string name = next_name();
    for (int i = 0; i < count; ++i) {
        const std::string text = R"({"path":"Device.DeviceInfo","set":{"HostName":{"ParamValue":")" + name +
                                 "x" + std::to_string(i) + R"("}}})";
        json_object_array_add(changes, json_tokener_parse(text.c_str()));
    }
    json_object* report = nullptr;
    const uint32_t code = act(changes, nullptr, &report);
    json_object_put(report);
    json_object_put(changes);
    return code;
}

void add(const char* name, Change* act, int count)
{
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) {
        (void)unlink("/etc/qsyscmdhal/checkpoint"); // a change that waits refuses others
        for (auto _ : state) {
            if (change(act, count) != 0) {
                state.SkipWithError(QSysCmdHal_LastError());
                break;
            }
        }
    });
}

constexpr std::array<const char*, 3> kPackages{"one", "two", "three"};

void write_packages()
{
    for (const char* const package : kPackages) {
        std::ofstream file{std::string{"/etc/config/"} + package};
        file << "config interface 'wan'\n";
        for (int i = 1; i < 40; ++i) {
            file << "\toption option" << i << " 'value " << i << "'\n";
        }
    }
}

/// Reads the packages and keeps them, as the begin of a change that is to be confirmed does.
uint32_t keep_packages()
{
    json_object* const checkpoint = json_object_new_object();
    json_object* const packages = json_object_new_object();
    json_object_object_add(checkpoint, "packages", packages);
    uint32_t code = 0;
    for (const char* const package : kPackages) {
        std::array<char, 4096> text{};
        code |= QrnUci_ReadPackage(package, text.data(), text.size(), nullptr);
        json_object_object_add(packages, package, json_object_new_string(text.data()));
    }
    code |= qsc::apply::save_checkpoint(checkpoint);
    json_object_put(checkpoint);
    return code;
}

uint32_t copy_packages()
{
    bool is_copied = true;
    for (const char* const package : kPackages) {
        const std::string text = bench::read_file(std::string{"/etc/config/"} + package);
        const std::string copy = std::string{"/etc/qsyscmdhal/"} + package;
        const int file = open(copy.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        is_copied = is_copied && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                    fsync(file) == 0;
        close(file);
    }
    return is_copied ? 0 : 1;
}

void add(const char* name, uint32_t (*act)())
{
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) {
        for (auto _ : state) {
            if (act() != 0) {
                state.SkipWithError("it failed");
                break;
            }
        }
    });
}

/// Puts a folder of the storage that the program itself is on in the place of /etc: here it matters how often
/// something is made safe there.
bool use_storage(const std::filesystem::path& folder)
{
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return mount(folder.c_str(), "/etc", nullptr, MS_BIND, nullptr) == 0;
}

} // namespace

int main(int count, char** arguments)
{
    const std::filesystem::path folder =
        std::filesystem::read_symlink("/proc/self/exe").parent_path() / "apply-etc";
    bench::enter_private_folders("bench_apply", {"/tmp", "/var/run"});
    if (!use_storage(folder)) {
        return 1;
    }
    test::outside().has_real_uci = true;
    test::outside().keeps_records = false;
    test::outside().has_private_files = true;
    test::outside().programs["/etc/init.d/system"] = "";
    bench::install_device();
    write_packages();
    mkdir("/etc/qsyscmdhal", 0700);

    add("keep", keep_packages);
    add("copy", copy_packages);
    add("plan", QSysCmdHal_Plan, 1);
    add("apply", QSysCmdHal_Apply, 1);
    add("plan_1000", QSysCmdHal_Plan, 1000);
    add("apply_1000", QSysCmdHal_Apply, 1000);
    benchmark::RegisterBenchmark("one_set", [](benchmark::State& state) {
        for (auto _ : state) {
            QrnUci_Close();
            benchmark::DoNotOptimize(
                QrnUci_SetNewString("system.@system[0].hostname", next_name().c_str(), 0, 1) |
                QrnUci_CommitPackage("system"));
        }
    });

    const bench::Ratio ratios[] = {
        {"checkpoint", "keep", "copy", "copies of the files", 3},
        {"plan_of_one", "plan", "apply", "the same apply", 1.3},
        {"plan_of_many", "plan_1000", "apply_1000", "the same apply", 1.3},
        {"apply_of_many", "apply_1000", "apply", "an apply of one set", 2},
        {"apply_of_one", "apply", "one_set", "one set and its commit", 0},
    };
    return bench::run(count, arguments, ratios);
}
