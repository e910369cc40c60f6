// SPDX-License-Identifier: Apache-2.0
// The header-only parts of the standard library call this for a position past the end of a text, which is a
// fault of ours. Without a definition here they would want the C++ runtime for it.
#include <cstdlib>
#include <string_view>

// NOLINTNEXTLINE(cert-dcl58-cpp): it is theirs, declared and called by their headers
namespace std
{

// NOLINTNEXTLINE(cert-dcl50-cpp,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
void __throw_out_of_range_fmt(const char*, ...)
{
    std::abort();
}

} // namespace std
