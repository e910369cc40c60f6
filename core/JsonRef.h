// SPDX-License-Identifier: Apache-2.0
// Owns one reference to a JSON value.
#pragma once

#include <memory>

#include <json-c/json_object.h>

namespace qsc
{

struct ReleaseJson {
    void operator()(json_object* value) const { json_object_put(value); }
};

using JsonRef = std::unique_ptr<json_object, ReleaseJson>;

} // namespace qsc
