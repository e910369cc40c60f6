// SPDX-License-Identifier: Apache-2.0
// What the library says about itself: its objects, their parameters and their instances.
#pragma once

#include <cstdlib>
#include <memory>
#include <span>

#include "base/Types.h"
#include "include/qsyscmdhal.h"

namespace qsc
{

struct Parameter {
    const char* name;
    const char* type;
    const char* units;
    const char* values;
    u32 access;
    u32 flags;
};

inline constexpr u32 QSC_OBJECT_INSTANCES = 0x1;
inline constexpr u32 QSC_OBJECT_GROWS = 0x2;
inline constexpr u32 QSC_PARAM_LIST = 0x1;
inline constexpr u32 QSC_PARAM_SECRET = 0x2;
inline constexpr u32 QSC_PARAM_NEEDED = 0x4;

struct Object {
    const char* path;
    const Qsc_CommandEntry* entry;
    const char* commit;
    const char* service;
    const char* packages;
    u32 parameters;
    u32 access;
    u32 flags;
    const void* object;
};

u32 describe_object(u32 number, Object& object);
u32 describe_parameter(const Object& object, u32 number, Parameter& parameter);
u32 describe_path(const char* path, Object& object);
u32 describe_instances(const Object& object, u32* numbers, u32 size, u32& count);

u32 check_set(const char* path, json_object* request, u32 commander);
const char* last_refusal();

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

template <typename Visit>
void for_each_object(Visit visit)
{
    Object object;
    for (u32 number = 0; describe_object(number, object) == 0; ++number) {
        visit(object);
    }
}

template <typename Visit>
void for_each_parameter(const Object& object, Visit visit)
{
    Parameter parameter;
    for (u32 number = 0; describe_parameter(object, number, parameter) == 0; ++number) {
        visit(parameter);
    }
}

/// The numbers of the instances that exist, rising.
class Instances
{
  public:
    /// False: they cannot be told.
    [[nodiscard]] bool find(const Object& object);

    [[nodiscard]] std::span<const u32> numbers() const { return {numbers_.get(), count_}; }

  private:
    std::unique_ptr<u32, FreeMemory> numbers_;
    u32 count_ = 0;
};

} // namespace qsc
