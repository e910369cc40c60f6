// SPDX-License-Identifier: Apache-2.0
// Printing what came from outside, so that it stays on its line and cannot steer the terminal: control
// characters, those of C1 among them, and octets that are no UTF-8 are shown and never sent.
#pragma once

#include <cstdio>
#include <string_view>

namespace qsc
{

/// Prints a text with its line feeds as \n, a backslash as two, and what a terminal must not get as \xNN.
void print_escaped(std::string_view text);

/// Prints JSON text, pretty or plain, with what a terminal must not get as \uNNNN.
void print_json_text(std::string_view json);

/// Prints a sentence with a question mark for what a terminal must not get.
void print_sentence(std::FILE* to, std::string_view sentence);

} // namespace qsc
