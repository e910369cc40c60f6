// SPDX-License-Identifier: Apache-2.0
// A package as its file would hold it, for the fuzzers to compare.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "uci/Codec.h"

inline std::string written(const qrnuci::Package& package)
{
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const out = open_memstream(&text, &size);
    qrnuci::write_config(package, out);
    std::fclose(out);
    std::string result{text, size};
    std::free(text);
    return result;
}
